// Kor::HashMap beside std::unordered_map and absl::flat_hash_map, same key and same hash.
//
//     build/release/bench/CollectionBench --benchmark_enable_random_interleaving=true
//     --benchmark_repetitions=5
//         --benchmark_report_aggregates_only=true
//
// Times are per operation (items_per_second inverted: "ns"), with the allocations of one operation beside
// them; the growth of the table is part of an insert. `bytes` is what the map holds on the heap for each
// member, the allocator's own overhead included.

#include "RuntimeAllocations.h"
#include "runtime/HashMap.h"
#include "runtime/OneAtATime.h"

#include <absl/container/flat_hash_map.h>
#include <algorithm>
#include <benchmark/benchmark.h>
#include <cstdlib>
#include <ctime>
#include <malloc.h>
#include <new>
#include <optional>
#include <random>
#include <string>
#include <tuple>
#include <unordered_map>
#include <vector>

namespace {

using Kor::U32;
using Kor::U64;

/// As wide as a LIF entry, and hashed like one.
struct LifKey {
    U32 lifType;
    U64 dword0;
    U64 dword1;

    U32 hash() const { return Kor::OneAtATime{}.add(lifType).add(dword0).add(dword1).finish(); }
    friend bool operator==(LifKey const& a, LifKey const& b) {
        return a.dword0 == b.dword0 && a.dword1 == b.dword1 && a.lifType == b.lifType;
    }
    friend bool operator<(LifKey const& a, LifKey const& b) {
        return std::tie(a.lifType, a.dword0, a.dword1) < std::tie(b.lifType, b.dword0, b.dword1);
    }
};

struct Hash {
    std::size_t operator()(LifKey const& key) const { return key.hash(); } // may throw: std caches it
};

class KorMap {
public:
    U32* find(LifKey const& key) const {
        Member* const member = map_.member(key);
        return member != nullptr ? &member->value : nullptr;
    }
    void increment(LifKey const& key) {
        auto const at = map_.at(key);
        if (Member* const member = map_.member(at)) {
            ++member->value;
        } else {
            map_.newMember(Kor::create<Member>(at, 1U), at);
        }
    }
    bool insert(LifKey const& key, U32 value) {
        auto const at = map_.at(key);
        if (map_.member(at) != nullptr) {
            return false;
        }
        map_.newMember(Kor::create<Member>(at, value), at);
        return true;
    }
    bool erase(LifKey const& key) {
        auto const at = map_.at(key);
        Member* const member = map_.member(at);
        return member != nullptr && map_.deleteMember(member, at);
    }
    U64 walk() const {
        U64 sum = 0;
        for (Map::IteratorConst i(map_); i; i.advance()) {
            sum += i->value;
        }
        return sum;
    }
    U64 fastWalk() const {
        U64 sum = 0;
        map_.forEach([&](Member const& member) { sum += member.value; });
        return sum;
    }

private:
    using Member = Kor::HashMember<LifKey, U32>;
    using Map = Kor::HashMap<Member, LifKey, U32>;
    Map map_;
};

template <class Map>
class StandardMap {
public:
    U32* find(LifKey const& key) const {
        auto const found = map_.find(key);
        return found != map_.end() ? const_cast<U32*>(&found->second) : nullptr;
    }
    void increment(LifKey const& key) { ++map_[key]; }
    bool insert(LifKey const& key, U32 value) { return map_.try_emplace(key, value).second; }
    bool erase(LifKey const& key) { return map_.erase(key) != 0; }
    U64 walk() const {
        U64 sum = 0;
        for (auto const& [key, value] : map_) {
            sum += value;
        }
        return sum;
    }

private:
    Map map_;
};
using StdMap = StandardMap<std::unordered_map<LifKey, U32, Hash>>;
using AbslMap = StandardMap<absl::flat_hash_map<LifKey, U32, Hash>>;

/// `count` keys as a switch has them: few types, ports and VLANs in bit fields. Odd seeds never meet even
/// ones.
std::vector<LifKey> keys(std::size_t count, U64 seed) {
    std::vector<LifKey> result;
    result.reserve(count);
    for (std::size_t i = 0; i != count; ++i) {
        result.push_back({static_cast<U32>(i % 5), (i / 4096) << 24 | (i % 4096) << 4 | seed, (i % 3) << 40});
    }
    std::shuffle(result.begin(), result.end(), std::mt19937_64(7));
    return result;
}

template <class Map>
void fill(Map& map, std::vector<LifKey> const& with) {
    for (LifKey const& key : with) {
        map.insert(key, 1);
    }
}

/// A map that has been in use: every second member was replaced, so that memory order and map order are
/// unrelated.
template <class Map>
void fillAged(Map& map, std::vector<LifKey> const& with) {
    fill(map, with);
    std::vector<LifKey> order = with;
    std::shuffle(order.begin(), order.end(), std::mt19937_64(11));
    order.resize(order.size() / 2);
    for (LifKey const& key : order) {
        map.erase(key);
    }
    fill(map, order);
}

std::vector<LifKey> shuffled(std::vector<LifKey> order) {
    std::shuffle(order.begin(), order.end(), std::mt19937_64(13));
    return order;
}

void perOperation(benchmark::State& state, std::size_t batch, std::size_t allocated) {
    auto const operations = static_cast<double>(state.iterations()) * static_cast<double>(batch);
    state.counters["ns"] =
        benchmark::Counter(operations * 1e-9, benchmark::Counter::kIsRate | benchmark::Counter::kInvert);
    state.counters["allocs"] = static_cast<double>(allocated) / operations;
}

template <class Map, bool hit>
void find(benchmark::State& state) {
    auto const size = static_cast<std::size_t>(state.range(0));
    std::vector<LifKey> const all = keys(size, 0);
    Map map;
    fillAged(map, all);
    std::vector<LifKey> const asked = hit ? shuffled(all) : shuffled(keys(size, 1));
    std::size_t const before = allocations;
    for (auto _ : state) {
        for (LifKey const& key : asked) {
            benchmark::DoNotOptimize(map.find(key));
        }
    }
    perOperation(state, size, allocations - before);
}

template <class Map>
void increment(benchmark::State& state) {
    auto const size = static_cast<std::size_t>(state.range(0));
    std::vector<LifKey> const all = keys(size, 0);
    Map map;
    fillAged(map, all);
    std::vector<LifKey> const asked = shuffled(all);
    std::size_t const before = allocations;
    for (auto _ : state) {
        for (LifKey const& key : asked) {
            map.increment(key);
        }
    }
    perOperation(state, size, allocations - before);
}

/// Of this thread, so that others on the machine do not count.
double cpuSeconds() {
    timespec now{};
    clock_gettime(CLOCK_THREAD_CPUTIME_ID, &now);
    return static_cast<double>(now.tv_sec) + static_cast<double>(now.tv_nsec) * 1e-9;
}

/// Leaves the allocator with free chunks in no order, as in a program that has run for a while. Without it
/// each map is built in the order in which the last one was torn down, and a map that does that in insertion
/// order looks good.
void ageHeap(std::size_t chunks) {
    std::vector<void*> taken(chunks);
    for (void*& chunk : taken) {
        chunk = ::operator new(56);
    }
    std::shuffle(taken.begin(), taken.end(), std::mt19937_64(17));
    for (void* const chunk : taken) {
        ::operator delete(chunk);
    }
}

/// Runs `timed` on enough fresh maps for the clock not to matter.
template <class Map, class Prepare, class Timed>
void onFreshMaps(benchmark::State& state, Prepare prepare, Timed timed) {
    auto const size = static_cast<std::size_t>(state.range(0));
    std::size_t const maps = std::max<std::size_t>(1, 10'000 / size);
    std::size_t allocated = 0;
    double bytes = 0;
    for (auto _ : state) {
        ageHeap(maps * size);
        std::vector<std::optional<Map>> fresh(maps);
        std::size_t const empty = heapBytes;
        for (auto& map : fresh) {
            prepare(map.emplace());
        }
        std::size_t const before = allocations;
        double const start = cpuSeconds();
        for (auto& map : fresh) {
            timed(*map);
        }
        double const took = cpuSeconds() - start;
        allocated += allocations - before;
        bytes = static_cast<double>(heapBytes - empty) / static_cast<double>(maps * size);
        state.SetIterationTime(took);
    }
    perOperation(state, maps * size, allocated);
    if (bytes != 0) {
        state.counters["bytes"] = bytes;
    }
}

template <class Map>
void insert(benchmark::State& state) {
    std::vector<LifKey> const all = keys(static_cast<std::size_t>(state.range(0)), 0);
    onFreshMaps<Map>(
        state, [](Map&) {}, [&](Map& map) { fill(map, all); });
}

template <class Map>
void erase(benchmark::State& state) {
    std::vector<LifKey> const all = keys(static_cast<std::size_t>(state.range(0)), 0);
    std::vector<LifKey> const order = shuffled(all);
    onFreshMaps<Map>(
        state, [&](Map& map) { fillAged(map, all); },
        [&](Map& map) {
            for (LifKey const& key : order) {
                benchmark::DoNotOptimize(map.erase(key));
            }
        });
}

/// One member leaves and another comes: insert and erase with the table at rest.
template <class Map>
void replace(benchmark::State& state) {
    auto const size = static_cast<std::size_t>(state.range(0));
    std::vector<LifKey> const in = shuffled(keys(size, 0));
    std::vector<LifKey> const out = shuffled(keys(size, 1));
    Map map;
    fillAged(map, in);
    bool swapped = false;
    std::size_t const before = allocations;
    for (auto _ : state) {
        for (std::size_t i = 0; i != size; ++i) {
            map.erase(swapped ? out[i] : in[i]);
            map.insert(swapped ? in[i] : out[i], 1);
        }
        swapped = !swapped;
    }
    perOperation(state, size, allocations - before);
}

template <class Map, bool aged, auto step>
void walk(benchmark::State& state) {
    auto const size = static_cast<std::size_t>(state.range(0));
    Map map;
    aged ? fillAged(map, keys(size, 0)) : fill(map, keys(size, 0));
    std::size_t const before = allocations;
    for (auto _ : state) {
        benchmark::DoNotOptimize((map.*step)());
    }
    perOperation(state, size, allocations - before);
}

void hashAlone(benchmark::State& state) {
    std::vector<LifKey> const all = keys(1000, 0);
    for (auto _ : state) {
        for (LifKey const& key : all) {
            benchmark::DoNotOptimize(key.hash());
        }
    }
    perOperation(state, all.size(), 0);
}

} // namespace

int main(int argc, char** argv) {
    benchmark::RegisterBenchmark("hash", hashAlone);
    for (long const size : {100L, 10'000L, 1'000'000L}) {
        auto const add = [size](char const* operation, char const* map, auto function) {
            return benchmark::RegisterBenchmark((std::string(operation) + '/' + map).c_str(), function)
                ->Arg(size);
        };
        auto const addTo = [&]<class Map>(char const* map, std::type_identity<Map>) {
            add("findHit", map, find<Map, true>);
            add("findMiss", map, find<Map, false>);
            add("increment", map, increment<Map>);
            add("insert", map, insert<Map>)->UseManualTime();
            add("erase", map, erase<Map>)->UseManualTime();
            add("replace", map, replace<Map>);
            add("walkFresh", map, walk<Map, false, &Map::walk>);
            add("walkAged", map, walk<Map, true, &Map::walk>);
        };
        addTo("kor", std::type_identity<KorMap>{});
        add("walkFresh", "kor-forEach", walk<KorMap, false, &KorMap::fastWalk>);
        add("walkAged", "kor-forEach", walk<KorMap, true, &KorMap::fastWalk>);
        addTo("std", std::type_identity<StdMap>{});
        addTo("absl", std::type_identity<AbslMap>{});
    }
    benchmark::Initialize(&argc, argv);
    benchmark::RunSpecifiedBenchmarks();
}
