// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

#include "plot/chart.h"
#include "plot/markup.h"
#include "text/escaped_text.h"

#include <algorithm>
#include <cmath>
#include <iterator>
#include <utf8.h>

namespace velmora::tool {

namespace {

constexpr std::size_t rows = 10;
constexpr std::size_t axisWidth = 12;

// Dots of a chart: each character is two dots wide and four high.
class Canvas {
  public:
    explicit Canvas(std::size_t columns) : columns(columns), dots(columns * rows) {}

    std::size_t GetWidth() const { return 2 * columns; }
    static constexpr std::size_t GetHeight() { return 4 * rows; }

    // A vertical line of dots; rows count from the top.
    void Draw(std::size_t x, std::size_t from, std::size_t to) {
        constexpr unsigned char bits[4][2] = {
            {0x01, 0x08}, {0x02, 0x10}, {0x04, 0x20}, {0x40, 0x80}};
        for (std::size_t y = std::min(from, to); y <= std::max(from, to); ++y) {
            dots[y / 4 * columns + x / 2] |= bits[y % 4][x % 2];
        }
    }

    void AppendRow(std::string& out, std::size_t row, bool isUnicode) const {
        for (std::size_t column = 0; column < columns; ++column) {
            const unsigned char pattern = dots[row * columns + column];
            if (pattern == 0) {
                out += ' ';
            } else if (isUnicode) {
                utf8::append(static_cast<char32_t>(0x2800U + pattern), std::back_inserter(out));
            } else {
                out += '*';
            }
        }
    }

  private:
    std::size_t columns;
    std::vector<unsigned char> dots;
};

// Positions of times on the axis.
struct TimeAxis {
    std::int64_t begin;
    std::int64_t end;
    std::size_t width;

    std::size_t GetPlace(std::int64_t time) const {
        const double share = static_cast<double>(time - begin) / static_cast<double>(end - begin);
        const double place = std::clamp(share, 0.0, 1.0) * static_cast<double>(width - 1);
        return static_cast<std::size_t>(std::lround(place));
    }
};

void DrawPoints(Canvas& canvas, const Chart& chart, const TimeAxis& axis, double low, double high) {
    const auto rowOf = [&](double value) {
        const double share = high > low ? (value - low) / (high - low) : 0.5;
        const double row = (1 - share) * static_cast<double>(Canvas::GetHeight() - 1);
        return static_cast<std::size_t>(std::lround(row));
    };
    std::size_t previous = axis.width;
    std::size_t previousRow = 0;
    for (const Point& point : Thin(chart.points, axis.width)) {
        const std::size_t x = axis.GetPlace(point.time);
        const std::size_t row = rowOf(point.value);
        const bool joins = previous != axis.width && x - previous <= 1;
        canvas.Draw(x, joins ? previousRow : row, row);
        previous = x;
        previousRow = row;
    }
}

void AppendChart(std::string& out, const Report& report, const Chart& chart, std::size_t columns,
                 bool isUnicode) {
    AppendWord(out, chart.stream);
    out += ' ';
    AppendEscaped(out, chart.entry);
    if (!chart.unit.empty()) {
        out += " (";
        AppendEscaped(out, chart.unit);
        out += ')';
    }
    out += '\n';
    if (chart.points.empty()) {
        out += "  no values\n";
        return;
    }
    const auto [low, high] = std::minmax_element(
        chart.points.begin(), chart.points.end(),
        [](const Point& left, const Point& right) { return left.value < right.value; });
    Canvas canvas(columns);
    const auto [begin, end] = report.GetRange();
    DrawPoints(canvas, chart, {begin, end, canvas.GetWidth()}, low->value, high->value);
    for (std::size_t row = 0; row < rows; ++row) {
        std::string label;
        if (row == 0 || row == rows - 1) {
            label = FormatShort(row == 0 ? high->value : low->value);
        } else if (row == rows / 2) {
            label = FormatShort((low->value + high->value) / 2);
        }
        out += std::string(axisWidth - 2 - std::min(label.size(), axisWidth - 2), ' ') + label;
        out += isUnicode ? " \xE2\x94\x82" : " |";
        canvas.AppendRow(out, row, isUnicode);
        out += '\n';
    }
}

// A line with a mark where an event of the stream is.
void AppendEvents(std::string& out, const Report& report, const std::string& stream,
                  std::size_t columns, bool isUnicode) {
    const auto [begin, end] = report.GetRange();
    const TimeAxis axis{begin, end, columns};
    std::vector<bool> marks(columns);
    bool any = false;
    for (const Report::StreamEvent& each : report.events) {
        if (each.stream == stream) {
            any = true;
            std::fill(
                marks.begin() + static_cast<std::ptrdiff_t>(axis.GetPlace(each.event.begin)),
                marks.begin() + static_cast<std::ptrdiff_t>(axis.GetPlace(each.event.end)) + 1,
                true);
        }
    }
    if (!any) {
        return;
    }
    out += std::string(axisWidth - 8, ' ') + "events  ";
    for (const bool mark : marks) {
        out += !mark ? " " : isUnicode ? "\xE2\x96\xB2" : "^";
    }
    out.erase(out.find_last_not_of(' ') + 1);
    out += '\n';
}

}  // namespace

std::string DrawText(const Report& report, TimePrinter& times, std::size_t width, bool isUnicode) {
    constexpr std::size_t minColumns = 44;
    const std::size_t columns = std::max(width, axisWidth + minColumns) - axisWidth;
    std::string out;
    for (const Chart& chart : report.charts) {
        AppendChart(out, report, chart, columns, isUnicode);
        AppendEvents(out, report, chart.stream, columns, isUnicode);
    }
    const auto [begin, end] = report.GetRange();
    const std::string left = times.Format(begin);
    const std::string right = times.Format(end);
    const std::size_t used = left.size() + right.size();
    out += std::string(axisWidth, ' ') + left +
           std::string(columns > used ? columns - used : 1, ' ') + right + '\n';
    return out;
}

}  // namespace velmora::tool
