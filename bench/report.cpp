// Makes of the programs' lines (standard input: group, case, figure, value, unit) what people read.
//
// bench_report FOLDER MACHINE   FOLDER/results.json, FOLDER/GROUP.svg, FOLDER/tables.md; tables on standard
// output bench_report --ratios         one JSON line of the ratios on standard output
#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <iostream>
#include <sstream>

#include "bench/charts.h"

namespace zem::bench {

namespace {

struct Figure {
    std::string name;
    double value;
    std::string unit;
};

struct Case {
    std::string group;
    std::string name;
    std::vector<Figure> figures;
};

std::string trimmed(const Figure& figure) {
    char buffer[32];
    const double value = figure.value;
    snprintf(buffer, sizeof buffer, figure.unit == "ratio" ? "%.3g" : "%.4g", value);
    return strchr(buffer, 'e') != nullptr ? std::to_string(static_cast<long>(value)) : buffer;
}

std::vector<Case> readCases(std::istream& in) {
    std::vector<Case> cases;
    for (std::string line; std::getline(in, line);) {
        std::vector<std::string> fields;
        std::istringstream split(line);
        for (std::string field; std::getline(split, field, '\t');) {
            fields.push_back(field);
        }
        if (fields.size() != 5) {
            std::cerr << "error: not a line of results: " << line << "\n";
            exit(1);
        }
        if (cases.empty() || cases.back().group != fields[0] || cases.back().name != fields[1]) {
            cases.push_back({fields[0], fields[1], {}});
        }
        cases.back().figures.push_back({fields[2], strtod(fields[3].c_str(), nullptr), fields[4]});
    }
    return cases;
}

// Names have no quotes and no backslashes: they are this room's own.
std::string json(const std::vector<Case>& cases, bool ratiosOnly, const char* gap) {
    std::string out;
    for (const Case& one : cases) {
        std::string figures;
        for (const Figure& figure : one.figures) {
            if (!ratiosOnly || figure.unit == "ratio") {
                figures += (figures.empty() ? "\"" : ", \"") + figure.name + "\": " + trimmed(figure);
            }
        }
        if (!figures.empty()) {
            out += std::string(out.empty() ? "" : ",") + gap + "\"" + one.group + ": " + one.name + "\": {" +
                   figures + "}";
        }
    }
    return out;
}

const Figure* find(const Case& one, const std::string& name) {
    const auto found = std::find_if(one.figures.begin(), one.figures.end(),
                                    [&](const Figure& figure) { return figure.name == name; });
    return found != one.figures.end() ? &*found : nullptr;
}

// In the order in which they are first seen.
template <class Key>
std::vector<std::string> distinct(const std::vector<Case>& cases, Key key) {
    std::vector<std::string> found;
    for (const Case& one : cases) {
        for (const std::string& name : key(one)) {
            if (std::find(found.begin(), found.end(), name) == found.end()) {
                found.push_back(name);
            }
        }
    }
    return found;
}

std::vector<Case> ofGroup(const std::vector<Case>& cases, const std::string& group) {
    std::vector<Case> chosen;
    std::copy_if(cases.begin(), cases.end(), std::back_inserter(chosen),
                 [&](const Case& one) { return one.group == group; });
    return chosen;
}

std::string heading(const Figure& figure) {
    const std::string suffix = "_" + figure.unit;
    const size_t end = figure.name.size() - std::min(suffix.size(), figure.name.size());
    return figure.name.substr(end) == suffix ? figure.name.substr(0, end) + " " + figure.unit : figure.name;
}

// A column for each figure, `width` 0 for Markdown, else columns that line up.
std::string table(const std::vector<Case>& cases, bool markdown) {
    const auto names = distinct(cases, [](const Case& one) {
        std::vector<std::string> all;
        for (const char* unit : {"us", "ms", "ps", "", "ratio"}) {
            for (const Figure& figure : one.figures) {
                const bool isListed = figure.unit == "us" || figure.unit == "ms" || figure.unit == "ps" ||
                                      figure.unit == "ratio";
                if (figure.unit == unit || (*unit == '\0' && !isListed)) {
                    all.push_back(figure.name + "\t" + heading(figure));
                }
            }
        }
        return all;
    });
    std::vector<std::vector<std::string>> rows(1, {"case"});
    for (const std::string& name : names) {
        rows[0].push_back(name.substr(name.find('\t') + 1));
    }
    for (const Case& one : cases) {
        rows.push_back({one.name});
        for (const std::string& name : names) {
            const Figure* const figure = find(one, name.substr(0, name.find('\t')));
            rows.back().push_back(figure != nullptr ? trimmed(*figure) : "");
        }
    }
    std::string out;
    for (size_t row = 0; row < rows.size(); ++row) {
        for (size_t column = 0; column < rows[row].size(); ++column) {
            const std::string& cell = rows[row][column];
            size_t width = 0;
            for (const auto& other : rows) {
                width = std::max(width, other[column].size());
            }
            const std::string space(markdown ? 0 : width - cell.size(), ' ');
            const char* const before = markdown ? "| " : column == 0 ? "" : "  ";
            // The first column's words to the left, numbers to the right.
            (column == 0 ? out.append(before).append(cell).append(space)
                         : out.append(before).append(space).append(cell))
                .append(markdown ? " " : "");
        }
        out += markdown ? "|\n" : "\n";
        for (size_t column = 0; markdown && row == 0 && column < rows[0].size(); ++column) {
            out += column == 0 ? "|---" : "|---:";
        }
        out += markdown && row == 0 ? "|\n" : "";
    }
    return out;
}

// A converter's case is named CONVERTER/WIDTHxHEIGHT/MODE/TARGET. False for other cases.
bool splitName(const std::string& name, std::vector<std::string>* parts, double* pixels) {
    parts->clear();
    std::istringstream split(name);
    for (std::string part; std::getline(split, part, '/');) {
        parts->push_back(part);
    }
    *pixels = 0;
    if (parts->size() != 4) {
        return false;
    }
    char* end = nullptr;
    const double width = strtod((*parts)[1].c_str(), &end);
    *pixels = *end == 'x' ? width * strtod(end + 1, &end) : 0;
    return *pixels > 0;
}

// What a pixel takes at each size, with the best instruction set, and how much the most is above the least.
// Where it is a cache that a larger picture no longer fits, the limit kernel's row shows it as well.
std::vector<Case> growth(const std::vector<Case>& cases) {
    std::vector<Case> rows;
    for (const char* who : {"engine", "limit"}) {
        for (const Case& one : cases) {
            std::vector<std::string> parts;
            double pixels = 0;
            const Figure* const time = find(one, std::string(who) + "_us");
            if (time == nullptr || !splitName(one.name, &parts, &pixels)) {
                continue;
            }
            const std::string name = parts[0] + "/" + parts[2] + "/" + who;
            auto row = std::find_if(rows.begin(), rows.end(), [&](const Case& r) { return r.name == name; });
            if (row == rows.end()) {
                row = rows.insert(rows.end(), Case{"growth", name, {}});
            }
            if (find(*row, parts[1] + "_ps") == nullptr) {
                row->figures.push_back({parts[1] + "_ps", time->value * 1e6 / pixels, "ps"});
            }
        }
    }
    const auto less = [](const Figure& a, const Figure& b) { return a.value < b.value; };
    for (Case& row : rows) {
        const auto [least, most] = std::minmax_element(row.figures.begin(), row.figures.end(), less);
        row.figures.push_back({"most/least", most->value / least->value, "ratio"});
    }
    // With one size there is nothing to compare.
    rows.erase(std::remove_if(rows.begin(), rows.end(), [](const Case& r) { return r.figures.size() < 3; }),
               rows.end());
    std::stable_sort(rows.begin(), rows.end(), [](const Case& a, const Case& b) {
        return a.name.substr(0, a.name.rfind('/')) < b.name.substr(0, b.name.rfind('/'));
    });
    return rows;
}

// Of the converters only one size, warm, with the best instruction set: the first of each that there is.
std::vector<Case> charted(const std::vector<Case>& cases) {
    std::vector<Case> chosen;
    for (const Case& one : cases) {
        const size_t at = one.name.find("/1280x720/warm/");
        if (one.group != "converters") {
            chosen.push_back(one);
        } else if (at != std::string::npos &&
                   (chosen.empty() || chosen.back().name != one.name.substr(0, at))) {
            chosen.push_back({one.group, one.name.substr(0, at), one.figures});
        }
    }
    return chosen;
}

// For a page: without the lesser instruction sets, but of the frame that is charted.
std::vector<Case> shortened(const std::vector<Case>& cases) {
    std::vector<Case> chosen;
    std::string last;
    for (const Case& one : cases) {
        const std::string withoutTarget = one.name.substr(0, one.name.rfind('/'));
        const bool isLesser = one.group == "converters" && withoutTarget == last;
        if (!isLesser || one.name.find("/1280x720/warm/") != std::string::npos) {
            chosen.push_back(one);
        }
        last = withoutTarget;
    }
    return chosen;
}

Chart chartOf(const std::string& group, const std::vector<Case>& cases, const std::string& machine) {
    const bool isConverters = group == "converters";
    Chart chart{group, "", machine, {}, 0};
    std::string unit;
    for (const Case& one : charted(cases)) {
        ChartRow row{one.name, {}};
        for (const Figure& figure : one.figures) {
            if (heading(figure) != figure.name) {  // latency and rates are no CPU time
                unit = figure.unit;
                row.bars.push_back({figure.name.substr(0, figure.name.rfind('_')), figure.value});
                const bool counts = !isConverters || figure.name == "engine_us" || figure.name == "libyuv_us";
                chart.longest = std::max(chart.longest, counts ? figure.value : 0);
            }
        }
        chart.rows.push_back(row);
    }
    chart.title += isConverters ? ", the same frame of 1280x720 over and over" : "";
    const char* const ofPixel =
        "picoseconds of CPU time a pixel, less is better; equal bars are linear growth";
    chart.note = unit == "us"   ? "microseconds of CPU time, less is better"
                 : unit == "ms" ? "milliseconds of CPU time, less is better"
                                : ofPixel;
    return chart;
}

int write(const std::string& folder, const std::string& machine) {
    std::vector<Case> cases = readCases(std::cin);
    const std::vector<Case> perPixel = growth(cases);
    cases.insert(cases.end(), perPixel.begin(), perPixel.end());
    std::ofstream(folder + "/results.json")
        << "{\"machine\": \"" << machine << "\",\n\"cases\": {" << json(cases, false, "\n  ") << "\n}}\n";
    std::ofstream markdown(folder + "/tables.md");
    markdown << "Measured on " << machine << ".\n";
    for (const std::string& group :
         distinct(cases, [](const Case& one) { return std::vector<std::string>{one.group}; })) {
        const std::vector<Case> own = ofGroup(cases, group);
        std::ofstream(std::string(folder).append("/").append(group).append(".svg"))
            << svg(chartOf(group, own, machine));
        markdown << "\n### " << group << "\n\n" << table(shortened(own), true);
        std::cout << "\n" << group << "\n" << table(own, false);
    }
    return cases.empty() || !markdown ? 1 : 0;
}

}  // namespace

}  // namespace zem::bench

int main(int argc, char** argv) {
    if (argc == 2 && strcmp(argv[1], "--ratios") == 0) {
        std::cout << "{" << zem::bench::json(zem::bench::readCases(std::cin), true, " ") << "}\n";
        return 0;
    }
    if (argc != 3) {
        std::cerr << "usage: " << argv[0] << " FOLDER MACHINE | --ratios\n";
        return 2;
    }
    return zem::bench::write(argv[1], argv[2]);
}
