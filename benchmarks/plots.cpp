// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

#include "plots.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdio>
#include <fstream>
#include <sstream>
#include <stdexcept>
#include <utility>
#include <vector>

namespace velmora::benchmarks {
namespace {

using Times = std::map<std::string, double>;
using Points = std::vector<std::pair<double, double>>;

struct Curve {
    const char* label;
    // What benchmarks have before and behind the number.
    const char* before;
    const char* behind;
    // Of the benchmark without a number; null for none.
    const char* first = nullptr;
};

struct Plot {
    const char* file;
    const char* title;
    const char* xTitle;
    std::vector<Curve> curves;
};

std::vector<Plot> Plots() {
    return {
        {"rules.svg",
         "A push, by rules that do not hold",
         "rules of two comparisons",
         {{"Velmora Tessaryn", "R.", "/ours"},
          {"C++ lambdas", "R.", "/floor"},
          {"SQLite's triggers", "R.", "/sqlite"}}},
        {"samples.svg",
         "The newest 100 samples, each read, by samples in the ring",
         "samples",
         {{"Velmora Tessaryn", "Q1.", "/ours"},
          {"hand-written C++", "Q1.", "/floor"},
          {"SQLite", "Q1.", "/sqlite"}}},
        {"entries.svg",
         "A push that sets all entries",
         "entries of type Double",
         {{"Velmora Tessaryn", "N.", "/ours"},
          {"typed fields, no clock", "N.", "/fields"},
          {"hand-written C++", "N.", "/floor"}}},
        {"threads.svg",
         "A push into one stream: CPU time of all threads",
         "threads",
         {{"Velmora Tessaryn", "P7.", "/ours", "P0/ours"},
          {"hand-written C++", "P7.", "/floor", "P0/floor"}}},
    };
}

// The points of a curve, by the number in the benchmark's name.
Points PointsOf(const Curve& curve, const Times& times) {
    Points points;
    const std::string before = curve.before;
    const std::string behind = curve.behind;
    for (const auto& [name, time] : times) {
        if (name.starts_with(before) && name.ends_with(behind) &&
            name.size() > before.size() + behind.size()) {
            const std::string number =
                name.substr(before.size(), name.size() - before.size() - behind.size());
            if (number.find_first_not_of("0123456789") == std::string::npos) {
                points.emplace_back(std::stod(number), time);
            }
        }
    }
    if (curve.first != nullptr && times.contains(curve.first)) {
        points.emplace_back(1, times.at(curve.first));
    }
    std::sort(points.begin(), points.end());
    return points;
}

// A range of powers of 10, or of 2 where it is small, with their places along one side of the
// picture.
class Axis {
  public:
    Axis(double least, double greatest, double begin, double end)
        : base(greatest / least > smallRange ? 10 : 2),
          low(std::floor(LogarithmOf(least))),
          high(std::max(std::ceil(LogarithmOf(greatest)), low + 1)),
          begin(begin),
          end(end) {}

    double PlaceOf(double value) const {
        return begin + (LogarithmOf(value) - low) / (high - low) * (end - begin);
    }
    std::vector<double> Marks() const {
        std::vector<double> marks;
        for (double exponent = low; exponent <= high; ++exponent) {
            marks.push_back(std::pow(base, exponent));
        }
        return marks;
    }

  private:
    // Floating-point noise must not move a power beyond its exponent.
    double LogarithmOf(double value) const {
        return std::round(std::log(value) / std::log(base) * precision) / precision;
    }

    static constexpr double smallRange = 16;
    static constexpr double precision = 1e9;

    double base;
    double low;
    double high;
    double begin;
    double end;
};

std::string Fixed(double value) {
    char text[64];
    std::snprintf(text, sizeof(text), "%.1f", value);
    return text;
}

// "10", "10,000".
std::string Grouped(double value) {
    std::string digits = std::to_string(std::llround(value));
    for (auto place = static_cast<std::ptrdiff_t>(digits.size()) - 3; place > 0; place -= 3) {
        digits.insert(static_cast<std::size_t>(place), ",");
    }
    return digits;
}

std::string DurationOf(double nanoseconds) {
    const char* const units[] = {" ns", " µs", " ms", " s"};
    std::size_t unit = 0;
    while (nanoseconds >= 1000 && unit + 1 < std::size(units)) {
        nanoseconds /= 1000;
        ++unit;
    }
    return Grouped(nanoseconds) + units[unit];
}

class Picture {
  public:
    Picture() {
        out << "<svg xmlns=\"http://www.w3.org/2000/svg\" viewBox=\"0 0 " << width << ' ' << height
            << "\" width=\"" << width << "\" height=\"" << height
            << "\" font-family=\"sans-serif\" font-size=\"13\">\n"
            << "<rect width=\"100%\" height=\"100%\" fill=\"white\"/>\n";
    }

    void Text(double x, double y, const char* anchor, const std::string& text) {
        out << "<text x=\"" << Fixed(x) << "\" y=\"" << Fixed(y) << "\" text-anchor=\"" << anchor
            << "\">" << text << "</text>\n";
    }
    void Line(double x1, double y1, double x2, double y2) {
        out << "<path d=\"M" << Fixed(x1) << ' ' << Fixed(y1) << 'L' << Fixed(x2) << ' '
            << Fixed(y2) << "\" stroke=\"#ddd\"/>\n";
    }
    void Curve(const Points& places, const char* color) {
        out << "<polyline fill=\"none\" stroke=\"" << color << "\" stroke-width=\"2\" points=\"";
        for (const auto& [x, y] : places) {
            out << Fixed(x) << ',' << Fixed(y) << ' ';
        }
        out << "\"/>\n";
        for (const auto& [x, y] : places) {
            out << "<circle cx=\"" << Fixed(x) << "\" cy=\"" << Fixed(y) << "\" r=\"3\" fill=\""
                << color << "\"/>\n";
        }
    }
    std::string Finish() { return out.str() + "</svg>\n"; }

    static constexpr int width = 640;
    static constexpr int height = 400;

  private:
    std::ostringstream out;
};

// Both axes are logarithmic.
std::string Draw(const Plot& plot, const std::vector<Points>& curves) {
    constexpr double left = 70;
    constexpr double right = Picture::width - 40;
    constexpr double top = 64;
    constexpr double bottom = Picture::height - 50;
    Points all;
    for (const Points& points : curves) {
        all.insert(all.end(), points.begin(), points.end());
    }
    std::vector<double> times;
    for (const auto& point : all) {
        times.push_back(point.second);
    }
    const auto [leastX, greatestX] = std::minmax_element(all.begin(), all.end());
    const auto [leastY, greatestY] = std::minmax_element(times.begin(), times.end());
    const Axis x(leastX->first, greatestX->first, left, right);
    const Axis y(*leastY, *greatestY, bottom, top);

    Picture picture;
    picture.Text(left, top - 42, "start", plot.title);
    picture.Text((left + right) / 2, Picture::height - 10, "middle", plot.xTitle);
    for (const double mark : x.Marks()) {
        picture.Line(x.PlaceOf(mark), top, x.PlaceOf(mark), bottom);
        picture.Text(x.PlaceOf(mark), bottom + 18, "middle", Grouped(mark));
    }
    for (const double mark : y.Marks()) {
        picture.Line(left, y.PlaceOf(mark), right, y.PlaceOf(mark));
        picture.Text(left - 6, y.PlaceOf(mark) + 4, "end", DurationOf(mark));
    }
    constexpr std::array<const char*, 3> colors = {"#0b5394", "#b45f06", "#38761d"};
    constexpr double legendWidth = 180;
    double legend = left;
    for (std::size_t i = 0; i < curves.size(); ++i) {
        Points places;
        for (const auto& [number, time] : curves[i]) {
            places.emplace_back(x.PlaceOf(number), y.PlaceOf(time));
        }
        if (!places.empty()) {
            picture.Curve(places, colors[i]);
            picture.Curve({{legend, top - 20}, {legend + 16, top - 20}}, colors[i]);
            picture.Text(legend + 22, top - 16, "start", plot.curves[i].label);
            legend += legendWidth;
        }
    }
    return picture.Finish();
}

}  // namespace

void WritePlots(const Times& nanoseconds, const std::string& folder) {
    for (const Plot& plot : Plots()) {
        std::vector<Points> curves;
        for (const Curve& curve : plot.curves) {
            curves.push_back(PointsOf(curve, nanoseconds));
        }
        if (curves.front().size() < 2) {
            continue;
        }
        const std::string path = folder + '/' + plot.file;
        std::ofstream out(path);
        out << Draw(plot, curves);
        out.close();
        if (!out) {
            throw std::runtime_error("Cannot write '" + path + "'.");
        }
    }
}

}  // namespace velmora::benchmarks
