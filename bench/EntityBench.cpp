// What entities cost: the hot operations of a request, beside a plain std::unordered_map of the same content,
// and children that come and go.

#include "bench/Allocations.h"
#include "model/LifApps.h"

#include <unordered_map>
#include <vector>

using namespace Hardware;
using namespace Hardware::LoamTunnel;

namespace {

constexpr Kor::U32 keyCount = 1000;

std::vector<AradLifEntry> const& keys() {
    static auto const all = [] {
        std::vector<AradLifEntry> made;
        for (Kor::U32 i = 0; i < keyCount; ++i) {
            made.emplace_back(lifAcMp, Kor::U64{i} * 0x9e3779b97f4a7c15, i);
        }
        return made;
    }();
    return all;
}

Kor::Ptr<LifAppConfig> filled() {
    auto config = lifAppConfigFactory(Loam::vtAppMpls);
    for (AradLifEntry const& key : keys()) {
        config->reqCountIs(key, 1);
    }
    return config;
}

class Listener : public LifAppConfig::Notifiee {
public:
    void onReqCount(AradLifEntry const& key) override { benchmark::DoNotOptimize(sum += key.dword1()); }
    Kor::U64 sum = 0;
};

template <class Change>
void overKeys(benchmark::State& state, Change const& change) {
    bench::Allocations const allocations;
    std::size_t at = 0;
    for ([[maybe_unused]] auto _ : state) {
        change(keys()[at]);
        at = at + 1 == keyCount ? 0 : at + 1;
    }
    allocations.report(state, static_cast<double>(state.iterations()));
}

void reqCountInc(benchmark::State& state) {
    auto const config = filled();
    std::vector<Kor::Ptr<Listener>> listeners;
    for (auto i = state.range(0); i > 0; --i) {
        listeners.push_back(Kor::makePtr<Listener>());
        listeners.back()->isRegisteredNotifieeIs(true);
        listeners.back()->notifierIs(config);
    }
    overKeys(state, [&](AradLifEntry const& key) { config->reqCountInc(key, 1); });
}

void reqCountIsUnchanged(benchmark::State& state) {
    auto const config = filled();
    overKeys(state, [&](AradLifEntry const& key) { config->reqCountIs(key, 1); });
}

struct Hash {
    std::size_t operator()(AradLifEntry const& key) const noexcept { return key.hash(); }
};

void unorderedMapIncrement(benchmark::State& state) {
    std::unordered_map<AradLifEntry, Kor::U32, Hash> counts;
    for (AradLifEntry const& key : keys()) {
        counts[key] = 1;
    }
    overKeys(state, [&](AradLifEntry const& key) { benchmark::DoNotOptimize(++counts[key]); });
}

void childrenComeAndGo(benchmark::State& state) {
    auto const count = static_cast<Kor::U32>(state.range(0));
    for ([[maybe_unused]] auto _ : state) {
        auto const dir = lifAppConfigDirFactory("lif");
        for (Kor::U32 app = 0; app < count; ++app) {
            dir->appConfigIs(static_cast<Loam::VtAppId>(app));
        }
    }
    state.counters["s/child"] = benchmark::Counter(static_cast<double>(state.iterations()) * count,
                                                   benchmark::Counter::kIsRate | benchmark::Counter::kInvert);
}

BENCHMARK(unorderedMapIncrement);
BENCHMARK(reqCountInc)->ArgName("reactors")->Arg(0)->Arg(1);
BENCHMARK(reqCountIsUnchanged);
BENCHMARK(childrenComeAndGo)->Arg(10000);

} // namespace

BENCHMARK_MAIN();
