#pragma once
// What every benchmark ends a figure with, so that runs can be compared side by side and read by a
// script: one line "RESULT <name> <value> <unit> goal <op> <limit> met|missed".

#include <algorithm>
#include <cstdio>
#include <cstring>
#include <string>
#include <vector>

namespace ferro::bench {

// Three significant digits without an exponent and without trailing zeros: 0.934, 12.3, 2, 1234.
inline std::string Number(double v) {
    char buf[64];
    const double a = v < 0 ? -v : v;
    if (a >= 100 || a == 0)
        std::snprintf(buf, sizeof buf, "%.0f", v);
    else if (a >= 10)
        std::snprintf(buf, sizeof buf, "%.1f", v);
    else if (a >= 1)
        std::snprintf(buf, sizeof buf, "%.2f", v);
    else
        std::snprintf(buf, sizeof buf, "%.3g", v);
    std::string t = buf;
    if (t.find('.') != std::string::npos && t.find('e') == std::string::npos) {
        while (t.back() == '0')
            t.pop_back();
        if (t.back() == '.') t.pop_back();
    }
    return t;
}

// Prints the RESULT line of one figure; true if the goal is met. `op` is one of >=, <=, >, <. A
// figure whose run went wrong (`valid` false: a short download, no block) misses whatever it shows.
inline bool Result(const char* name, double value, const char* unit, const char* op, double limit,
                   bool valid = true) {
    bool met = false;
    if (std::strcmp(op, ">=") == 0)
        met = value >= limit;
    else if (std::strcmp(op, "<=") == 0)
        met = value <= limit;
    else if (std::strcmp(op, ">") == 0)
        met = value > limit;
    else if (std::strcmp(op, "<") == 0)
        met = value < limit;
    met = met && valid;
    std::printf("RESULT %s %s %s goal %s %s %s\n", name, Number(value).c_str(), unit, op, Number(limit).c_str(),
                met ? "met" : "missed");
    std::fflush(stdout);
    return met;
}

// The median of repeated runs; 0 for none.
inline double Median(std::vector<double> v) {
    if (v.empty()) return 0;
    std::sort(v.begin(), v.end());
    const size_t n = v.size();
    return n % 2 ? v[n / 2] : (v[n / 2 - 1] + v[n / 2]) / 2;
}

} // namespace ferro::bench

#ifdef BENCHMARK_BENCHMARK_H_
#include <map>

namespace ferro::bench {

// Keeps the median of every Google Benchmark run (repetitions with ReportAggregatesOnly) while the
// console output goes on as usual: its time per iteration in ns and its counters, by
// "function/args".
class MedianReporter : public benchmark::ConsoleReporter {
public:
    // Plain text: the figures end up in logs more often than on a terminal.
    MedianReporter() : ConsoleReporter(OO_Tabular) {}
    std::map<std::string, double> TimeNs;
    std::map<std::string, std::map<std::string, double>> Counters;

    void ReportRuns(const std::vector<Run>& runs) override {
        for (const auto& r : runs) {
            if (r.run_type != Run::RT_Aggregate || r.aggregate_name != "median") continue;
            std::string key = r.run_name.function_name;
            if (!r.run_name.args.empty()) key += "/" + r.run_name.args;
            TimeNs[key] = r.GetAdjustedRealTime() * 1e9 / benchmark::GetTimeUnitMultiplier(r.time_unit);
            for (const auto& [name, c] : r.counters)
                Counters[key][name] = c.value;
        }
        ConsoleReporter::ReportRuns(runs);
    }
    // 0 when the run or the counter is missing (a filter left it out).
    double Time(const std::string& key) const {
        auto it = TimeNs.find(key);
        return it == TimeNs.end() ? 0.0 : it->second;
    }
    double Counter(const std::string& key, const std::string& name) const {
        auto it = Counters.find(key);
        if (it == Counters.end()) return 0.0;
        auto c = it->second.find(name);
        return c == it->second.end() ? 0.0 : c->second;
    }
};

} // namespace ferro::bench
#endif
