#pragma once

/// The kinds of a logical interface, and the codes of the row field `type`.
///
///     AradLifEntry const entry = AradLifAcMp(lifAcMp);
///     entry.lifType() == lifAcMp;
///
/// What every enumeration has, names, checked conversions and text, stands in reflect/Enumeration.h.

#include "reflect/Enumeration.h"

// clang-format off
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
KOR_ENUMERATION(LifType,
    "", "What a LIF entry describes",
    "lifGeneral", "Nothing in particular; it cannot be written to a chip",
    "lifAcP2pToAc", "An attachment circuit that is cross-connected to another; view AradLifAcP2pToAc",
    "lifAcP2pToPwe", "An attachment circuit that is cross-connected to a pseudowire; view AradLifAcP2pToPwe",
    "lifAcP2pToPbb", "An attachment circuit that is cross-connected to PBB; it cannot be written to a chip",
    "lifAcMp", "An attachment circuit of a bridge domain; view AradLifAcMp",
    "lifIsidP2p", "An ISID that is cross-connected; it cannot be written to a chip",
    "lifIsidMp", "An ISID of a bridge domain; it cannot be written to a chip",
    "lifLpTt", "The kind LpTt of the chip; it cannot be written to a chip",
    "lifTrill", "The kind TRILL of the chip; it cannot be written to a chip",
    "lifLabelPweP2p", "A pseudowire label that ends in a cross-connect; view AradLifPweToP2p",
    "lifLabelPweMp", "A pseudowire label of a bridge domain; it cannot be written to a chip",
    "lifLabelProtocolOrLsp", "The label of a protocol or of a label-switched path; view AradLifLabelProtocolOrLsp")

/// The row field `type` of an attachment circuit.
enum acType : Kor::U32 {
    acP2pToAc = 0,
    acP2pToPwe = 1,
    acP2pToPbb = 2,
    acMp = 3,
};
KOR_ENUMERATION(acType,
    "", "The row field type of an attachment circuit",
    "acP2pToAc", "What the encoder writes for lifAcP2pToAc",
    "acP2pToPwe", "What the encoder writes for lifAcP2pToPwe",
    "acP2pToPbb", "The encoder never writes it",
    "acMp", "What the encoder writes for lifAcMp")

/// The row field `type` of a label.
enum labelLifType : Kor::U32 {
    labelPweP2p = 0,
    labelPweMp = 1,
    labelPweLsp = 2,
    labelPweInvalid = 3,
};
KOR_ENUMERATION(labelLifType,
    "", "The row field type of a label",
    "labelPweP2p", "What the encoder writes for lifLabelPweP2p",
    "labelPweMp", "The encoder never writes it",
    "labelPweLsp", "What the encoder writes for lifLabelProtocolOrLsp",
    "labelPweInvalid", "The encoder never writes it")

} // namespace Hardware::LoamTunnel
// clang-format on
