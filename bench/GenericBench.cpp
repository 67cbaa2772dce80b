// What the way through boxes costs beside the typed call: an attribute by id, and a lookup in a map.

#include "Beside.h"
#include "model/LoamTunnelModel.h"
#include "reflect/GenericIf.h"

using namespace Hardware;
using namespace Hardware::LoamTunnel;
using Kor::boxOf;
using Op = Kor::GenericIf::AttributeOp;

int main(int argc, char** argv) {
    auto const status = tagPopPushStatusFactory("status");
    Kor::AttributeId const enabled = TagPopPushStatus::attributeIdOf<Kor::name::enabled>();
    Kor::AttributeId const reqCount = LifAppConfig::attributeIdOf<Kor::name::reqCount>();
    auto const config = lifAppConfigFactory(Loam::vtAppMpls);
    for (Kor::U32 i = 0; i < 1000; ++i) {
        config->reqCountIs(AradLifEntry(lifAcMp, i, 0), i);
    }

    Beside::add("get a scalar", "generic", [=](benchmark::State& state) {
        auto const box = Kor::KorType::genericIf(status.ptr(), false);
        for (auto _ : state) {
            benchmark::DoNotOptimize(
                Kor::unbox<bool>(*box->attributeOp({enabled, Op::get}, nullptr, nullptr)));
        }
    });
    Beside::add("get a scalar", "typed", [=](benchmark::State& state) {
        for (auto _ : state) {
            benchmark::DoNotOptimize(status->enabled());
        }
    });
    Beside::add("set a scalar", "generic", [=](benchmark::State& state) {
        auto const box = Kor::KorType::genericIf(status.ptr(), false);
        bool on = false;
        for (auto _ : state) {
            box->attributeOp({enabled, Op::set}, nullptr, boxOf(on = !on));
        }
    });
    Beside::add("set a scalar", "typed", [=](benchmark::State& state) {
        bool on = false;
        for (auto _ : state) {
            status->enabledIs(on = !on);
        }
    });
    Beside::add("look up one of 1,000", "generic", [=](benchmark::State& state) {
        auto const box = Kor::KorType::genericIf(config.ptr(), false);
        Kor::U32 i = 0;
        for (auto _ : state) {
            auto const key = boxOf(AradLifEntry(lifAcMp, i++ % 1000, 0), true);
            benchmark::DoNotOptimize(
                Kor::unbox<Kor::U32>(*box->attributeOp({reqCount, Op::get}, key, nullptr)));
        }
    });
    Beside::add("look up one of 1,000", "typed", [=](benchmark::State& state) {
        Kor::U32 i = 0;
        for (auto _ : state) {
            benchmark::DoNotOptimize(config->reqCount(AradLifEntry(lifAcMp, i++ % 1000, 0)));
        }
    });
    return Beside::run(argc, argv);
}
