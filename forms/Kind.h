#pragma once

/// A kind of entry that becomes a row of a chip: a value class, the table and variant of the row, and its
/// encoder. A kind is one declaration in forms/Kinds.cpp:
///
///     lif<AradLifAcMp>(lifAcMp)
///
/// Its fields are those of the value (forms/Fields.h). What the encoder requires of the caller, and the
/// widths do not say, is declared as limits.
///
/// The list of kinds is made once and never changes. Any thread may read it.

#include "forms/Fields.h"
#include "platform/Hardware/ChipType.h"
#include "tables/TableInfos.h"
#include "values/AradLifEntry.h"

#include <optional>
#include <string>
#include <vector>

namespace Kor::Forms {

/// The most that an encoder takes of a field on some chips.
struct Limit {
    std::string_view field;
    U64 most;
    Hardware::layout::ChipSet chips;
};

struct KOR_EXPORT Kind {
    std::string name;
    /// Another name for it, if not empty.
    std::string alias;
    Hardware::TableInfo const* table;
    U8 variant;
    std::vector<Limit> limits;
    /// The type of its values.
    KorType const* type;
    /// Runs the encoder of a value of that type. Requires that the table knows the chip and that no limit is
    /// exceeded.
    void (*write)(GenericIf const& value, Hardware::ChipType chip, U8* row);
    /// The entry of an application's request that the value is, if it is one of a logical interface.
    std::optional<Hardware::LoamTunnel::AradLifEntry> (*lif)(GenericIf const& value);

    /// The fields that are not given by the kind itself.
    std::vector<Field> fields() const;
    bool isCalled(std::string_view word) const { return word == name || (!alias.empty() && word == alias); }
};

/// All kinds, declared in forms/Kinds.cpp.
KOR_EXPORT std::vector<Kind> const& allKinds();

/// The enumerator that makes a value of the base one of that derived type, and is another name for it: of an
/// AradLifAcMp `lifAcMp`. Empty for other types.
KOR_EXPORT std::string_view tagOf(KorType const& type);
/// The other way round; null for a word that is no such enumerator.
KOR_EXPORT KorType const* typeOfTag(std::string_view tag);

/// The kind of that name or other name, WrongUsage when there is none that can be written to a row.
KOR_EXPORT Kind const& kindNamed(std::string_view word);

} // namespace Kor::Forms
