// What a change costs: the bare map operation, the same with the test for reactors, and with 1, 4 and 32 of
// them; and what a counted pointer costs to copy, with and without atomic counting.

#include "bench/Allocations.h"
#include "runtime/HashMap.h"
#include "runtime/Notification.h"
#include "runtime/NotifieeOf.h"

#include <memory>
#include <vector>

using namespace Kor;

namespace {

class Counter : public PtrInterface {
public:
    class NotifieeConst : public NotifieeOf<NotifieeConst, Counter, PtrInterface::NotifieeConst, U32> {
    public:
        virtual void onCount(U32 const&) {}
    };

    using Member = MapEntry<U32, U32>;
    HashMap<Member, U32, U32> map;
    U32 version = 0;

    template <bool notifying>
    [[gnu::noinline]] void countInc(U32 key) {
        ++map.member(key)->value;
        ++version;
        if constexpr (notifying) {
            notify(notifieeList_, 258, [&](NotifieeConst& n) { n.onCount(key); });
        }
    }

private:
    friend NotifieeAccess;
    mutable ListRaw<NotifieeConst> notifieeList_;
};

class Sink : public Counter::NotifieeConst {
public:
    void onCount(U32 const& key) override { benchmark::DoNotOptimize(sum += key); }
    U32 sum = 0;
};

template <bool notifying>
void change(benchmark::State& state) {
    auto const counter = makePtr<Counter>();
    for (U32 key = 0; key < 100; ++key) {
        counter->map.newMember(makePtr<Counter::Member>(key, 0u));
    }
    std::vector<Ptr<Sink>> sinks;
    for (auto i = state.range(0); i > 0; --i) {
        sinks.push_back(makePtr<Sink>());
        sinks.back()->isRegisteredNotifieeIs(true);
        sinks.back()->notifierIs(counter);
    }
    bench::Allocations const allocations;
    U32 key = 0;
    for ([[maybe_unused]] auto _ : state) {
        counter->countInc<notifying>(key);
        key = key == 99 ? 0 : key + 1;
    }
    allocations.report(state, static_cast<double>(state.iterations()));
}

void ptrCopy(benchmark::State& state) {
    VFPtrInterface::enableThreadSafePointers = state.range(0) != 0;
    Ptr<PtrInterface> const source = makePtr<PtrInterface>();
    for ([[maybe_unused]] auto _ : state) {
        Ptr<PtrInterface> copy = source;
        benchmark::DoNotOptimize(copy);
    }
    VFPtrInterface::enableThreadSafePointers = 0;
}

BENCHMARK(change<false>)->Name("bareMapIncrement")->Arg(0);
BENCHMARK(change<true>)->Name("changeWithReactors")->Arg(0)->Arg(1)->Arg(4)->Arg(32);
BENCHMARK(ptrCopy)->ArgName("atomic")->Arg(0)->Arg(1);

} // namespace

BENCHMARK_MAIN();
