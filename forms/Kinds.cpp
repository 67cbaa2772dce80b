#include "forms/Entries.h"
#include "tables/EvecTable.h"
#include "tables/LifTable.h"
#include "tables/OutAcBank.h"
#include "values/LoamTunnelTypes.h"

#include <vector>

namespace Kor::Forms {

namespace {

using namespace Hardware;
using namespace Hardware::LoamTunnel;
using Hardware::layout::allChips;
using Hardware::layout::chips;

/// A view of a LIF entry; its type gives the variant, and is another name for the kind.
template <class View>
Kind lif(LifType type, std::vector<Limit> limits = {}) {
    View const initial(type);
    return kindOf<View, LifTable>(initial.variant(), initial, std::move(limits),
                                  Kor::enumeratorText(type, "LifType"));
}

template <Literal Prefix, bool IsAc0>
using OutAc = Part<Prefix, name::acFormat, name::acFormatIs, IsAc0, OutAcFormat>;
template <Literal Prefix, bool IsEvec0>
using Evec = Part<Prefix, name::evecFormat, name::evecFormatIs, IsEvec0, EvecFormat>;

} // namespace

std::vector<Kind> const& allKinds() {
    static std::vector<Kind> const all{
        lif<AradLifAcP2pToAc>(lifAcP2pToAc, {{"outLif", 0xffff, chips(5, 7, 8, 9, 10)},
                                             {"outLif", 0xffff, chips(3, 4), Limit::cut}}),
        lif<AradLifAcMp>(lifAcMp),
        lif<AradLifAcP2pToPwe>(lifAcP2pToPwe),
        lif<AradLifPweToP2p>(lifLabelPweP2p),
        lif<AradLifLabelProtocolOrLsp>(lifLabelProtocolOrLsp),
        kindOf<OutAcValue, OutAcBank, OutAc<"ac0", true>, OutAc<"ac1", false>>(
            1, OutAcValue(),
            {{"ac0EntryFormat", 3, chips(4, 5, 7)},
             {"ac1EntryFormat", 3, chips(4)},
             {"ac0EntryFormat", 0, chips(8, 9, 10), Limit::cut},
             {"ac1EntryFormat", 0, chips(8, 9, 10), Limit::cut},
             {"acEntryFormat", 0, allChips, Limit::cut},
             {"ac0.unused", 0, allChips, Limit::cut},
             {"ac1.unused", 0, allChips, Limit::cut}}),
        kindOf<EvecValue, EvecTable, Evec<"evec0", true>, Evec<"evec1", false>>(
            0, EvecValue(),
            {{"evec0.innerTpidIdx", 3, chips(3, 4, 5, 7), Limit::cut},
             {"evec0.outerTpidIdx", 3, chips(3, 4, 5, 7), Limit::cut},
             {"evec1.innerTpidIdx", 3, chips(3, 4, 5, 7), Limit::cut},
             {"evec1.outerTpidIdx", 3, chips(3, 4, 5, 7), Limit::cut}}),
    };
    return all;
}

} // namespace Kor::Forms
