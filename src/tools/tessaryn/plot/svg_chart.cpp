// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

#include "plot/chart.h"
#include "plot/markup.h"

#include <algorithm>

namespace velmora::tool {

namespace {

constexpr double width = 1200;
constexpr double chartHeight = 220;
constexpr double left = 90;
constexpr double right = 20;
constexpr double top = 30;
constexpr double bottom = 30;

// Places in one of the charts.
struct Frame {
    std::int64_t begin;
    std::int64_t end;
    double y;
    double low;
    double high;

    double GetX(std::int64_t time) const {
        return left + (width - left - right) * static_cast<double>(time - begin) /
                          static_cast<double>(end - begin);
    }
    double GetY(double value) const {
        const double share = high > low ? (value - low) / (high - low) : 0.5;
        return y + top + (1 - share) * (chartHeight - top - bottom);
    }
};

void AppendLabel(std::string& out, double x, double y, const char* anchor,
                 const std::string& text) {
    out += "<text x=\"" + FormatNumber(x) + "\" y=\"" + FormatNumber(y) + "\" text-anchor=\"" +
           anchor + "\">" + EscapeMarkup(text) + "</text>\n";
}

void AppendChart(std::string& out, const Report& report, const Chart& chart, const Frame& frame,
                 TimePrinter& times) {
    for (const Report::StreamEvent& each : report.events) {
        if (each.stream == chart.stream) {
            const double x = frame.GetX(each.event.begin);
            out += "<rect class=\"event\" x=\"" + FormatNumber(x) + "\" y=\"" +
                   FormatNumber(frame.y + top) + "\" width=\"" +
                   FormatNumber(std::max(1.0, frame.GetX(each.event.end) - x)) + "\" height=\"" +
                   FormatNumber(chartHeight - top - bottom) + "\"><title>" +
                   EscapeMarkup(each.event.label) + "</title></rect>\n";
        }
    }
    out += "<polyline points=\"";
    for (const Point& point : Thin(chart.points, static_cast<std::size_t>(width - left - right))) {
        out += FormatNumber(frame.GetX(point.time)) + ',' + FormatNumber(frame.GetY(point.value)) +
               ' ';
    }
    out += "\"/>\n";
    AppendLabel(out, left, frame.y + top - 8, "start", GetTitle(chart));
    AppendLabel(out, left - 8, frame.GetY(frame.high) + 4, "end", FormatShort(frame.high));
    AppendLabel(out, left - 8, frame.GetY(frame.low) + 4, "end", FormatShort(frame.low));
    const double foot = frame.y + chartHeight - bottom + 18;
    AppendLabel(out, left, foot, "start", times.Format(frame.begin));
    AppendLabel(out, width - right, foot, "end", times.Format(frame.end));
}

}  // namespace

std::string DrawSvg(const Report& report, TimePrinter& times) {
    const double height = chartHeight * static_cast<double>(report.charts.size());
    std::string out =
        "<svg xmlns=\"http://www.w3.org/2000/svg\" viewBox=\"0 0 " + FormatNumber(width) + ' ' +
        FormatNumber(height) +
        "\" font-family=\"sans-serif\" font-size=\"12\">\n<style>polyline{fill:none;"
        "stroke:#1f5fa8;stroke-width:1.2}.event{fill:#e07b39;fill-opacity:.35}</style>\n"
        "<rect width=\"100%\" height=\"100%\" fill=\"white\"/>\n";
    const auto [begin, end] = report.GetRange();
    double y = 0;
    for (const Chart& chart : report.charts) {
        if (!chart.points.empty()) {
            const auto [low, high] = std::minmax_element(
                chart.points.begin(), chart.points.end(),
                [](const Point& a, const Point& b) { return a.value < b.value; });
            AppendChart(out, report, chart, {begin, end, y, low->value, high->value}, times);
        }
        y += chartHeight;
    }
    return out + "</svg>\n";
}

}  // namespace velmora::tool
