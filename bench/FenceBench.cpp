// What fences cost beside the changes that they stand behind: two sessions in one process, with nothing
// between them but memory. `./dev bench --fences` counts the instructions of runs with and without.

#include "Process.h"
#include "attrlog/session/Service.h"
#include "attrlog/session/Session.h"
#include "model/LifApps.h"

#include <algorithm>
#include <cstdio>
#include <vector>

namespace {

using namespace Hardware;
using namespace Hardware::LoamTunnel;
using namespace Kor::NboAttrLog;
using Kor::U32;

bool carry(Session& from, Session& to) {
    from.flow();
    bool hasCarried = false;
    for (auto bytes = from.out()->readable(); !bytes.empty(); bytes = from.out()->readable()) {
        auto const count = bytes.size();
        to.in()->feed(bytes);
        from.out()->nextBytes(count);
        to.receive();
        from.flow();
        hasCarried = true;
    }
    return hasCarried;
}

void rest(Session& one, Session& other) {
    while (carry(one, other) | carry(other, one)) { // both, each time
    }
}

} // namespace

int main(int argc, char** argv) {
    CLI::App options("FenceBench: fences beside changes", "FenceBench");
    U32 changes = 1'000'000;
    U32 fences = 1000;
    U32 before = 0;
    bench::addNumber(options, "--changes", changes, 0U, 100'000'000U, "of 4,096 keys in turn");
    bench::addNumber(options, "--fences", fences, 0U, 1'000'000U, "spread over the changes");
    bench::addNumber(options, "--before", before, 0U, 1'000'000U,
                     "that are answered before the first change");
    if (auto const status = bench::read(options, argc, argv)) {
        return *status;
    }
    constexpr U32 keys = 4096;
    constexpr U32 batch = 1000; // that are made before a program's loop comes round
    auto const service = Kor::makePtr<Service>();
    auto const config = lifAppConfigFactory(Loam::vtAppMpls);
    std::vector<AradLifEntry> entries;
    for (U32 i = 0; i < keys; ++i) {
        entries.emplace_back(lifAcMp, 0, i);
        config->reqCountIs(entries.back(), 1);
    }
    service->offer("lifConfig", config);
    auto const driver = Kor::makePtr<Session>(Side::accepting, SessionConfig{.name = "driver"}, service);
    auto const application = Kor::makePtr<Session>(Side::connecting, SessionConfig{.name = "application"});
    bool isThere = false;
    application->want(
        "lifConfig", lifAppConfigFactory(Loam::vtAppMpls),
        [&](RootState state, auto const&, auto const&) { isThere = state == RootState::synchronized; });
    rest(*driver, *application);

    U32 const batches = changes / batch;
    U32 answered = 0;
    U32 asked = 0;
    auto const ask = [&] {
        ++asked;
        driver->fence(FenceLevel::applied, [&](FenceResult const& result) {
            answered += result.isReached(FenceLevel::applied) ? 1 : 0;
        });
    };
    for (U32 i = 0; i < before; ++i) {
        ask();
        rest(*driver, *application);
    }
    auto const begun = bench::processorTime();
    for (U32 i = 0; i < batches; ++i) {
        for (U32 k = 0; k < batch; ++k) {
            U32 const number = i * batch + k;
            config->reqCountIs(entries[number % keys], number + 2);
        }
        while (asked - before < static_cast<U32>(std::uint64_t{fences} * (i + 1) / batches)) {
            ask();
        }
        rest(*driver, *application);
    }
    auto const spent = bench::processorTime() - begun;
    if (!isThere || answered != asked) {
        std::fprintf(stderr, "FenceBench: %u of %u fences were answered\n", answered, asked);
        return 1;
    }
    std::printf("%u changes, %u fences: %.1f ns of processor time a change\n", batches * batch, answered,
                batches == 0 ? 0.0 : static_cast<double>(spent.count()) / (double{batch} * batches));
    return 0;
}
