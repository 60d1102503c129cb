// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

#include "document/element_history.h"

#include <Poco/String.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdlib>
#include <limits>
#include <optional>
#include <string_view>

namespace velmora::tool {

namespace tsn = core::tessaryn;

namespace {

constexpr double none = std::numeric_limits<double>::quiet_NaN();

std::vector<double> ComputeMeans(const std::vector<double>& values, std::size_t parts) {
    const std::size_t count = std::min(parts, values.size());
    std::vector<double> means;
    for (std::size_t part = 0; part < count; ++part) {
        const std::size_t end = values.size() * (part + 1) / count;
        // Updates the mean, as the sum of the values may overflow.
        double mean = 0;
        double finite = 0;
        for (std::size_t i = values.size() * part / count; i < end; ++i) {
            if (std::isfinite(values[i])) {
                finite += 1;
                mean += values[i] / finite - mean / finite;
            }
        }
        means.push_back(finite > 0 ? mean : none);
    }
    return means;
}

template <class T>
std::string Format(const std::optional<T>& value, ValueForm form) {
    std::string text;
    if (value) {
        AppendValue(text, *value, form);
    }
    return text;
}

template <class T>
ElementHistory Summarize(const std::vector<tsn::Sample*>& samples, unsigned short entry,
                         unsigned int index,
                         T (tsn::Sample::*getter)(unsigned short, unsigned int) const,
                         ValueForm form, std::size_t parts) {
    std::optional<T> minimum;
    std::optional<T> maximum;
    std::optional<T> last;
    std::vector<double> values;
    for (const tsn::Sample* const sample : samples) {
        if (sample->GetSize(entry) <= index) {
            continue;
        }
        const T value = (sample->*getter)(entry, index);
        last = value;
        values.push_back(static_cast<double>(value));
        if (std::isnan(values.back())) {
            continue;
        }
        if (!minimum || value < *minimum) {
            minimum = value;
        }
        if (!maximum || *maximum < value) {
            maximum = value;
        }
    }
    return {Format(minimum, form), Format(maximum, form), Format(last, form),
            ComputeMeans(values, parts)};
}

}  // namespace

ElementHistory GetElementHistory(const std::vector<tsn::Sample*>& samples, unsigned short entry,
                                 unsigned int index, tsn::BaseType type, ValueForm form,
                                 std::size_t parts) {
    ElementHistory history;
    VisitGetter(type, [&](auto getter) {
        history = Summarize(samples, entry, index, getter, form, parts);
    });
    return history;
}

std::string MakeSparkline(const std::vector<double>& means, bool unicode) {
    constexpr std::array<const char*, 8> blocks = {"▁", "▂", "▃", "▄", "▅", "▆", "▇", "█"};
    constexpr std::string_view ascii = "_.-~=+*#";
    double minimum = none;
    double maximum = none;
    for (const double mean : means) {
        minimum = std::fmin(minimum, mean);
        maximum = std::fmax(maximum, mean);
    }
    // Halved, as the difference of two finite numbers may overflow.
    const double span = maximum / 2 - minimum / 2;
    std::string line;
    for (const double mean : means) {
        const double height = span > 0 ? (mean / 2 - minimum / 2) / span : 0;
        if (std::isnan(mean)) {
            line += ' ';
            continue;
        }
        const auto level = static_cast<std::size_t>(std::min(height * 8, 7.0));
        line += unicode ? blocks[level] : std::string(1, ascii[level]);
    }
    return line;
}

bool IsLocaleUtf8() {
    for (const char* const name : {"LC_ALL", "LC_CTYPE", "LANG"}) {
        const char* const value = std::getenv(name);
        if (value == nullptr || *value == '\0') {
            continue;
        }
        const std::string locale = Poco::toLower(std::string(value));
        return locale.find("utf-8") != std::string::npos ||
               locale.find("utf8") != std::string::npos;
    }
    // Without a locale, the terminal is assumed to be UTF-8.
    return true;
}

}  // namespace velmora::tool
