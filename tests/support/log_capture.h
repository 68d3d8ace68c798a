// Catches every line that the code under test logs, instead of printing it.
#pragma once

#include <string>
#include <vector>

namespace zem::test {

struct LogLine {
    int level;
    std::string text;
};

/// All lines since the start of the program or the last call of forgetLog(), in order. Any thread.
std::vector<LogLine> loggedLines();
void forgetLog();
/// True when a line of this level and exactly this text was logged.
bool logged(int level, const std::string& text);
/// How many lines of any level contain `part`.
int loggedCount(const std::string& part);

}  // namespace zem::test
