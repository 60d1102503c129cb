// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

#include "plot/chart.h"
#include "plot/markup.h"
#include "plot/page_parts.h"
#include "text/escaped_text.h"
#include "text/value_text.h"

#include <algorithm>

namespace velmora::tool {

namespace {

// Points of a page: they take 1.2 MB at most.
constexpr std::size_t maxPoints = 40'000;

// A text as a string in a script of a page, in which "</" must not occur.
void AppendScriptString(std::string& out, const std::string& text) {
    std::string json;
    AppendJsonString(json, text);
    for (const char c : json) {
        if (c == '<') {
            out += "\\u003c";
        } else {
            out += c;
        }
    }
}

void AppendMilliseconds(std::string& out, std::int64_t microseconds) {
    out += std::to_string(microseconds / 1000);
    if (microseconds % 1000 != 0) {
        const std::string rest = std::to_string(1000 + microseconds % 1000);
        out += '.' + rest.substr(1);
    }
}

void AppendChart(std::string& out, const Chart& chart, std::int64_t begin, std::size_t intervals) {
    out += "{stream:";
    AppendScriptString(out, chart.stream);
    out += ",entry:";
    AppendScriptString(out, chart.entry);
    out += ",title:";
    AppendScriptString(out, GetTitle(chart));
    out += ",unit:";
    AppendScriptString(out, chart.unit.empty() ? "" : " " + chart.unit);
    out += ",points:[";
    for (const Point& point : Thin(chart.points, intervals)) {
        out += '[';
        AppendMilliseconds(out, point.time - begin);
        out += ',';
        AppendValue(out, point.value, ValueForm::json);
        out += "],";
    }
    out += "]},\n";
}

}  // namespace

std::string DrawHtml(const Report& report, TimePrinter& times) {
    const auto [begin, end] = report.GetRange();
    const std::size_t intervals =
        std::max<std::size_t>(50, maxPoints / 2 / std::max<std::size_t>(1, report.charts.size()));
    std::string out =
        "<!DOCTYPE html>\n<html lang=\"en\">\n<head>\n<meta charset=\"utf-8\">\n<title>" +
        EscapeMarkup(report.title) + "</title>\n<style>";
    out += dygraphsStyle;
    out += reportStyle;
    out += "</style>\n</head>\n<body>\n<h1>" + EscapeMarkup(report.title) + "</h1>\n<p>" +
           EscapeMarkup(times.Format(begin)) + " to " + EscapeMarkup(times.Format(end)) +
           ". Drag to zoom, double click to see all.</p>\n<p id=\"choices\"></p>\n<div "
           "id=\"charts\"></div>\n<ul id=\"events\"></ul>\n<script>";
    out += dygraphsScript;
    out += "</script>\n<script>\nconst report = {begin:";
    AppendMilliseconds(out, begin + times.GetOffset(begin));
    out += ",length:";
    AppendMilliseconds(out, end - begin);
    out += ",events:[";
    for (const Report::StreamEvent& each : report.events) {
        out += "{stream:";
        AppendScriptString(out, each.stream);
        out += ",label:";
        AppendScriptString(out, each.event.label);
        out += ",begin:";
        AppendMilliseconds(out, each.event.begin - begin);
        out += ",end:";
        AppendMilliseconds(out, each.event.end - begin);
        out += "},";
    }
    out += "],charts:[\n";
    for (const Chart& chart : report.charts) {
        AppendChart(out, chart, begin, intervals);
    }
    out += "]};\n";
    out += reportScript;
    return out + "</script>\n</body>\n</html>\n";
}

}  // namespace velmora::tool
