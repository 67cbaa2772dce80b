#pragma once

/// What the tests share: a random source with a printed seed that can be given again by LOAM_SEED.

#include "runtime/Types.h"

#include <cstdlib>
#include <iostream>
#include <random>

namespace support {

/// The seed of this run: from the environment, or fresh. Printed once, so that a failure can be repeated.
inline unsigned seed() {
    static unsigned const value = [] {
        char const* const given = std::getenv("LOAM_SEED");
        unsigned const chosen =
            given ? static_cast<unsigned>(std::strtoul(given, nullptr, 10)) : std::random_device{}();
        std::cout << "LOAM_SEED=" << chosen << std::endl;
        return chosen;
    }();
    return value;
}

class Random {
public:
    Kor::U64 next() { return engine_(); }
    Kor::U32 below(Kor::U32 bound) { return static_cast<Kor::U32>(engine_() % bound); }
    void fill(void* target, std::size_t bytes) {
        for (std::size_t i = 0; i < bytes; ++i) {
            static_cast<Kor::U8*>(target)[i] = static_cast<Kor::U8>(engine_());
        }
    }

private:
    std::mt19937_64 engine_{seed()};
};

} // namespace support
