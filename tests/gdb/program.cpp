// What the printers are tried on: objects of each kind, and beside each value the text that the library gives
// it.

#include "model/LoamTunnelModel.h"
#include "reflect/Text.h"
#include "values/LoamTunnelTypes.h"

#include <string>

using namespace Hardware;
using namespace Hardware::LoamTunnel;

namespace {

template <class T>
struct Pair {
    explicit Pair(T const& given) : value(given), expected(Kor::valueToStrep(given).charPtr()) {}
    T value;
    std::string expected;
};

[[gnu::noinline]] void stop() {
    asm volatile("");
}

AradLifAcMp attachment() {
    AradLifAcMp lif(lifAcMp);
    lif.vsiIs(100);
    return lif;
}

} // namespace

int main() {
    Pair const lif(attachment());
    Pair const entry(AradLifEntry(lifAcP2pToPwe, 0xfedcba9876543210, 7));
    Pair const index(AradLifIndex(7, lifBankManaged));
    Pair const evec(EvecKey(Sideband::Fapmask::fromText("0-3,9,127").value(), Loam::EvecIndex(4)));
    Pair const noFaps((EvecKey()));
    Pair const outAc(OutAcFormat(0x123456789));
    Pair const unknown(AradLifEntry(static_cast<LifType>(77), 0, 0));

    Kor::String8 const text("it's \\ here");
    Kor::String8 const empty;
    Kor::Name const name("root");
    Kor::Ptr<LifAppConfig> const none;
    auto const dir = lifAppConfigDirFactory("lifConfig");
    auto const second = dir;
    auto const config = dir->appConfigIs(Loam::vtAppMpls);
    for (Kor::U32 i = 0; i < 100; ++i) {
        config->reqCountIs(AradLifEntry(lifAcMp, i, 0), i);
    }
    auto const status = lifAppStatusFactory(Loam::vtAppVxlan);
    status->lifEntryIs(lif.value, index.value);
    auto const evecs = evecStatusFactory("evecs");
    auto const properties = fapTypePropertiesFactory();
    stop();
    return 0;
}
