#pragma once

/// An entry as text, `AradLifAcMp vsi=100 vlanEditVid1=20`, and the rows that it becomes. An entry can also
/// be a value in text form, `Value('Hardware::LoamTunnel::AradLifEntry', ** {...})`; one whose text is a bare
/// number has its kind before it, `EvecValue 0x12345`.

#include "forms/Kind.h"
#include "forms/Rows.h"
#include "forms/Values.h"

#include <memory>
#include <string>
#include <vector>

namespace Kor::Forms {

/// All kinds, declared in forms/Kinds.cpp.
KOR_EXPORT std::vector<Kind> const& allKinds();

/// The kind of that name or other name, Refused when there is none that can be written to a row.
KOR_EXPORT Kind const& kindNamed(std::string_view word);

struct KOR_EXPORT Entry {
    Kind const* kind;
    std::unique_ptr<Draft> draft;
};

/// The entry that the value in the box is. Refused when there is no row for it.
KOR_EXPORT Entry entryOf(Kor::GenericIf const& box);

/// Reads an entry: a value in text form, or the kind, then `field=value` in any number, set in that order. A
/// value is a decimal or 0x number or one of the attribute's words. Refused with the reason when anything is
/// not as it should be.
KOR_EXPORT Entry parseEntry(std::string_view text);

/// What a LIF's application asks for; Refused for an entry of another kind.
KOR_EXPORT Hardware::LoamTunnel::AradLifEntry lifOf(Entry const& entry);

struct KOR_EXPORT EncodedRow {
    RowForm form;
    Words words;
    /// What of the entry did not reach the row though the encoder allows it.
    std::vector<std::string> notes;
};

/// The row of the entry on a chip, all bits 0 that the encoder does not write. Refused when the encoder's
/// contract excludes the entry on this chip.
KOR_EXPORT EncodedRow encodeEntry(Entry const& entry, Hardware::ChipType chip);

} // namespace Kor::Forms
