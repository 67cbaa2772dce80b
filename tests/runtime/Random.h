#pragma once

/// Random numbers from a seed that is printed and can be given again: LOAM_TEST_SEED=n.

#include <cstdlib>
#include <gtest/gtest.h>
#include <iostream>
#include <random>

class Random {
public:
    Random() {
        char const* const given = std::getenv("LOAM_TEST_SEED");
        auto const seed = given != nullptr ? std::strtoul(given, nullptr, 10) : std::random_device{}();
        std::cout << "LOAM_TEST_SEED=" << seed << '\n';
        engine_.seed(static_cast<unsigned>(seed));
    }
    /// From 0 to below `bound`.
    unsigned operator()(unsigned bound) {
        return std::uniform_int_distribution<unsigned>(0, bound - 1)(engine_);
    }

private:
    std::mt19937 engine_;
};
