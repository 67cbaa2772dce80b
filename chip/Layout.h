#pragma once

/// The data sheet of a chip table, as constexpr data: which fields a row has, where each lies on which chips,
/// how large the table is and where it stands. chip/Row.h makes the row class from it.
///
///     namespace Hardware::layout {
///     struct EvecTableSheet {
///         using Whole = U64;                                        // the type of getAllFields()
///         using Fields = FieldList<Field<144, Kor::name::parity, U8>, ...>;     // id, name, type
///
///         static constexpr GeometryRow geometry[] = {
///             // chips          variants     entries  array  words  base      block  last identifier
///             {chips(3, 4),     anyVariant,  256,     1,     2,     0x280000, 0x3,   0},
///             ...
///         };
///         static constexpr SheetRow rows[] = {
///             // field     3, 4, 5, 7  8, 9, 10
///             {"parity",   {32, 1},    {38, 2}},                    // {offset, width}
///             {"entry0MembershipCheckType", none, {18, 1}},         // none: not on these chips
///             ...
///         };
///         static constexpr Sheet sheets[] = {{anyVariant, {chips(3, 4, 5, 7), chips(8, 9, 10)}, rows}};
///     };
///     }
///
/// Dense lookup arrays and masks are computed from it at compile time, and a sheet that is wrong does not
/// compile: a field past the row, an id or a name twice, a field that no row places or that is not declared,
/// a type that is not the smallest one that holds the field at its widest.
///
/// All of it is constexpr data: any thread, nothing is allocated or thrown.

#include "platform/Hardware/ChipType.h"
#include "platform/SiliconKit/AsicBase.h"
#include "runtime/Types.h"

#include <algorithm>
#include <array>
#include <concepts>
#include <cstddef>
#include <initializer_list>
#include <span>
#include <string_view>
#include <type_traits>

namespace Hardware {

using SiliconKit::Raw128;
using SiliconKit::Raw256;

} // namespace Hardware

/// The vocabulary of data sheets, and what is computed from them.
namespace Hardware::layout {

/// Where a field lies in a row, in bits; width 0 means that it is not there.
struct Position {
    U8 offset = 0;
    U8 width = 0;

    friend constexpr bool operator==(Position, Position) = default;
};

inline constexpr Position none{};

inline constexpr U32 chipBound = 11;

/// A set of chips by number.
struct ChipSet {
    U16 bits = 0;

    constexpr bool has(U32 chip) const { return chip < chipBound && ((bits >> chip) & 1) != 0; }
};

constexpr ChipSet chips(std::same_as<int> auto... numbers) {
    return {static_cast<U16>(((1u << numbers) | ...))};
}

inline constexpr ChipSet allChips = chips(3, 4, 5, 7, 8, 9, 10);

/// A run of variants, or any at all where a table ignores them.
struct VariantRange {
    U8 first = 0;
    U8 last = 0;

    constexpr bool has(U32 variant) const { return variant >= first && variant <= last; }
};

constexpr VariantRange variants(U8 first, U8 last) {
    return {first, last};
}

constexpr VariantRange variant(U8 only) {
    return {only, only};
}

inline constexpr VariantRange anyVariant{0, 255};

/// Size and address of a table on some chips.
struct GeometryRow {
    ChipSet chips;
    VariantRange variants;
    U32 entries;
    U32 arrayElements;
    U16 width;
    U32 base;
    U8 blockBase;
    U16 maxIdentifier;
};

inline constexpr std::size_t sheetColumns = 4;

/// A field and its position on each group of chips of the sheet.
struct SheetRow {
    std::string_view field;
    Position column0 = none;
    Position column1 = none;
    Position column2 = none;
    Position column3 = none;

    constexpr Position at(std::size_t column) const {
        Position const all[sheetColumns] = {column0, column1, column2, column3};
        return all[column];
    }
};

/// The layout of a row in one variant: the groups of chips that its columns stand for, and its rows.
struct Sheet {
    VariantRange variants;
    ChipSet columns[sheetColumns];
    std::span<SheetRow const> rows;
    /// What people call this variant, where it has a name.
    std::string_view name{};
};

template <U32 Id, class NameType, class T>
struct Field {
    static constexpr U32 id = Id;
    static constexpr std::string_view name = NameType::text;
    using Name = NameType;
    using Type = T;
    /// Wider than 64 bits, so that it is a block of bytes and not a number.
    static constexpr bool isRaw = sizeof(T) > 8;
};

template <class... F>
struct FieldList {
    static constexpr std::size_t size = sizeof...(F);
};

/// A slot is one pair of sheet and column, that is one concrete layout; slot 0 is that of a row without any.
constexpr U8 slotOf(std::size_t sheet, std::size_t column) {
    return static_cast<U8>(1 + sheet * sheetColumns + column);
}

template <class S>
inline constexpr std::size_t slots = 1 + std::size(S::sheets) * sheetColumns;

/// The slot of a chip and variant. A sheet for any variant is looked up at variant 0.
template <class S>
struct SlotTable {
    static constexpr std::size_t variantBound = [] {
        std::size_t bound = 1;
        for (Sheet const& sheet : S::sheets) {
            if (sheet.variants.last != 255 && sheet.variants.last >= bound) {
                bound = std::size_t{sheet.variants.last} + 1;
            }
        }
        return bound;
    }();
    static constexpr bool ignoresVariant = std::size(S::sheets) == 1 && S::sheets[0].variants.last == 255;

    static constexpr auto table = [] {
        std::array<std::array<U8, chipBound>, variantBound> all{};
        for (std::size_t s = 0; s < std::size(S::sheets); ++s) {
            for (std::size_t column = 0; column < sheetColumns; ++column) {
                for (U32 v = 0; v < variantBound; ++v) {
                    for (U32 chip = 0; chip < chipBound; ++chip) {
                        if (S::sheets[s].variants.has(v) && S::sheets[s].columns[column].has(chip)) {
                            all[v][chip] = slotOf(s, column);
                        }
                    }
                }
            }
        }
        return all;
    }();

    static constexpr U8 at(U32 chip, U32 variantNumber) {
        if constexpr (ignoresVariant) {
            variantNumber = 0;
        }
        return chip < chipBound && variantNumber < variantBound ? table[variantNumber][chip] : U8{0};
    }
};

/// The position of a field in every slot.
template <class S>
constexpr auto positionsOf(std::string_view field) {
    std::array<Position, slots<S>> all{};
    for (std::size_t s = 0; s < std::size(S::sheets); ++s) {
        for (SheetRow const& row : S::sheets[s].rows) {
            if (row.field == field) {
                for (std::size_t column = 0; column < sheetColumns; ++column) {
                    all[slotOf(s, column)] = row.at(column);
                }
            }
        }
    }
    return all;
}

template <class S, class F>
inline constexpr auto positions = positionsOf<S>(F::name);

template <class S>
inline constexpr U16 rowWords = S::geometry[0].width;

using Mask = std::array<U32, 8>;

/// A 1 for each row bit that some field of the slot covers.
template <class S>
inline constexpr auto masks = [] {
    std::array<Mask, slots<S>> all{};
    for (std::size_t s = 0; s < std::size(S::sheets); ++s) {
        for (SheetRow const& row : S::sheets[s].rows) {
            for (std::size_t column = 0; column < sheetColumns; ++column) {
                Position const at = row.at(column);
                Mask& mask = all[slotOf(s, column)];
                for (U32 bit = at.offset; bit < U32{at.offset} + at.width;) {
                    U32 const count = std::min(32 - bit % 32, U32{at.offset} + at.width - bit);
                    U32 const ones = count == 32 ? ~0u : (1u << count) - 1;
                    mask[bit / 32] |= ones << (bit % 32);
                    bit += count;
                }
            }
        }
    }
    return all;
}();

/// The geometry row of a chip and variant, null where there is none.
template <class S>
constexpr GeometryRow const* geometryOf(U32 chip, U32 variantNumber) {
    for (GeometryRow const& row : S::geometry) {
        if (row.chips.has(chip) && row.variants.has(variantNumber)) {
            return &row;
        }
    }
    return nullptr;
}

constexpr U32 widest(std::span<Position const> all) {
    U32 width = 0;
    for (Position const& each : all) {
        width = std::max(width, U32{each.width});
    }
    return width;
}

constexpr std::size_t bytesFor(U32 width) {
    for (std::size_t const bytes : {1u, 2u, 4u, 8u, 16u}) {
        if (width <= bytes * 8) {
            return bytes;
        }
    }
    return 32;
}

/// The checks of a sheet against its field list. Each is a static_assert of its own, so that the compiler's
/// message says which rule was broken, and for which field.
template <class S, class F>
struct CheckField {
    static constexpr auto const& all = positions<S, F>;
    static_assert(widest(all) != 0, "a declared field has no row in any sheet");
    static_assert(bytesFor(widest(all)) == sizeof(typename F::Type),
                  "the type of a field must be the smallest that holds it at its widest");
    static_assert(
        [] {
            for (Position const& each : all) {
                if (each.offset + each.width > rowWords<S> * 32) {
                    return false;
                }
            }
            return true;
        }(),
        "a field lies past the end of the row");
    static constexpr bool ok = true;
};

template <class S, class List>
struct Check;

template <class S, class... F>
struct Check<S, FieldList<F...>> {
    static_assert((CheckField<S, F>::ok && ...));

    static constexpr bool distinct = [] {
        std::array<U32, sizeof...(F)> const ids{F::id...};
        std::array<std::string_view, sizeof...(F)> const names{F::name...};
        for (std::size_t i = 0; i < sizeof...(F); ++i) {
            for (std::size_t j = 0; j < i; ++j) {
                if (ids[i] == ids[j] || names[i] == names[j]) {
                    return false;
                }
            }
        }
        return true;
    }();
    static_assert(distinct, "a field id or a field name is declared twice");

    static constexpr bool declared = [] {
        for (Sheet const& sheet : S::sheets) {
            for (SheetRow const& row : sheet.rows) {
                if (!((row.field == F::name) || ...)) {
                    return false;
                }
            }
        }
        return true;
    }();
    static_assert(declared, "a sheet places a field that is not declared");

    static constexpr bool once = [] {
        for (Sheet const& sheet : S::sheets) {
            for (std::size_t i = 0; i < sheet.rows.size(); ++i) {
                for (std::size_t j = 0; j < i; ++j) {
                    if (sheet.rows[i].field == sheet.rows[j].field) {
                        return false;
                    }
                }
            }
        }
        return true;
    }();
    static_assert(once, "a sheet places a field twice");

    static constexpr bool oneWidth = [] {
        for (GeometryRow const& row : S::geometry) {
            if (row.width != rowWords<S>) {
                return false;
            }
        }
        return sizeof(typename S::Whole) * 8 >= rowWords<S> * 32;
    }();
    static_assert(oneWidth, "a row has one width on every chip, and getAllFields must hold it");

    static constexpr bool ok = true;
};

} // namespace Hardware::layout
