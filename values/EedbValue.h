#pragma once

/// The image of an EEDB row and how its format is told.
///
///     EedbValue row(word0, word1, word2);
///     if (row.format() == mpls) { ... }
///
/// The three words are the first 96 bits of the row in the layout of chip 3. Values are plain copies, nothing
/// throws.
///
/// What holds for every value, cost, ranges, text and threads, stands in reflect/Value.h.

#include "platform/Hardware/Loam/FapType.h"
#include "values/EedbFormat.h"
#include "values/ValueNames.h"

// clang-format off
namespace Hardware::LoamTunnel {

class KOR_EXPORT EedbValue
    : public Kor::ValueOf<EedbValue,
          Settable<name::word0, U32>,
          Settable<name::word1, U32>,
          Settable<name::word2, U32>,
          Operation<name::format, EedbFormat()>> {
public:
    static constexpr auto korTexts = Kor::texts(
        "", "The image of one EEDB row: its first 96 bits, in the layout of chip 3",
        "word0", "Row bits 0 to 31",
        "word1", "Row bits 32 to 63",
        "word2", "Row bits 64 to 95; bits 10 to 13 of this word tell the format",
        "format", "What the row holds: mpls, data, arp, ac or invalid. No row counts as trill or rif");

    using ValueOf::ValueOf;

    /// What the row holds, by bits 10 to 13 of `word2`: `mpls`, `data`, `arp`, `ac` or `invalid`. A row is `ac` when
    /// those bits, the entry format of AC 0 and bit 9 of `word2` are 0. Nothing is told to be `trill` or `rif`.
    EedbFormat format() const;
};

/// Where the out-AC indexes of a chip family begin.
class KOR_EXPORT EedbAcConstants
    : public Kor::ValueOf<EedbAcConstants,
          Constant<name::aradAcStartIndex, U32, 4096>,
          Constant<name::jerichoAcStartIndex, U32, 8192>,
          ClassOperation<name::acBaseIndex, U32(Arg<name::fapType, Loam::FapType>)>> {
public:
    static constexpr auto korTexts = Kor::texts(
        "", "Where the out-AC indexes of a chip family begin",
        "aradAcStartIndex", "The first out-AC index of the Arad family",
        "jerichoAcStartIndex", "The first out-AC index of the Jericho family",
        "acBaseIndex", "The first out-AC index of a family, which must be Arad or Jericho");

    using ValueOf::ValueOf;

    /// Requires the Arad or the Jericho family.
    static U32 acBaseIndex(Loam::FapType fapType);
};


} // namespace Hardware::LoamTunnel
// clang-format on
