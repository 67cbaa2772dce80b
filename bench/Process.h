#pragma once

/// What the benchmarks with processes and options of their own have in common.

#include <CLI/CLI.hpp>
#include <chrono>
#include <ctime>
#include <iostream>
#include <optional>

namespace bench {

/// What this process has had of the processors.
inline std::chrono::nanoseconds processorTime() {
    timespec time{};
    clock_gettime(CLOCK_PROCESS_CPUTIME_ID, &time);
    return std::chrono::seconds(time.tv_sec) + std::chrono::nanoseconds(time.tv_nsec);
}

template <class Number>
void addNumber(CLI::App& options, char const* name, Number& value, Number least, Number most,
               char const* what) {
    options.add_option(name, value, what)->check(CLI::Range(least, most))->capture_default_str();
}

/// Reads the command line; if the program is to end, its status. `./dev bench` gives Google Benchmark's
/// options to all, and those are passed over.
inline std::optional<int> read(CLI::App& options, int argc, char** argv) {
    options.allow_extras();
    try {
        options.parse(argc, argv);
        for (auto const& each : options.remaining()) {
            if (!each.starts_with("--benchmark_")) {
                throw CLI::ExtrasError(options.get_name(), {each});
            }
            std::cerr << options.get_name() << ": " << each << " is for the other benchmarks\n";
        }
    } catch (CLI::ParseError const& error) {
        return options.exit(error) == 0 ? 0 : 2;
    }
    return std::nullopt;
}

} // namespace bench
