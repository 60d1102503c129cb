// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

#include "report.h"

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <functional>
#include <iostream>
#include <optional>
#include <string>

namespace velmora::benchmarks {
namespace {

using Times = std::map<std::string, double>;
using Value = std::optional<double>;

Value TimeOf(const Times& times, const std::string& name) {
    const auto place = times.find(name);
    return place == times.end() ? Value() : place->second;
}

Value Quotient(const Value& dividend, const Value& divisor) {
    return dividend && divisor ? *dividend / *divisor : Value();
}

// An operation that is measured beside a floor. The goal is the largest ratio that --gate accepts;
// a goal of 0 means that there is none.
struct Op {
    const char* name;
    const char* benchmark;
    const char* what;
    double goal;
};

constexpr Op ops[] = {
    {"P0", "P0", "push, no subscriber", 1.15},
    {"P1", "P1", "push, one `Always()`, empty delegate", 1.15},
    {"P2", "P2", "push, one rule of two comparisons", 1.15},
    {"P3", "P3", "push, 100 such rules", 0.8},
    {"P3", "P3.Int64", "push, 100 rules on `Double` and `Int64`", 0.8},
    {"P3", "P3.Bool", "push, 100 rules on `Double` and `Bool`", 0.8},
    {"P3", "P3.Float", "push, 100 rules on `Double` and `Float`", 0.8},
    {"P3", "P3.String", "push, 100 rules on `Double` and `String`", 0.8},
    {"R", "R.10000", "push, 10,000 such rules", 0.1},
    {"P4", "P4", "push, one rule on an array", 1.15},
    {"P5", "P5", "push of an encoded sample, 60 bytes", 1.3},
    {"P5", "P5.always", "the same, one `Always()`", 1.3},
    {"P5", "P5.rule", "the same, one rule of two comparisons", 1.3},
    {"P6", "P6", "push, one rule on a text", 1.3},
    {"P7", "P7.2", "push, two threads, CPU time of both", 1.15},
    {"P7", "P7.4", "push, four threads, CPU time of all", 1.15},
    {"Q1", "Q1.1024", "`GetLast`, 100 of 1,024, each read", 1.3},
    {"Q1", "Q1.100000", "`GetLast`, 100 of 100,000, each read", 1.3},
    {"Q1", "Q1.1000000", "`GetLast`, 100 of 1,000,000, each read", 1.3},
    {"Q2", "Q2", "`GetLatest`, reads one entry", 2.0},
    {"Q4", "Q4.1024", "`GetAll` of 1,024", 1.3},
    {"Q4", "Q4.1000000", "`GetAll` of 1,000,000", 1.3},
    {"F1", "F1.Double", "`Field<double>`, 101 reads", 1.0},
    {"F1", "F1.Int32", "`Field<int>`, 101 reads", 1.0},
    {"F2", "F2", "`Column` of 1,024 and their times", 1.2},
    {"F3", "F3.100", "`Set` of a span of 100 `Double`", 1.3},
    {"F3", "F3.100000", "`Set` of a span of 100,000 `Double`", 1.3},
    {"E1", "E1", "binary encode, 60 bytes", 1.5},
    {"E2", "E2", "binary decode, 60 bytes", 1.2},
    {"E2", "E2.host.10", "binary decode from a host's buffer, 10 entries", 0.0},
    {"E2", "E2.host.1000", "binary decode from a host's buffer, 1,000 entries", 0.0},
    {"L1", "L1", "one of 1,000 streams by path", 1.2},
    {"D1", "D1", "push through a delivery, a rule that matches", 1.3},
    {"D2", "D2", "99.9th percentile of a push, handler of 50 ms", 2.0},
    {"X1", "X1", "frame of a sample of 60 bytes", 1.5},
    {"X1", "X1.large", "frame of a sample of 100,000 bytes", 1.5},
    {"X2", "X2", "sample of a frame, 60 bytes", 1.5},
    {"X2", "X2.large", "sample of a frame, 100,000 bytes", 1.5},
    {"H1", "H1", "write a sample to a history, CPU time of all threads", 1.5},
    {"H2", "H2", "read 1 % of 1,000,000 rows of a history by time", 1.5},
    {"S", "S.xml.write", "write XML, 1,000 x 100 samples", 2.0},
    {"S", "S.xml.read", "read XML", 2.0},
    {"S", "S.json.write", "write JSON", 2.0},
    {"S", "S.json.read", "read JSON", 2.0},
};

// A value that is derived from measurements. A goal of 0 means that there is none.
struct Derived {
    const char* name;
    const char* what;
    const char* unit;
    double goal;
    std::function<Value(const Times&)> value;
};

std::function<Value(const Times&)> RatioOf(const char* dividend, const char* divisor) {
    return [=](const Times& times) {
        return Quotient(TimeOf(times, dividend), TimeOf(times, divisor));
    };
}

std::function<Value(const Times&)> ValueOf(const char* name) {
    return [=](const Times& times) { return TimeOf(times, name); };
}

Value PerRule(const Times& times, const std::string& many) {
    const Value with = TimeOf(times, many + "/encoded");
    const Value without = TimeOf(times, "P0/encoded");
    return with && without ? (*with - *without) / 100 : Value();
}

std::function<Value(const Times&)> RuleAgainstP3(const char* many) {
    return [=](const Times& times) { return Quotient(PerRule(times, many), PerRule(times, "P3")); };
}

Value PerSample(const Times& times, const std::string& name, int samples) {
    const Value all = TimeOf(times, name);
    return all ? *all / samples : Value();
}

// A sample of a batch of 100 against a push by itself.
std::function<Value(const Times&)> BatchAgainst(const char* batch, const char* push) {
    return [=](const Times& times) {
        return Quotient(PerSample(times, std::string(batch) + "/ours", 100),
                        TimeOf(times, std::string(push) + "/ours"));
    };
}

// What one of 60,000 costs beside one of 600.
std::function<Value(const Times&)> ManyAgainstFew(const std::string& op) {
    return [=](const Times& times) {
        return Quotient(PerSample(times, op + ".60000/ours", 60'000),
                        PerSample(times, op + ".600/ours", 600));
    };
}

// What one of the late samples adds to a query, a level of its binary search.
std::function<Value(const Times&)> LateSample(int lateSamples) {
    return [=](const Times& times) {
        const Value with = TimeOf(times, "Q3." + std::to_string(lateSamples) + "/ours");
        const Value without = TimeOf(times, "Q1.100000/ours");
        return with && without ? (*with - *without) / (lateSamples * std::log2(100'000.0))
                               : Value();
    };
}

// Of 10,000 rules, against what neither finding nor asking them would leave.
Value TenThatHold(const Times& times) {
    const Value none = TimeOf(times, "R.10000/ours");
    const Value always = TimeOf(times, "R.always/ours");
    const Value nobody = TimeOf(times, "P0/ours");
    if (!none || !always || !nobody) {
        return {};
    }
    return Quotient(TimeOf(times, "R.ten/ours"), *none + *always - *nobody);
}

// What a rule that is asked costs against a lambda.
std::function<Value(const Times&)> RuleAgainstLambda(const std::string& shape) {
    return [=](const Times& times) {
        return Quotient(TimeOf(times, "R1." + shape + "/ours"),
                        TimeOf(times, "R1." + shape + "/floor"));
    };
}

std::vector<Derived> DerivedLines() {
    return {
        {"R1", "a rule of one comparison against a lambda", "x", 1.5, RuleAgainstLambda("one")},
        {"R1", "a rule of two with `&&`", "x", 1.5, RuleAgainstLambda("and")},
        {"R1", "a rule of two with `||`", "x", 1.5, RuleAgainstLambda("or")},
        {"R1", "a rule of two with `!`", "x", 1.5, RuleAgainstLambda("not")},
        {"R1", "a rule of two with `^^`", "x", 1.5, RuleAgainstLambda("xor")},
        {"R1", "a rule on one element", "x", 1.5, RuleAgainstLambda("element")},
        {"R1", "a rule on a number of elements", "x", 1.5, RuleAgainstLambda("size")},
        {"R1", "a rule on an array of 4 `Float`", "x", 1.5, RuleAgainstLambda("array")},
        {"R1", "a rule on a text of 12 characters", "x", 1.5, RuleAgainstLambda("text")},
        {"R1", "a rule on the order of such texts", "x", 1.5, RuleAgainstLambda("text order")},
        {"R1", "a rule on a range of 2 elements", "x", 1.5, RuleAgainstLambda("range")},
        {"R1", "a rule on an `Int32`", "x", 1.5, RuleAgainstLambda("Int32")},
        {"R1", "a rule on an `Int64`", "x", 1.5, RuleAgainstLambda("Int64")},
        {"R1", "a rule on a `Float`", "x", 1.5, RuleAgainstLambda("Float")},
        {"R1", "a rule on a `Bool` and an `Int32`", "x", 1.5, RuleAgainstLambda("Bool")},
        {"P3", "one rule of the hundred of P3", "ns", 8.0,
         [](const Times& times) { return PerRule(times, "P3"); }},
        {"P3", "one rule with an `Int64` against one with an `Int32`", "x", 1.3,
         RuleAgainstP3("P3.Int64")},
        {"P3", "one rule with a `Bool` against it", "x", 1.3, RuleAgainstP3("P3.Bool")},
        {"P3", "one rule with a `Float` against it", "x", 1.3, RuleAgainstP3("P3.Float")},
        {"P3", "one rule with a text against it", "x", 1.3, RuleAgainstP3("P3.String")},
        {"R", "10,000 rules, none holds, against P0's floor", "x", 3.0,
         RatioOf("R.10000/ours", "P0/floor")},
        {"R", "100,000 rules against it", "x", 4.0, RatioOf("R.100000/ours", "P0/floor")},
        {"R", "1,000,000 rules against 10,000", "x", 2.0,
         RatioOf("R.1000000/ours", "R.10000/ours")},
        {"R", "10,000 rules and ten that hold, against none and ten `Always()`", "x", 1.3,
         TenThatHold},
        {"R", "10,000 rules on a text against P0's floor", "x", 3.0,
         RatioOf("R.text/ours", "P0/floor")},
        {"R", "10,000 rules on an array against it", "x", 4.0, RatioOf("R.array/ours", "P0/floor")},
        {"R", "1,000 rules and ten of the host's against those ten alone", "x", 2.0,
         RatioOf("R.host/ours", "R.host alone/ours")},
        {"R", "10,000 rules of 3 states against P0's floor", "x", 3.0,
         RatioOf("R.state/ours", "P0/floor")},
        {"R", "10,000 rules with both bounds against it", "x", 3.0,
         RatioOf("R.band/ours", "P0/floor")},
        {"R", "10,000 rules with `||` against it", "x", 3.0, RatioOf("R.or/ours", "P0/floor")},
        {"R", "10,000 rules on a size against it", "x", 3.0, RatioOf("R.size/ours", "P0/floor")},
        {"R", "10,000 rules on other types against it", "x", 3.0,
         RatioOf("R.types/ours", "P0/floor")},
        {"R", "10,000 rules on the order of texts against it", "x", 4.0,
         RatioOf("R.order/ours", "P0/floor")},
        {"R", "10,000 rules of eight forms against it", "x", 4.0,
         RatioOf("R.mixed/ours", "P0/floor")},
        {"R", "one of 10,000 rules more between two pushes, beside its parsing", "ns", 5000.0,
         [](const Times& times) -> Value {
             const Value added = TimeOf(times, "R.added/ours");
             const Value parsed = TimeOf(times, "R.parsed/ours");
             return added && parsed ? Value(*added - *parsed) : Value();
         }},
        {"R", "10,000 rules subscribed and indexed, against parsing them", "x", 0.0,
         RatioOf("R.subscribe/ours", "R.subscribe/parsed")},
        {"R", "a subscription of 10,000, with its rule of two comparisons", "bytes", 400.0,
         ValueOf("R.bytes.10000/ours")},
        {"R", "a subscription of 1,000", "bytes", 400.0, ValueOf("R.bytes.1000/ours")},
        {"F1", "one read of a `Field<double>`", "ns", 1.0,
         [](const Times& times) { return PerSample(times, "F1.Double/ours", 101); }},
        {"F4", "a text of 60,000 of a sample, read from a node, against one of 600", "x", 2.0,
         ManyAgainstFew("F4")},
        {"F5", "a text of 60,000 set by `SetTexts` against one of 600", "x", 2.0,
         ManyAgainstFew("F5")},
        {"B1", "`PushMany` of 100 rows from columns against as many of P0", "x", 0.5,
         BatchAgainst("B1", "P0")},
        {"B2", "`PushMany` of 100 encoded samples against as many of P0", "x", 0.5,
         BatchAgainst("B2", "P0")},
        {"B2", "`PushMany` of 100 encoded samples against as many of P5", "x", 0.5,
         BatchAgainst("B2", "P5")},
        {"B1", "`PushMany` of such rows, one `Always()`, against as many of P1", "x", 0.5,
         BatchAgainst("B1.always", "P1")},
        {"B1", "`PushMany` of such rows, a rule, against as many of P2", "x", 0.5,
         BatchAgainst("B1.rule", "P2")},
        {"B2", "`PushMany` of encoded samples, one `Always()`, against as many of P5", "x", 0.0,
         BatchAgainst("B2.always", "P5.always")},
        {"B2", "`PushMany` of encoded samples, a rule, against as many of P5", "x", 0.5,
         BatchAgainst("B2.rule", "P5.rule")},
        {"P6", "the rule alone, text of 2,000 characters", "ns", 100.0,
         [](const Times& times) { return TimeOf(times, "P6rule/ours"); }},
        {"Q1", "1,000,000 samples against 1,024", "x", 1.5,
         RatioOf("Q1.1000000/ours", "Q1.1024/ours")},
        {"Q3", "one late sample in 100,000: a level of its search", "ns", 20.0, LateSample(1)},
        {"Q3", "one of 10 late samples", "ns", 20.0, LateSample(10)},
        {"Q3", "one of 1,000 late samples", "ns", 20.0, LateSample(1000)},
        {"Q3", "a query inside a query against one by itself", "x", 1.2,
         RatioOf("Q3.nested/ours", "Q1.100000/ours")},
        {"H2", "against as many rows of a history of 100,000", "x", 2.0,
         RatioOf("H2/ours", "H3/ours")},
        {"S", "write XML from a node tree only, against the floor", "x", 0.0,
         RatioOf("S.xml.write/tree", "S.xml.write/floor")},
        {"S", "read XML into a node tree only, against the floor", "x", 0.0,
         RatioOf("S.xml.read/tree", "S.xml.read/floor")},
        {"S", "write JSON from a node tree only, against the floor", "x", 0.0,
         RatioOf("S.json.write/tree", "S.json.write/floor")},
        {"S", "read JSON into a node tree only, against the floor", "x", 0.0,
         RatioOf("S.json.read/tree", "S.json.read/floor")},
        {"K", "read XML into a tree, against expat alone", "x", 1.0,
         RatioOf("K.xml.tree/ours", "K.xml.tree/parser")},
        {"K", "read JSON into a tree, against RapidJSON alone", "x", 3.5,
         RatioOf("K.json.tree/ours", "K.json.tree/parser")},
        {"K", "a node in a tree, beside its value", "bytes", 48.0, ValueOf("K.node/ours")},
        {"K", "write XML: memory a sample", "bytes", 64.0, ValueOf("K.xml.write.memory/document")},
        {"K", "read XML: memory a sample, beside the rings", "bytes", 64.0,
         ValueOf("K.xml.read.memory/document")},
        {"K", "write JSON: memory a sample", "bytes", 64.0,
         ValueOf("K.json.write.memory/document")},
        {"K", "read JSON: memory a sample, beside the rings", "bytes", 64.0,
         ValueOf("K.json.read.memory/document")},
        {"K", "size of a snapshot against XML", "x", 0.1,
         RatioOf("K.snapshot.size/document", "K.xml.size/document")},
        {"K", "write a snapshot against XML", "x", 0.05,
         RatioOf("K.snapshot.write/document", "K.xml.write/document")},
        {"K", "read a snapshot against XML", "x", 0.05,
         RatioOf("K.snapshot.read/document", "K.xml.read/document")},
        {"T", "an entry of 10,000 against one of 100, ordinary type", "x", 1.5,
         RatioOf("T.ordinary.10000/ours", "T.ordinary.100/ours")},
        {"T", "an entry of 60,000 against one of 100, ordinary type", "x", 1.5,
         RatioOf("T.ordinary.60000/ours", "T.ordinary.100/ours")},
        {"T", "an entry of 10,000 against one of 100, well-known type", "x", 1.5,
         RatioOf("T.well-known.10000/ours", "T.well-known.100/ours")},
        {"T", "an entry of 60,000 against one of 100, well-known type", "x", 1.5,
         RatioOf("T.well-known.60000/ours", "T.well-known.100/ours")},
        {"T", "`Add` and `EntryId` of one entry of 100, ordinary type", "ns", 0.0,
         [](const Times& times) { return TimeOf(times, "T.ordinary.100/ours"); }},
    };
}

std::string Fixed(double value, int digits) {
    char text[64];
    std::snprintf(text, sizeof(text), "%.*f", digits, value);
    return text;
}

std::string Time(const Value& value) {
    constexpr double million = 1e6;
    if (!value) {
        return "";
    }
    if (*value > million) {
        return Fixed(*value / million, 0) + " ms";
    }
    return Fixed(*value, *value < 100 ? 1 : 0);
}

// A Markdown table with columns of equal width, for reading as text.
class Table {
  public:
    explicit Table(std::vector<std::string> titles) : rows{std::move(titles)} {}

    void Add(std::vector<std::string> row) { rows.push_back(std::move(row)); }

    void Print(std::ostream& out) const {
        if (rows.size() == 1) {
            return;
        }
        std::vector<std::size_t> widths(rows.front().size(), 3);
        for (const auto& row : rows) {
            for (std::size_t i = 0; i < row.size(); ++i) {
                widths[i] = std::max(widths[i], row[i].size());
            }
        }
        out << '\n';
        for (std::size_t i = 0; i < rows.size(); ++i) {
            PrintRow(out, rows[i], widths);
            if (i == 0) {
                PrintRow(out, std::vector<std::string>(widths.size()), widths, '-');
            }
        }
    }

  private:
    static void PrintRow(std::ostream& out, const std::vector<std::string>& row,
                         const std::vector<std::size_t>& widths, char fill = ' ') {
        out << '|';
        for (std::size_t i = 0; i < row.size(); ++i) {
            out << ' ' << row[i] << std::string(widths[i] - row[i].size(), fill) << " |";
        }
        out << '\n';
    }

    std::vector<std::vector<std::string>> rows;
};

}  // namespace

bool Report::ReportContext(const Context& /*context*/) {
    return true;
}

void Report::ReportRuns(const std::vector<Run>& runs) {
    for (const Run& run : runs) {
        // "P0/ours", then what the benchmark is repeated with.
        const std::string& full = run.run_name.function_name;
        if (run.error_occurred) {
            std::cerr << full << ": " << run.error_message << '\n';
            failed = true;
        }
        if (run.error_occurred || run.run_type != Run::RT_Iteration) {
            continue;
        }
        const bool manual = !run.run_name.time_type.empty();
        const double adjusted = manual ? run.GetAdjustedRealTime() : run.GetAdjustedCPUTime();
        const double time = adjusted * 1e9 / benchmark::GetTimeUnitMultiplier(run.time_unit);
        const auto place = nanoseconds.emplace(full, time).first;
        if (run.threads > 1 || full.starts_with("R1.")) {
            // Threads that meet wait for each other more or less often, and a difference of two
            // times can come out too small as well: no repetition is the undisturbed one.
            const auto count = static_cast<double>(++repetitions[full]);
            place->second += (time - place->second) / count;
        } else {
            place->second = std::min(place->second, time);
        }
    }
}

void Report::Print(std::ostream& out) const {
    Table table({"name", "operation", "floor, ns", "ours, ns", "ratio", "Boost, ns", "SQLite, ns"});
    for (const Op& op : ops) {
        const std::string name = op.benchmark;
        const Value floor = TimeOf(nanoseconds, name + "/floor");
        const Value ours = TimeOf(nanoseconds, name + "/ours");
        const Value ratio = Quotient(ours, floor);
        if (!ratio) {
            continue;
        }
        table.Add({op.name, op.what, Time(floor), Time(ours), Fixed(*ratio, 2),
                   Time(TimeOf(nanoseconds, name + "/boost")),
                   Time(TimeOf(nanoseconds, name + "/sqlite"))});
    }
    table.Print(out);

    Table derived({"name", "value of", "value"});
    for (const Derived& line : DerivedLines()) {
        const Value value = line.value(nanoseconds);
        if (value) {
            derived.Add({line.name, line.what, Fixed(*value, 2) + " " + line.unit});
        }
    }
    derived.Print(out);
}

std::vector<std::string> Report::Failures() const {
    constexpr double tolerance = 1.1;
    std::vector<std::string> failures;
    const auto check = [&](const char* name, const char* what, const Value& value, double goal) {
        if (value && goal > 0 && *value > tolerance * goal) {
            failures.push_back(std::string(name) + ", " + what + ": " + Fixed(*value, 2) +
                               ", goal " + Fixed(goal, 2));
        }
    };
    for (const Op& op : ops) {
        const std::string name = op.benchmark;
        check(op.name, op.what,
              Quotient(TimeOf(nanoseconds, name + "/ours"), TimeOf(nanoseconds, name + "/floor")),
              op.goal);
    }
    for (const Derived& line : DerivedLines()) {
        check(line.name, line.what, line.value(nanoseconds), line.goal);
    }
    return failures;
}

}  // namespace velmora::benchmarks
