#include "values/EedbValue.h"

#include "runtime/Contract.h"

#include <string>

namespace Hardware::LoamTunnel {

EedbFormat EedbValue::format() const {
    U32 const kind = (word2() >> 10) & 0xf;
    if (kind & 8) {
        return mpls;
    }
    switch (kind >> 1) {
    case 3:
        return data;
    case 2:
        return arp;
    default:
        break;
    }
    U32 const ac0EntryFormat = (word1() >> 2) & 7;
    U32 const ac1EntryFormatMsb = (word2() >> 9) & 1;
    return kind == 0 && ac0EntryFormat == 0 && ac1EntryFormatMsb == 0 ? ac : invalid;
}

U32 EedbAcConstants::acBaseIndex(Loam::FapType fapType) {
    Kor::require(fapType == Loam::fapTypeArad || fapType == Loam::fapTypeJericho, [&] {
        return Kor::Breach{"Hardware::LoamTunnel::EedbAcConstants::acBaseIndex",
                           "no out-ACs on family " + std::to_string(U32{fapType})};
    });
    return fapType == Loam::fapTypeJericho ? jerichoAcStartIndex : aradAcStartIndex;
}

} // namespace Hardware::LoamTunnel
