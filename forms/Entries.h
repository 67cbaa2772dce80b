#pragma once

/// An entry as text, `AradLifAcMp vsi=100 vlanEditVid1=20`, and the row that it becomes on a chip.
///
///     Kor::Forms::Entry const entry = Kor::Forms::parseEntry("AradLifAcMp vsi=100");
///     Kor::Forms::EncodedRow const row = Kor::Forms::encodeEntry(entry, Hardware::jerichoChip8);
///     Kor::Forms::wordsText(row.words);            // 0x00000064 0x00000000 0x00000000 0x00000003
///
/// An entry is a value that names its type, in any way in which forms/Values.h reads one.
///
/// What is wrong with an entry is a Refused (forms/Refused.h). Any thread, on objects of its own.

#include "forms/Kind.h"
#include "forms/Rows.h"
#include "forms/Values.h"

#include <string>
#include <vector>

namespace Kor::Forms {

struct KOR_EXPORT Entry {
    Kind const* kind;
    Box value;
    /// The fields that were given by name.
    std::vector<Field> given{};
};

/// The entry that the value in the box is. Refused when there is no row for it.
KOR_EXPORT Entry entryOf(GenericIf const& box);

/// Refused with the reason when anything is not as it should be.
KOR_EXPORT Entry parseEntry(std::string_view text);

/// What a LIF's application asks for; Refused for an entry of another kind.
KOR_EXPORT Hardware::LoamTunnel::AradLifEntry lifOf(Entry const& entry);

struct KOR_EXPORT EncodedRow {
    RowForm form;
    Words words;
    /// A given field that does not reach the row as it is though the encoder allows it: the chip has no place
    /// for some bits, or the encoder writes the field itself or overrides it by another one.
    struct Loss {
        std::string field;
        U64 given;
        U64 kept;
        friend bool operator==(Loss const&, Loss const&) = default;
    };
    std::vector<Loss> losses;
};

/// The row of the entry on a chip, all bits 0 that the encoder does not write. Refused when the encoder's
/// contract excludes the entry on this chip.
KOR_EXPORT EncodedRow encodeEntry(Entry const& entry, Hardware::ChipType chip);

/// A loss in words, of those chips.
KOR_EXPORT std::string lossText(Kind const& kind, EncodedRow::Loss const& loss,
                                std::vector<Hardware::ChipType> const& chips);

/// "chip=8 table=LifTable variant=1" and the words.
KOR_EXPORT std::string rowLine(EncodedRow const& row);

} // namespace Kor::Forms
