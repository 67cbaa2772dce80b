#include "tables/LifTable.h"
#include "tools/Entries.h"
#include "values/LoamTunnelTypes.h"

namespace tool {

namespace {

using namespace Hardware;
using namespace Hardware::LoamTunnel;
using Hardware::layout::chips;

/// A view of a LIF entry; its type gives the variant, and is another name for the kind.
template <class View>
Kind lif(LifType type, std::vector<Limit> limits = {}) {
    View const initial(type);
    return kindOf<View, LifTable>(initial.variant(), initial, std::move(limits),
                                  Kor::enumeratorText(type, "LifType"));
}

} // namespace

std::vector<Kind> const& allKinds() {
    static std::vector<Kind> const all{
        lif<AradLifAcP2pToAc>(lifAcP2pToAc, {{"outLif", 0xffff, chips(5, 7, 8, 9, 10)},
                                             {"outLif", 0xffff, chips(3, 4), Limit::cut}}),
        lif<AradLifAcMp>(lifAcMp),
        lif<AradLifAcP2pToPwe>(lifAcP2pToPwe),
        lif<AradLifPweToP2p>(lifLabelPweP2p),
        lif<AradLifLabelProtocolOrLsp>(lifLabelProtocolOrLsp),
    };
    return all;
}

} // namespace tool
