/// Feeds a session what a hostile peer could send from the first byte on: hello, roots, pushes, calls,
/// records. The entities live on from one input to the next, and so does a second, healthy session of the
/// same service.
///
///     HelloFuzz -max_total_time=20
///
/// The first byte of an input is the size of the pieces in which the rest arrives. Without a corpus the
/// fuzzer starts from the sessions that the mutator below writes.

#include "support/Sessions.h"

#include <algorithm>
#include <cstdlib>
#include <span>
#include <string>
#include <vector>

using namespace Kor;
using namespace Kor::NboAttrLog;
using namespace Hardware;
using namespace Hardware::LoamTunnel;
using support::Sessions;

namespace {

void check(bool holds) {
    if (!holds) {
        std::abort();
    }
}

/// What a side has, and a service that lets peers have it.
struct Driver {
    Driver() {
        service->offer("lif", lif);
        service->offer("properties", fapTypePropertiesFactory(), Access::readOnly);
        service->acceptIs("request", [this](Session&, Name const&, Ptr<Entity> const& made) -> Ptr<Entity> {
            auto const config = ptrCast<LifAppConfig>(made);
            return config ? lif->appConfigIs(config->app()).ptr() : nullptr;
        });
        service->acceptIs("", [](Session&, Name const&, Ptr<Entity> const& made) { return made; });
        service->handlerIs("echo", [](Session&, String8 const& text) { return text; });
    }
    Ptr<LifAppConfigDir> lif = lifAppConfigDirFactory("lif");
    Ptr<Service> service = makePtr<Service>();
};

/// What a peer says in a session in which it pushes, wants, offers, writes, calls, and leaves.
std::vector<U8> session(unsigned seed) {
    Driver const mine, other;
    Sessions two({1 << 14, 1024, 64}, mine.service, other.service);
    std::vector<U8> said{0};
    auto const config = lifAppConfigFactory(static_cast<Loam::VtAppId>(seed & 7));
    two.a->push("request", config);
    two.a->push("evec", evecStatusFactory("evec"), Access::readOnly);
    two.a->want("lif");
    two.b->want("lif");
    for (unsigned i = 0; i < 8; ++i, seed = seed * 1664525 + 1013904223) {
        auto const app = static_cast<Loam::VtAppId>(seed >> 8 & 7);
        auto const key = AradLifEntry(lifGeneral, seed >> 16 & 3, 0);
        config->reqCountIs(key, seed);
        if (auto const dir = ptrCast<LifAppConfigDir>(two.a->root("lif"))) {
            (seed >> 24 & 3) == 0 ? static_cast<void>(dir->appConfigDel(app))
                                  : static_cast<void>(dir->appConfigIs(app)->reqCountIs(key, i));
        }
        switch (seed >> 20 & 7) {
        case 0:
            two.a->call("echo", std::string(seed >> 22 & 2047, 'x'), {});
            break;
        case 1:
            mine.service->withdraw("lif");
            break;
        case 2:
            mine.service->offer("lif", mine.lif);
            break;
        case 3:
            two.a->unwant("lif");
            break;
        case 4:
            two.a->want("lif");
            break;
        default:
            break;
        }
        two.a->flow();
        auto const bytes = two.a->out()->readable();
        said.insert(said.end(), bytes.begin(), bytes.end());
        Sessions::carry(*two.a, *two.b);
        two.b->receive();
        two.b->flow();
        Sessions::carry(*two.b, *two.a);
        two.a->receive();
    }
    return said;
}

} // namespace

extern "C" std::size_t LLVMFuzzerMutate(U8* data, std::size_t size, std::size_t most);

extern "C" std::size_t LLVMFuzzerCustomMutator(U8* data, std::size_t size, std::size_t most, unsigned seed) {
    if (size < 2 || seed % 64 == 0) {
        std::vector<U8> const fresh = session(seed);
        size = std::min(fresh.size(), most);
        std::copy_n(fresh.begin(), size, data);
    }
    return LLVMFuzzerMutate(data, size, most);
}

extern "C" int LLVMFuzzerTestOneInput(U8 const* data, std::size_t size) {
    if (size == 0) {
        return 0;
    }
    static Driver const driver;
    static auto const copy = lifAppConfigDirFactory("copy");
    static Sessions healthy({}, {}, driver.service);
    static bool const wanted = [] {
        healthy.a->want("lif", copy);
        return true;
    }();
    check(wanted);
    auto const victim =
        makePtr<Session>(Side::accepting, SessionConfig{"victim", 1, {1 << 14, 1024, 64}, 8}, driver.service);
    victim->want("lif"); // which a peer may offer, too
    std::span<U8 const> rest(data + 1, size - 1);
    std::size_t const piece = data[0] == 0 ? size : data[0];
    while (!rest.empty() && victim->isOpen()) {
        std::size_t const taken = victim->in()->feed(rest.first(std::min(piece, rest.size())));
        check(taken != 0); // a record always fits
        rest = rest.subspan(taken);
        victim->receive();
        victim->flow();
        victim->out()->nextBytes(victim->out()->readable().size());
    }
    // A session that has closed has a reason, and says it to a peer that has not said goodbye itself.
    check(victim->isOpen() || !victim->closeReason().empty());
    victim->close("done");
    for (int i = 0; i < 4 && !victim->isOver(); ++i) {
        victim->flow();
        victim->out()->nextBytes(victim->out()->readable().size());
    }
    check(victim->isOver() && victim->demuxer().mounted() == 0 && victim->stats().dirtyKeys == 0);
    for (auto const& child : driver.lif->appConfigMap()) {
        check(child.parent() == driver.lif && !child.korNboAttrLogSa(victim->out()));
    }
    if (driver.lif->appConfigMap().count() > 100) {
        driver.lif->appConfigDelAll();
    }
    healthy.quiet();
    check(healthy.a->isOpen() && healthy.b->isOpen() && support::sameState(*driver.lif, *copy));
    check(driver.service->sessions().size() == 1);
    return 0;
}
