#pragma once

/// The switch of a build with faults in it, which tests/mutants/run.py makes: the number in LOAM_MUTANT turns
/// one of them on, for as long as the process lives. No source includes this; the build does, in front of
/// each.

#include <cstdlib>

inline unsigned long loamMutant() noexcept {
    static unsigned long const chosen = [] {
        char const* const text = std::getenv("LOAM_MUTANT");
        return text != nullptr ? std::strtoul(text, nullptr, 10) : 0;
    }();
    return chosen;
}

/// What the compiler computes is as it was.
constexpr bool loamMutantOn(unsigned long number) noexcept {
    return !__builtin_is_constant_evaluated() && loamMutant() == number;
}
