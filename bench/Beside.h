#pragma once

/// Benchmarks that stand beside a limit or a peer: each case is measured in several ways in one run, and the
/// table shows nanoseconds and the ratio to the first way that is not ours.
///
///     Beside::add("get a field", "library", [](benchmark::State& state) { ... });
///     Beside::add("get a field", "by hand", [](benchmark::State& state) { ... });
///     return Beside::run(argc, argv);
///
/// Each way is repeated and its fastest repetition counts: other work on the machine only ever adds.

#include <algorithm>
#include <benchmark/benchmark.h>
#include <cstdio>
#include <map>
#include <string>
#include <utility>
#include <vector>

namespace Beside {

struct Way {
    std::string name;
    double nanoseconds = 0;
};

struct Case {
    std::string name;
    std::vector<Way> ways;
};

inline std::vector<Case>& cases() {
    static std::vector<Case> all;
    return all;
}

inline Way* find(std::string const& full) {
    for (Case& each : cases()) {
        for (Way& way : each.ways) {
            if (each.name + '/' + way.name == full) {
                return &way;
            }
        }
    }
    return nullptr;
}

/// `measure(state)` runs the state's loop; `SetItemsProcessed` is not needed, one iteration is one operation
/// unless it says otherwise with the counter "batch".
template <class Measure>
void add(std::string const& name, std::string const& way, Measure measure) {
    auto found =
        std::find_if(cases().begin(), cases().end(), [&](Case const& each) { return each.name == name; });
    if (found == cases().end()) {
        found = cases().insert(cases().end(), Case{name, {}});
    }
    found->ways.push_back({way, 0});
    benchmark::RegisterBenchmark((name + '/' + way).c_str(), std::move(measure))
        ->Repetitions(5)
        ->MinTime(0.05);
}

class Reporter : public benchmark::BenchmarkReporter {
public:
    bool ReportContext(Context const&) override { return true; }
    void ReportRuns(std::vector<Run> const& runs) override {
        for (Run const& run : runs) {
            if (run.run_type != Run::RT_Iteration || run.error_occurred) {
                continue;
            }
            auto const batch = run.counters.find("batch");
            double const time =
                run.GetAdjustedCPUTime() / (batch == run.counters.end() ? 1 : batch->second.value);
            if (Way* const way = find(run.run_name.function_name)) {
                way->nanoseconds = way->nanoseconds == 0 ? time : std::min(way->nanoseconds, time);
            }
        }
    }
    void Finalize() override {
        std::size_t width = 0;
        for (Case const& each : cases()) {
            width = std::max(width, each.name.size());
        }
        for (Case const& each : cases()) {
            if (each.ways.front().nanoseconds == 0) {
                continue; // filtered out
            }
            std::printf("%-*s", static_cast<int>(width), each.name.c_str());
            for (Way const& way : each.ways) {
                std::printf("  %s %8.2f ns", way.name.c_str(), way.nanoseconds);
                if (&way != &each.ways.front() && way.nanoseconds != 0) {
                    std::printf(" (ratio %.2f)", each.ways.front().nanoseconds / way.nanoseconds);
                }
            }
            std::printf("\n");
        }
    }
};

inline int run(int argc, char** argv) {
    benchmark::Initialize(&argc, argv);
    if (benchmark::ReportUnrecognizedArguments(argc, argv)) {
        return 2;
    }
    Reporter reporter;
    benchmark::RunSpecifiedBenchmarks(&reporter);
    benchmark::Shutdown();
    return 0;
}

} // namespace Beside
