#pragma once

/// Every value type of the model, and random values of each, so that what holds for all of them is tested
/// once.

#include "platform/Fen/SmData.h"
#include "support/Random.h"
#include "values/LoamTunnelTypes.h"

#include <string>
#include <type_traits>
#include <vector>

namespace support {

using namespace Hardware::LoamTunnel;

/// The chips whose tables the values have an encoding for.
inline constexpr Hardware::ChipType supportedChips[] = {
    Hardware::aradChip3,    Hardware::aradChip4,    Hardware::jerichoChip5, Hardware::jerichoChip7,
    Hardware::jerichoChip8, Hardware::jerichoChip9, Hardware::jerichoChip10};

/// One of many keys.
inline AradLifEntry lifEntry(Kor::U32 number) {
    return AradLifEntry(lifGeneral, number, 0);
}

/// The same of a kind that has a row.
inline AradLifEntry acLif(Kor::U32 number) {
    AradLifAcMp entry(lifAcMp);
    entry.vsiIs(static_cast<Kor::U16>(number));
    return entry;
}

template <class... T>
struct TypeList {};

using AllValues =
    TypeList<TunnelTerminationEntry, VtepToNhIdMapStatusEntry, EedbValue, OutAcFormat, OutAcValue, OutAcKey,
             OutAcEntry, EvecFormat, EvecValue, EvecKey, EvecEntry, EvecOwner, AradIvecFormat, AradIvecKey,
             AradIvecEntry, AradIhpIvectIndex, AradLifIndex, AradLifEntry, AradLifAcP2pToAc, AradLifAcMp,
             AradLifAcP2pToPwe, AradLifPweToP2p, AradLifLabelProtocolOrLsp, VcableTpidVtConfigEntry,
             TpidVtAppConfigEntry, TcamSharingPolicyId, TcamSharingRequest, TcamSharingEntry,
             TcamSharingPendingRequest, TcamSharingResponse, TcamSharingVlanIdOrDomainResponse>;

/// Calls `visit.template operator()<T>()` for each value type.
template <class Visit>
void eachValue(Visit const& visit) {
    []<class... T>(TypeList<T...>, Visit const& each) { (each.template operator()<T>(), ...); }(AllValues{},
                                                                                                visit);
}

template <class T>
T randomValue(Random& random) {
    if constexpr (std::is_same_v<T, bool>) {
        return random.below(2) != 0;
    } else if constexpr (std::is_enum_v<T>) {
        auto const& all = Kor::enumerators<T>;
        return static_cast<T>(all[random.below(static_cast<Kor::U32>(all.size()))].number);
    } else if constexpr (std::is_integral_v<T>) {
        return static_cast<T>(random.next() >> random.below(64));
    } else if constexpr (std::is_same_v<T, Kor::Name>) {
        return Kor::Name(std::to_string(random.next()).c_str());
    } else if constexpr (std::is_same_v<T, Fen::FenPortList>) {
        std::vector<Lumen::IntfId> ports(1 + random.below(4));
        for (auto& port : ports) {
            port = randomValue<Lumen::IntfId>(random);
        }
        return Fen::FenPortList(ports);
    } else if constexpr (std::is_same_v<T, Lumen::IpAddr>) {
        return Lumen::IpAddr(static_cast<Kor::U32>(random.next()));
    } else if constexpr (std::is_same_v<T, Lumen::IntfId>) {
        return Lumen::IntfId(random.next() >> random.below(64));
    } else if constexpr (std::is_same_v<T, Sideband::Fapmask>) {
        auto const word = [&] { return static_cast<Kor::U32>(random.next() & random.next()); };
        return Sideband::Fapmask(word(), word(), word(), word());
    } else {
        for (;;) {
            try {
                return []<class... S>(Random& source, Kor::detail::Storage<S...> const*) {
                    return T{randomValue<typename S::Type>(source)...};
                }(random, static_cast<Kor::detail::StorageTypeOf<T> const*>(nullptr));
            } catch (Kor::RangeException const&) {
                // Out of the type's range: another one.
            }
        }
    }
}

} // namespace support
