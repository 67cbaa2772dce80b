#pragma once

/// The kinds of a logical interface, and the codes of the row field `type`.

#include "reflect/Enumeration.h"

namespace Hardware::LoamTunnel {

/// What a LIF entry describes. All are valid in a value; those with a view class can be written to a chip.
enum LifType : Kor::U32 {
    lifGeneral = 0,
    lifAcP2pToAc = 1,  // AradLifAcP2pToAc
    lifAcP2pToPwe = 2, // AradLifAcP2pToPwe
    lifAcP2pToPbb = 3,
    lifAcMp = 4, // AradLifAcMp
    lifIsidP2p = 5,
    lifIsidMp = 6,
    lifLpTt = 7,
    lifTrill = 8,
    lifLabelPweP2p = 9, // AradLifPweToP2p
    lifLabelPweMp = 10,
    lifLabelProtocolOrLsp = 11, // AradLifLabelProtocolOrLsp
};
KOR_ENUMERATION(LifType)

/// The row field `type` of an attachment circuit.
enum acType : Kor::U32 {
    acP2pToAc = 0,
    acP2pToPwe = 1,
    acP2pToPbb = 2,
    acMp = 3,
};
KOR_ENUMERATION(acType)

/// The row field `type` of a label.
enum labelLifType : Kor::U32 {
    labelPweP2p = 0,
    labelPweMp = 1,
    labelPweLsp = 2,
    labelPweInvalid = 3,
};
KOR_ENUMERATION(labelLifType)

} // namespace Hardware::LoamTunnel
