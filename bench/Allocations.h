#pragma once

/// Counts what a benchmark allocates: each run reports `allocs/op`, and bytes in use can be read. It replaces
/// the global operator new, so include it in one source of a program only.

#include <benchmark/benchmark.h>
#include <cstdlib>
#include <malloc.h>
#include <new>

namespace bench {

inline std::size_t allocations = 0;

/// What the heap has handed out, its bookkeeping included.
inline std::size_t bytesInUse() noexcept {
    auto const info = mallinfo2();
    return info.uordblks + info.hblkhd;
}

/// Counts from its construction on; report() tells the benchmark.
class Allocations {
public:
    void report(benchmark::State& state, double operations) const {
        state.counters["allocs/op"] = static_cast<double>(allocations - start_) / operations;
    }

private:
    std::size_t start_ = allocations;
};

} // namespace bench

[[gnu::noinline]] void* operator new(std::size_t size) {
    ++bench::allocations;
    if (void* const block = std::malloc(size)) {
        return block;
    }
    throw std::bad_alloc();
}
[[gnu::noinline]] void* operator new(std::size_t size, std::nothrow_t const&) noexcept {
    ++bench::allocations;
    return std::malloc(size);
}
[[gnu::noinline]] void operator delete(void* block) noexcept {
    std::free(block);
}
[[gnu::noinline]] void operator delete(void* block, std::size_t) noexcept {
    std::free(block);
}
