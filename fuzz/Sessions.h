#pragma once

/// Sessions that fuzzers of records start from.

#include "attrlog/session/Session.h"
#include "model/LoamTunnelModel.h"

#include <vector>

namespace fuzz {

using namespace Kor;
using namespace Kor::NboAttrLog;
using namespace Hardware;
using namespace Hardware::LoamTunnel;

/// What this side offers, and what it has taken in.
struct Tree {
    Ptr<LifAppConfigDir> lif = lifAppConfigDirFactory("lif");
    Ptr<OutAcConfig> outAc = makePtr<OutAcConfig>("outAc");
    Ptr<EvecStatus> evec = evecStatusFactory("evec");
    Ptr<FapTypeProperties> properties = fapTypePropertiesFactory();

    void mountOn(Demuxer& demuxer) const {
        demuxer.mount(lif);
        demuxer.mount(outAc);
        demuxer.mount(evec);
        demuxer.mount(properties);
    }
};

/// A session of a peer that mounts such a tree and writes to it, behind a byte 0.
inline std::vector<U8> session(unsigned seed) {
    Tree tree;
    auto const demuxer = makePtr<Demuxer>(Side::connecting);
    tree.mountOn(*demuxer);
    demuxer->flow();
    for (unsigned i = 0; i < 8; ++i, seed = seed * 1664525 + 1013904223) {
        auto const app = static_cast<Loam::VtAppId>(seed >> 8 & 7);
        auto const key = AradLifEntry(lifGeneral, seed >> 16 & 3, 0);
        if ((seed >> 24 & 3) == 0) {
            tree.lif->appConfigDel(app);
        } else {
            tree.lif->appConfigIs(app)->reqCountIs(key, seed);
        }
        tree.evec->ownerIs(EvecOwner(EvecKey(), app));
        tree.properties->propertiesDel(Loam::fapTypeArad);
        demuxer->flow();
    }
    auto const bytes = demuxer->out()->readable();
    std::vector<U8> all{0};
    all.insert(all.end(), bytes.begin(), bytes.end());
    return all;
}

} // namespace fuzz
