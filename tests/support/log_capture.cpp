#include "tests/support/log_capture.h"

#include <android/log.h>

#include <algorithm>
#include <cstdarg>
#include <cstdio>
#include <mutex>

namespace {

std::mutex gMutex;
std::vector<zem::test::LogLine>& lines() {
    static auto* list = new std::vector<zem::test::LogLine>;  // outlives engine threads at exit
    return *list;
}

}  // namespace

// The program's own definition wins over the log library's, for the linked engine too.
extern "C" int __android_log_print(int level, const char* /*tag*/, const char* format, ...) {
    char text[1024];
    va_list arguments;
    va_start(arguments, format);
    vsnprintf(text, sizeof text, format, arguments);
    va_end(arguments);
    std::lock_guard<std::mutex> lock(gMutex);
    lines().push_back({level, text});
    return 1;
}

namespace zem::test {

std::vector<LogLine> loggedLines() {
    std::lock_guard<std::mutex> lock(gMutex);
    return lines();
}

void forgetLog() {
    std::lock_guard<std::mutex> lock(gMutex);
    lines().clear();
}

bool logged(int level, const std::string& text) {
    const std::vector<LogLine> all = loggedLines();
    return std::any_of(all.begin(), all.end(),
                       [&](const LogLine& line) { return line.level == level && line.text == text; });
}

int loggedCount(const std::string& part) {
    const std::vector<LogLine> all = loggedLines();
    return static_cast<int>(std::count_if(all.begin(), all.end(), [&](const LogLine& line) {
        return line.text.find(part) != std::string::npos;
    }));
}

}  // namespace zem::test
