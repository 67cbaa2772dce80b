#pragma once

/// A chip table as data at run time: its fields with their places on each chip, its geometry and its
/// variants, for tools that handle all tables alike and know none. Where the table is known when the code is
/// written, use its row class (chip/Row.h) instead.
///
///     Hardware::TableInfo const* lif = Hardware::tableInfo("LifTable");       // tables/TableInfos.h
///     for (Hardware::FieldPlace const& place : lif->row(8, 1)) {              // chip 8, variant 1
///         std::cout << place.field->name << ' ' << place.hi() << ':' << place.lo() << '\n';
///     }
///     lif->geometry(8, 1)->entries;
///
/// All of it is computed at compile time from the declaration that the row class is made from, and lives as
/// long as the program. Every operation takes any chip and variant, any thread may call it, and none throws
/// but for want of memory; `row` alone allocates.

#include "chip/Layout.h"
#include "runtime/TypeName.h"

#include <algorithm>
#include <array>
#include <span>
#include <string_view>
#include <vector>

namespace Hardware {

/// A field as its table declares it.
struct FieldInfo {
    U32 id;
    std::string_view name;
    /// "U8" to "U64", or "Raw128", "Raw256" for a block.
    std::string_view type;
    U32 typeBytes;
    /// By slot, see TableInfo::position.
    std::span<layout::Position const> positions;
};

/// A field where it lies in one concrete row; bits `hi()` to `lo()`.
struct FieldPlace {
    FieldInfo const* field;
    layout::Position at;

    constexpr U32 lo() const { return at.offset; }
    constexpr U32 hi() const { return U32{at.offset} + at.width - 1; }
};

/// What tableInfos() lists. Its members are read by everyone and written by TableInfoOf alone.
struct TableInfo {
    using AddressOf = bool (*)(U32 chip, U8 variant, U32& schanAddress, U8& schanAux, U8& schanBlock,
                               U16 identifier, U32 tableEntry, U16 arrayIndex);

    /// "LifTable".
    std::string_view name;
    /// "Hardware::LifTable".
    std::string_view fullName;
    /// In declared order, which is by id.
    std::span<FieldInfo const> fields;
    std::span<layout::GeometryRow const> geometryRows;
    std::span<layout::Sheet const> sheets;
    std::span<layout::Mask const> masks;
    /// Row width in 32-bit words, the same on every chip.
    U16 words;
    /// Any variant is the same row; the variant to name is 0.
    bool ignoresVariant;
    /// Every known variant is below it.
    U32 variantBound;
    U8 (*slotOf)(U32 chip, U32 variant);
    /// The row class's static `getSchanAddress`, with its preconditions.
    AddressOf getSchanAddress;

    /// Whether the table has such a row.
    bool has(U32 chip, U32 variant) const { return variant < 256 && slotOf(chip, variant) != 0; }

    /// How many variants the chip has: 0 where it lacks the table, 1 where the variant is ignored. They are
    /// numbered from 0 without a gap.
    U32 variants(U32 chip) const {
        U32 count = 0;
        while (count < variantBound && has(chip, count)) {
            ++count;
        }
        return count;
    }

    /// What people call a variant; empty where it has no name.
    std::string_view variantName(U32 variant) const {
        auto const found = std::ranges::find_if(
            sheets, [&](layout::Sheet const& sheet) { return sheet.variants.has(variant); });
        return found != sheets.end() ? found->name : std::string_view();
    }

    /// Size and address there; null where there is no such row.
    layout::GeometryRow const* geometry(U32 chip, U32 variant) const {
        auto const found = std::ranges::find_if(geometryRows, [&](layout::GeometryRow const& row) {
            return row.chips.has(chip) && row.variants.has(variant);
        });
        return has(chip, variant) && found != geometryRows.end() ? &*found : nullptr;
    }

    /// Where the field of this table lies; width 0 where it does not exist.
    layout::Position position(FieldInfo const& field, U32 chip, U32 variant) const {
        return has(chip, variant) ? field.positions[slotOf(chip, variant)] : layout::none;
    }

    /// A 1 for each bit that some field covers, in `words` words; none where there is no such row.
    std::span<U32 const> mask(U32 chip, U32 variant) const {
        return std::span<U32 const>(masks[has(chip, variant) ? slotOf(chip, variant) : 0]).first(words);
    }

    /// The fields that exist there in row order: by lowest bit, the wider first, then as declared.
    std::vector<FieldPlace> row(U32 chip, U32 variant) const {
        std::vector<FieldPlace> all;
        for (FieldInfo const& field : fields) {
            layout::Position const at = position(field, chip, variant);
            if (at.width != 0) {
                all.push_back({&field, at});
            }
        }
        std::ranges::stable_sort(all, [](FieldPlace const& a, FieldPlace const& b) {
            return a.lo() != b.lo() ? a.lo() < b.lo() : a.at.width > b.at.width;
        });
        return all;
    }
};

namespace layout {

template <class S, class List>
struct FieldInfos;

template <class S, class... F>
struct FieldInfos<S, FieldList<F...>> {
    static constexpr std::array all{FieldInfo{F::id, F::name, Kor::shortTypeName<typename F::Type>(),
                                              sizeof(typename F::Type), positions<S, F>}...};
};

} // namespace layout

/// The description of a row class, from its declaration.
template <class Row, class S = typename Row::SheetType>
inline constexpr TableInfo tableInfoOf{
    Kor::shortName(Row::tableName),
    Row::tableName,
    layout::FieldInfos<S, typename S::Fields>::all,
    S::geometry,
    S::sheets,
    layout::masks<S>,
    layout::rowWords<S>,
    layout::SlotTable<S>::ignoresVariant,
    static_cast<U32>(layout::SlotTable<S>::variantBound),
    &layout::SlotTable<S>::at,
    &Row::getSchanAddress,
};

} // namespace Hardware
