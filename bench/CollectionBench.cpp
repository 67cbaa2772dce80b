// Kor::HashMap beside std::unordered_map and absl::flat_hash_map, with the same keys and the same hash: an
// entry of 20 bytes under the one-at-a-time hash. std::unordered_map keeps the hash of each member, because
// the functor is not noexcept. Every time is for one operation, in random order of the keys.
//
//     CollectionBench --benchmark_filter='find/.*/1000000'

#include "bench/Allocations.h"
#include "runtime/HashMap.h"
#include "runtime/OneAtATime.h"

#include <absl/container/flat_hash_map.h>
#include <algorithm>
#include <memory>
#include <random>
#include <string>
#include <unordered_map>
#include <vector>

using namespace Kor;

namespace {

struct Entry {
    U32 lifType;
    U64 dword0;
    U64 dword1;

    auto operator<=>(Entry const&) const = default;
    U32 hash() const { return OneAtATime{}.add(lifType).add(dword0).add(dword1).finish(); }
};

struct EntryHash {
    std::size_t operator()(Entry const& entry) const { return entry.hash(); }
};

struct KorMap {
    using Member = MapEntry<Entry, U32>;
    HashMap<Member, Entry, U32> map;

    U32* find(Entry const& key) const {
        auto* const found = map.member(key);
        return found != nullptr ? &found->value : nullptr;
    }
    void insert(Entry const& key, U32 value) {
        U32 const r = map.reversedHash(key);
        if (map.member(key, r) == nullptr) {
            map.newMember(makePtr<Member>(key, value), r);
        }
    }
    void increment(Entry const& key) { ++map.member(key)->value; }
    void erase(Entry const& key) { map.deleteMember(key); }
    U64 walk() const {
        U64 sum = 0;
        for (auto const& member : map) {
            sum += member.value;
        }
        return sum;
    }
    U64 forEach() const {
        U64 sum = 0;
        map.forEach([&sum](Member const& member) { sum += member.value; });
        return sum;
    }
};

template <class Map>
struct Foreign {
    Map map;

    U32* find(Entry const& key) {
        auto const found = map.find(key);
        return found != map.end() ? &found->second : nullptr;
    }
    void insert(Entry const& key, U32 value) { map.emplace(key, value); }
    void increment(Entry const& key) { ++map.find(key)->second; }
    void erase(Entry const& key) { map.erase(key); }
    U64 walk() const {
        U64 sum = 0;
        for (auto const& member : map) {
            sum += member.second;
        }
        return sum;
    }
};

using StdMap = Foreign<std::unordered_map<Entry, U32, EntryHash>>;
using AbslMap = Foreign<absl::flat_hash_map<Entry, U32, EntryHash>>;

// Distinct keys as applications have them: few types, dense numbers in the first word.
std::vector<Entry> makeKeys(std::size_t count, U64 first) {
    std::mt19937_64 random(first + 1);
    std::vector<Entry> keys(count);
    for (std::size_t i = 0; i < count; ++i) {
        keys[i] = {static_cast<U32>(i % 5), first + i, random() & 0xffff};
    }
    std::shuffle(keys.begin(), keys.end(), random);
    return keys;
}

// Keys that are in the map, the same in another order, and as many that are not; made once for each size.
struct Keys {
    explicit Keys(std::size_t count)
        : in(makeKeys(count, 0)), shuffled(in), out(makeKeys(count, U64{1} << 32)) {
        std::shuffle(shuffled.begin(), shuffled.end(), std::mt19937_64(99));
    }
    std::vector<Entry> in, shuffled, out;
};

Keys const& keysOf(benchmark::State const& state) {
    static std::unordered_map<long, Keys> all;
    return all.try_emplace(state.range(0), static_cast<std::size_t>(state.range(0))).first->second;
}

template <class Map>
void fill(Map& map, std::vector<Entry> const& keys) {
    for (Entry const& key : keys) {
        map.insert(key, 1);
    }
}

// Runs `operation` for one key after the other on a full map.
template <class Map, class Operation>
void onFullMap(benchmark::State& state, std::vector<Entry> Keys::*which, Operation const& operation) {
    Keys const& keys = keysOf(state);
    auto const map = std::make_unique<Map>();
    fill(*map, keys.in);
    auto const& order = keys.*which;
    bench::Allocations const allocations;
    std::size_t next = 0;
    for ([[maybe_unused]] auto _ : state) {
        operation(*map, order[next]);
        next = next + 1 == order.size() ? 0 : next + 1;
    }
    allocations.report(state, static_cast<double>(state.iterations()));
}

template <class Map>
void find(benchmark::State& state) {
    onFullMap<Map>(state, &Keys::shuffled,
                   [](Map& map, Entry const& key) { benchmark::DoNotOptimize(map.find(key)); });
}
template <class Map>
void findMiss(benchmark::State& state) {
    onFullMap<Map>(state, &Keys::out,
                   [](Map& map, Entry const& key) { benchmark::DoNotOptimize(map.find(key)); });
}
template <class Map>
void increment(benchmark::State& state) {
    onFullMap<Map>(state, &Keys::shuffled, [](Map& map, Entry const& key) { map.increment(key); });
}

// One pass inserts (or erases) all keys; enough passes that stopping the clock does not show.
template <class Map, bool erasing>
void fillOrDrain(benchmark::State& state) {
    Keys const& keys = keysOf(state);
    std::size_t const passes = std::max<std::size_t>(1, 5'000 / keys.in.size());
    double operations = 0;
    std::size_t allocated = 0, bytes = 0;
    for ([[maybe_unused]] auto _ : state) {
        state.PauseTiming();
        std::size_t const before = bench::bytesInUse();
        std::vector<std::unique_ptr<Map>> maps(passes);
        for (auto& map : maps) {
            map = std::make_unique<Map>();
            if (erasing) {
                fill(*map, keys.in);
            }
        }
        std::size_t const start = bench::allocations;
        state.ResumeTiming();
        for (auto& map : maps) {
            if (erasing) {
                for (Entry const& key : keys.shuffled) {
                    map->erase(key);
                }
            } else {
                fill(*map, keys.in);
            }
        }
        state.PauseTiming();
        allocated += bench::allocations - start;
        bytes = bench::bytesInUse() - before;
        operations += static_cast<double>(passes * keys.in.size());
        maps.clear();
        state.ResumeTiming();
    }
    state.SetItemsProcessed(static_cast<std::int64_t>(operations));
    state.counters["s/op"] =
        benchmark::Counter(operations, benchmark::Counter::kIsRate | benchmark::Counter::kInvert);
    state.counters["allocs/op"] = static_cast<double>(allocated) / operations;
    if (!erasing) {
        state.counters["bytes/member"] =
            static_cast<double>(bytes) / static_cast<double>(passes * keys.in.size());
    }
}
template <class Map>
void insert(benchmark::State& state) {
    fillOrDrain<Map, false>(state);
}
template <class Map>
void erase(benchmark::State& state) {
    fillOrDrain<Map, true>(state);
}

template <class Map>
void walkAll(benchmark::State& state, U64 (Map::*pass)() const) {
    auto const map = std::make_unique<Map>();
    fill(*map, keysOf(state).in);
    bench::Allocations const allocations;
    for ([[maybe_unused]] auto _ : state) {
        benchmark::DoNotOptimize((map.get()->*pass)());
    }
    double const operations = static_cast<double>(state.iterations() * state.range(0));
    state.counters["s/op"] =
        benchmark::Counter(operations, benchmark::Counter::kIsRate | benchmark::Counter::kInvert);
    allocations.report(state, operations);
}
template <class Map>
void walk(benchmark::State& state) {
    walkAll<Map>(state, &Map::walk);
}
void forEach(benchmark::State& state) {
    walkAll<KorMap>(state, &KorMap::forEach);
}

void hashAlone(benchmark::State& state) {
    Keys const& keys = keysOf(state);
    std::size_t next = 0;
    for ([[maybe_unused]] auto _ : state) {
        benchmark::DoNotOptimize(keys.in[next].hash());
        next = next + 1 == keys.in.size() ? 0 : next + 1;
    }
}

template <class Function>
void add(std::string const& name, Function function) {
    benchmark::RegisterBenchmark(name.c_str(), function)->Arg(100)->Arg(10'000)->Arg(1'000'000);
}

void addThree(std::string const& operation, void (*kor)(benchmark::State&),
              void (*standard)(benchmark::State&), void (*absl)(benchmark::State&)) {
    add(operation + "/Kor", kor);
    add(operation + "/std", standard);
    add(operation + "/absl", absl);
}

} // namespace

int main(int argc, char** argv) {
    benchmark::Initialize(&argc, argv);
    benchmark::RegisterBenchmark("hashAlone", hashAlone)->Arg(100);
    addThree("find", find<KorMap>, find<StdMap>, find<AbslMap>);
    addThree("findMiss", findMiss<KorMap>, findMiss<StdMap>, findMiss<AbslMap>);
    addThree("increment", increment<KorMap>, increment<StdMap>, increment<AbslMap>);
    addThree("insert", insert<KorMap>, insert<StdMap>, insert<AbslMap>);
    addThree("erase", erase<KorMap>, erase<StdMap>, erase<AbslMap>);
    addThree("walk", walk<KorMap>, walk<StdMap>, walk<AbslMap>);
    add("forEach/Kor", forEach);
    benchmark::RunSpecifiedBenchmarks();
}
