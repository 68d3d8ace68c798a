#include "bench/charts.h"

#include <algorithm>
#include <cstdio>

namespace zem::bench {

namespace {

constexpr int kLetter = 8;   // pixels of a label, at most
constexpr int kWidth = 420;  // of the longest bar
constexpr int kHead = 100;   // title, note and legend
constexpr int kBarHeight = 13;
constexpr int kRowGap = 12;
constexpr const char* kColours[] = {"#2a6f97", "#9db4c0", "#e09f3e", "#9e2a2b", "#7f7f7f"};

std::string escaped(const std::string& text) {
    std::string out;
    for (const char c : text) {
        out += c == '&' ? "&amp;" : c == '<' ? "&lt;" : std::string(1, c);
    }
    return out;
}

std::string text(int x, int y, const char* attributes, const std::string& words) {
    return "<text x=\"" + std::to_string(x) + "\" y=\"" + std::to_string(y) + "\" " + attributes + ">" +
           escaped(words) + "</text>\n";
}

std::string box(int x, int y, int width, int height, const std::string& colour) {
    return "<rect x=\"" + std::to_string(x) + "\" y=\"" + std::to_string(y) + "\" width=\"" +
           std::to_string(width) + "\" height=\"" + std::to_string(height) + "\" fill=\"" + colour + "\"/>\n";
}

std::string number(double value) {
    char buffer[32];
    snprintf(buffer, sizeof buffer, value < 10 ? "%.2f" : value < 100 ? "%.1f" : "%.0f", value);
    return buffer;
}

std::vector<std::string> namesIn(const Chart& chart) {
    std::vector<std::string> names;
    for (const ChartRow& row : chart.rows) {
        for (const Bar& bar : row.bars) {
            if (std::find(names.begin(), names.end(), bar.name) == names.end()) {
                names.push_back(bar.name);
            }
        }
    }
    return names;
}

}  // namespace

std::string svg(const Chart& chart) {
    const std::vector<std::string> names = namesIn(chart);
    const auto colour = [&](const std::string& name) {
        const auto at = std::find(names.begin(), names.end(), name) - names.begin();
        return std::string(kColours[static_cast<size_t>(at) % std::size(kColours)]);
    };
    std::string body = text(10, 24, "font-size=\"17\" font-weight=\"bold\"", chart.title);
    body += text(10, 44, "font-size=\"12\" fill=\"#555\"", chart.note);
    body += text(10, 60, "font-size=\"12\" fill=\"#555\"", chart.machine);
    int x = 10;
    for (const std::string& name : names) {
        body += box(x, 73, 11, 11, colour(name)) + text(x + 16, 83, "font-size=\"12\"", name);
        x += 40 + 7 * static_cast<int>(name.size());
    }
    size_t longest = 0;
    for (const ChartRow& row : chart.rows) {
        longest = std::max(longest, row.label.size());
    }
    const int left = 16 + kLetter * static_cast<int>(longest);
    int y = kHead;
    for (const ChartRow& row : chart.rows) {
        const int height = kBarHeight * static_cast<int>(row.bars.size());
        body += text(left - 8, y + height / 2 + 4, "font-size=\"13\" text-anchor=\"end\"", row.label);
        for (const Bar& bar : row.bars) {
            const bool isCut = bar.value > chart.longest;
            const int width = static_cast<int>(kWidth * std::min(bar.value / chart.longest, 1.0));
            body += box(left, y, std::max(width, 1), kBarHeight - 2, colour(bar.name));
            body += text(left + width + 5, y + kBarHeight - 3, "font-size=\"11\"",
                         (isCut ? "\xE2\x80\xA6 " : "") + number(bar.value));
            y += kBarHeight;
        }
        y += kRowGap;
    }
    const std::string size =
        "width=\"" + std::to_string(left + kWidth + 80) + "\" height=\"" + std::to_string(y) + "\"";
    return "<svg xmlns=\"http://www.w3.org/2000/svg\" " + size + " font-family=\"sans-serif\">\n" +
           "<rect width=\"100%\" height=\"100%\" fill=\"white\"/>\n" + body + "</svg>\n";
}

}  // namespace zem::bench
