// Bar charts as SVG: for each row some bars, each with its number beside it.
#pragma once

#include <string>
#include <vector>

namespace zem::bench {

struct Bar {
    std::string name;  // the same in all rows; its place in the list of names gives the colour
    double value;
};

struct ChartRow {
    std::string label;
    std::vector<Bar> bars;
};

struct Chart {
    std::string title;
    std::string note;     // what the numbers are
    std::string machine;  // whose they are, and of when
    std::vector<ChartRow> rows;
    double longest;  // value of the longest bar that is drawn in full; longer ones are cut off
};

std::string svg(const Chart& chart);

}  // namespace zem::bench
