// IndexAllocator beside two std::sets of the same indexes: one of those that are free, which gives the lowest
// at once, and, where something is walked or looked up, one of those that are taken. 131,072 indexes, the LIF
// rows of the largest chip; 90 of 100 are taken, at random. Also the bytes of each.
//
//     IndexBench

#include "bench/Allocations.h"
#include "bench/Beside.h"
#include "owner/IndexAllocator.h"

#include <algorithm>
#include <cstdio>
#include <numeric>
#include <random>
#include <set>
#include <string>
#include <vector>

using Hardware::LoamTunnel::IndexAllocator;
using Kor::U32;
using Kor::U64;

namespace {

constexpr U32 capacity = 131072;
constexpr std::size_t batch = 1024;

/// All indexes in random order; the first tenth is free.
std::vector<U32> const order = [] {
    std::vector<U32> all(capacity);
    std::iota(all.begin(), all.end(), 0u);
    std::shuffle(all.begin(), all.end(), std::mt19937_64(7));
    return all;
}();

struct Library {
    IndexAllocator indexes{0, capacity};

    Library() {
        for (std::size_t i = capacity / 10; i < capacity; ++i) {
            indexes.take(order[i]);
        }
    }
    U32 take() { return *indexes.take(); }
    bool take(U32 index) { return indexes.take(index); }
    void release(U32 index) { indexes.release(index); }
    bool isTaken(U32 index) const { return indexes.isTaken(index); }
    U64 walk() const { return std::accumulate(indexes.begin(), indexes.end(), U64{0}); }
};

/// The two sets, of which an owner needs both for the same operations.
struct Sets {
    std::set<U32> free{order.begin(), order.begin() + capacity / 10};
    std::set<U32> taken{order.begin() + capacity / 10, order.end()};

    U32 take() {
        U32 const index = *free.begin();
        free.erase(free.begin());
        taken.insert(index);
        return index;
    }
    bool take(U32 index) { return free.erase(index) != 0 && taken.insert(index).second; }
    void release(U32 index) {
        if (taken.erase(index) != 0) {
            free.insert(index);
        }
    }
    bool isTaken(U32 index) const { return taken.contains(index); }
    U64 walk() const { return std::accumulate(taken.begin(), taken.end(), U64{0}); }
};

/// Runs `operation(indexes, i)` for a batch, and counts one for each.
template <class Indexes, class Operation>
void measure(benchmark::State& state, std::size_t count, Operation const& operation) {
    Indexes indexes;
    for (auto _ : state) {
        for (std::size_t i = 0; i < count; ++i) {
            operation(indexes, i);
        }
    }
    state.counters["batch"] = static_cast<double>(count);
}

template <class Indexes>
void add(std::string const& way) {
    Beside::add("release any, take the lowest", way, [](benchmark::State& state) {
        std::vector<U32> held(order.begin() + capacity / 10, order.end());
        measure<Indexes>(state, held.size(), [&held](Indexes& indexes, std::size_t i) {
            indexes.release(held[i]);
            held[i] = indexes.take();
        });
    });
    Beside::add("take and release a given one", way, [](benchmark::State& state) {
        measure<Indexes>(state, batch, [](Indexes& indexes, std::size_t i) {
            benchmark::DoNotOptimize(indexes.take(order[i]));
            indexes.release(order[i]);
        });
    });
    Beside::add("is it taken", way, [](benchmark::State& state) {
        measure<Indexes>(state, batch, [](Indexes& indexes, std::size_t i) {
            benchmark::DoNotOptimize(indexes.isTaken(order[i * 64]));
        });
    });
    Beside::add("walk, each", way, [](benchmark::State& state) {
        Indexes const indexes;
        for (auto _ : state) {
            benchmark::DoNotOptimize(indexes.walk());
        }
        state.counters["batch"] = capacity - capacity / 10;
    });
}

} // namespace

int main(int argc, char** argv) {
    add<Library>("library");
    add<Sets>("std::set");
    std::size_t const before = bench::bytesInUse();
    Sets const sets;
    std::printf("bytes of %u indexes: library %zu, std::set %zu\n", capacity, Library().indexes.bytes(),
                bench::bytesInUse() - before);
    return Beside::run(argc, argv);
}
