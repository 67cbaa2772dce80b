#pragma once

/// Writes a row of a known variant with one dispatch on the chip instead of one a field.
///
///     Hardware::writeRow<LifTable, 1>(chipType, buffer, [&](auto& row) {
///         row.vsiIs(vsi);
///         if (row.isUseInLifValid()) {
///             row.useInLifIs(1);
///         }
///     });
///
/// The function gets a row with the accessors of the table. With trace quiet that is a view with constant
/// positions that keeps the row in registers until it is done; otherwise it is the ordinary row, so that each
/// trace point is passed in order. Both leave the same bits in the buffer and the same count in the trace
/// facility.
///
/// The buffer holds a whole row. A chip that lacks the variant is a broken contract; a release build then
/// leaves the buffer as it is.
///
/// Nothing is allocated. What the function throws passes through. Any thread, on a buffer of its own.

#include "chip/Row.h"

#include <cstddef>
#include <cstring>
#include <type_traits>

namespace Hardware {

namespace layout {

/// A row whose sheet and column are known when it is compiled. It gathers what is written and the mask of it,
/// which the compiler folds to a constant, and puts both into the buffer at once: fields that do not overlap
/// then do not wait for one another.
template <class Row, U8 Slot>
class FixedRow : public FieldForms<FixedRow<Row, Slot>, typename Row::SheetType> {
    using S = typename Row::SheetType;
    static constexpr std::size_t bytes = rowWords<S> * 4;
    static constexpr std::size_t lanes = (bytes + 7) / 8;

public:
    FixedRow(Kor::TraceFacility& facility, U8* data, U8 chipType, U8 variant)
        : facility_(facility), data_(data), chipType_(chipType), variant_(variant) {}
    ~FixedRow() {
        // Lane by lane: a copy of the whole row would pass through memory.
        for (std::size_t lane = 0; lane < lanes; ++lane) {
            U8* const at = data_ + lane * 8;
            std::size_t const size = lane * 8 + 8 <= bytes ? 8 : bytes % 8;
            U64 row = 0;
            std::memcpy(&row, at, size);
            row = (row & ~written_[lane]) | value_[lane];
            std::memcpy(at, &row, size);
        }
        Kor::traceCount(facility_, points_);
    }
    FixedRow(FixedRow const&) = delete;
    FixedRow& operator=(FixedRow const&) = delete;

    template <class F>
    void fieldIs(typename F::Type value) {
        static_assert(!F::isRaw, "a block does not fit a lane");
        constexpr Position at = positions<S, F>[Slot];
        ++points_;
        if constexpr (Kor::contractChecks) {
            requireField<F>(Op::set, Row::tableName, chipType_, variant_, bytes, at);
            requireValue<F>(Op::set, Row::tableName, chipType_, variant_, at, value);
        }
        if constexpr (at.width != 0) {
            constexpr unsigned shift = at.offset % 64;
            constexpr U64 ones = SiliconKit::detail::lowBits(at.width);
            U64 const bits = U64{value} & ones;
            put(at.offset / 64, ones << shift, bits << shift);
            if constexpr (shift + at.width > 64) {
                put(at.offset / 64 + 1, ones >> (64 - shift), bits >> (64 - shift));
            }
        }
    }

    template <class F>
    U16 fieldLen() const {
        ++points_;
        return positions<S, F>[Slot].width;
    }

    template <class F>
    bool isFieldValid() const {
        ++points_;
        return fieldLen<F>() != 0;
    }

private:
    void put(std::size_t lane, U64 mask, U64 bits) {
        value_[lane] = (value_[lane] & ~mask) | bits;
        written_[lane] |= mask;
    }

    Kor::TraceFacility& facility_;
    U8* data_;
    U64 value_[lanes] = {};
    U64 written_[lanes] = {};
    mutable U32 points_ = 0;
    U8 chipType_;
    U8 variant_;
};

/// The sheet of a variant, by its number in the sheets.
template <class S>
constexpr std::size_t sheetOf(U8 variantNumber) {
    std::size_t s = 0;
    while (s < std::size(S::sheets) && !S::sheets[s].variants.has(variantNumber)) {
        ++s;
    }
    return s;
}

} // namespace layout

namespace layout {

/// The way through the ordinary row. Apart, so that the other needs no stack for it.
template <class Row, U8 Variant, class Write>
[[gnu::cold, gnu::noinline]] void writeTracedRow(ChipType chipType, U8* data, Write write) {
    constexpr U16 bytes = rowWords<typename Row::SheetType> * 4;
    Row row(chipType, data, bytes, false, Variant);
    write(row);
}

} // namespace layout

/// `write` is copied: it should capture by value, and little.
template <class Row, U8 Variant, class Write>
inline void writeRow(ChipType chipType, U8* data, Write write) {
    using S = typename Row::SheetType;
    constexpr std::size_t sheet = layout::sheetOf<S>(Variant);
    static_assert(sheet < std::size(S::sheets), "the table has no such variant");
    Kor::TraceFacility& facility = metaInfoTraceHandle().facility();
    U8 const slot = layout::SlotTable<S>::at(chipType, Variant);
    if (slot == 0) [[unlikely]] {
        layout::requireGeometry(false, Row::tableName, "writeRow", chipType, Variant);
        return;
    }
    if (!Kor::traceIsQuiet(facility, 8)) [[unlikely]] {
        return layout::writeTracedRow<Row, Variant>(chipType, data, write);
    }
    auto const tryColumn = [&]<std::size_t Column>(std::integral_constant<std::size_t, Column>) {
        constexpr U8 candidate = layout::slotOf(sheet, Column);
        if constexpr (S::sheets[sheet].columns[Column].bits != 0) {
            if (slot == candidate) {
                layout::FixedRow<Row, candidate> row(facility, data, static_cast<U8>(chipType), Variant);
                write(row);
            }
        }
    };
    tryColumn(std::integral_constant<std::size_t, 0>());
    tryColumn(std::integral_constant<std::size_t, 1>());
    tryColumn(std::integral_constant<std::size_t, 2>());
    tryColumn(std::integral_constant<std::size_t, 3>());
    static_assert(layout::sheetColumns == 4);
}

/// Sets fields of a row from the attributes of the same names, in that order.
template <class... NameType>
void copy(auto& row, auto const& value) {
    (NameType::set(row, NameType::call(value)), ...);
}
/// The same, of those fields that the row has on its chip.
template <class... NameType>
void copyWhereValid(auto& row, auto const& value) {
    ((NameType::isValid(row) ? NameType::set(row, NameType::call(value)) : void()), ...);
}

} // namespace Hardware
