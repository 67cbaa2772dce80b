#pragma once

/// A row of a chip table: named fields over a byte buffer of the caller's.
///
///     U8 buffer[16] = {};
///     Hardware::LifTable row(Hardware::jerichoChip8, buffer, sizeof buffer, false, 1);   // variant 1
///     row.vsiIs(100);
///     if (row.isUseInLifValid()) {          // not every chip has the field
///         row.useInLifIs(1);
///     }
///     U32 address;
///     U8 aux, block;
///     row.getSchanAddress(address, aux, block, 0, /*tableEntry*/ 5, /*arrayIndex*/ 1);
///
/// The row owns nothing and has no state of its own: its content is the buffer's, two rows on one buffer see
/// each other's writes, and nothing has to be called at the end. A row is opened as the buffer stands.
/// Nothing here allocates, throws or locks; a row belongs to whoever made it.
///
/// For each field `x` of type T there are `xIs(T)`, `x()`, `xLen()`, `isXValid()` and `xOffset()`:
///
/// - `xLen()` is the width in bits on this chip and variant, 0 where the field does not exist: also for a
///   chip or a variant that the table does not know. `isXValid()` is `xLen() != 0`. These two always answer.
/// - `xIs`, `x` and `xOffset` require that the field exists; `xIs` and `x` also that the buffer reaches to
///   the last bit of the field. `xIs` requires a value of at most 2^width - 1, but at widths 8, 16 and 32 and
///   for a block (Raw128, Raw256) nothing is checked and the excess bits of T are dropped. A debug build
///   stops at a breach with a line that names table, field, chip, variant and value; a release build does no
///   test and touches nothing outside the buffer.
/// - Fields may share bits; the last write prevails. Bits that no field covers are never touched.
///
/// By id, for all fields of a table: `fieldWidth` (0 where `xLen()` is 0), `fieldOffset`, and, for fields up
/// to 64 bits, `getField64` and `setField64`, which first cuts the value to T. An id that the table does not
/// have is a broken contract.
///
/// Geometry: static operations that take chip and variant, and instance forms. They require a chip and
/// variant that the table has. `getSchanAddress` is the one that may be asked about any: it returns false and
/// leaves the outputs alone where there is no such row.
///
/// Each accessor passes a trace point of the facility "LoamTunnelMetaInfo" at level 8 (`setField64`: level 0)
/// before it looks at anything; those that are built on another pass the other's too.

#include "chip/Layout.h"
#include "platform/SiliconKit/AsicBase.h"
#include "runtime/Contract.h"
#include "runtime/Trace.h"
#include "runtime/TypeName.h"

#include <algorithm>
#include <string>
#include <string_view>

namespace Hardware {

/// The handle of the chip tables' trace facility, named "LoamTunnelMetaInfo".
KOR_EXPORT inline Kor::TraceHandle& metaInfoTraceHandle() {
    static Kor::TraceHandle _defaultTraceHandle("LoamTunnelMetaInfo", false);
    return _defaultTraceHandle;
}

namespace layout {

enum class Op {
    set,
    get,
    len,
    valid,
    offset,
    fieldWidth,
    fieldOffset,
    getField64,
    setField64,
    getAllFields,
    getSchanAddress, // passes no trace point
};

/// Whose trace point it is.
struct Subject {
    std::string_view table;
    std::string_view field;
    std::string_view type;
};

/// The operation's short name, such as "vsiIs".
KOR_EXPORT std::string operationName(Op op, std::string_view field);

/// The part of an accessor's trace point that runs when its text is wanted.
[[gnu::cold]] KOR_EXPORT void traceOperation(Kor::TraceFacility& facility, bool on, Op op,
                                             Subject const& subject, U8 chipType, U8 variant, U32 fieldId);

[[gnu::cold]] KOR_EXPORT Kor::Breach breach(Op op, Subject const& subject, U32 chipType, U32 variant,
                                            std::string const& what);

/// The checks of an accessor, in a checked build.
template <class F>
void requireField(Op op, std::string_view table, U32 chip, U32 variant, U32 len, Position at) {
    Subject const subject{table, F::name, Kor::typeName<typename F::Type>()};
    Kor::require(at.width != 0, [&] { return breach(op, subject, chip, variant, "there is no such field"); });
    Kor::require(len >= (U32{at.offset} + at.width + 7) / 8, [&] {
        return breach(op, subject, chip, variant,
                      "a buffer of " + std::to_string(len) + " bytes is too short for bits " +
                          std::to_string(at.offset + at.width - 1) + ":" + std::to_string(at.offset));
    });
}

template <class F>
void requireValue(Op op, std::string_view table, U32 chip, U32 variant, Position at, typename F::Type value) {
    if constexpr (!F::isRaw) {
        bool const exempt = at.width == 8 || at.width == 16 || at.width == 32;
        U64 const limit = SiliconKit::detail::lowBits(at.width);
        Kor::require(exempt || U64{value} <= limit, [&] {
            return breach(op, {table, F::name, Kor::typeName<typename F::Type>()}, chip, variant,
                          "value " + std::to_string(U64{value}) + " is above " + std::to_string(limit));
        });
    }
}

/// Each does nothing while `holds`; a breach names the table, the operation, the chip and the variant.
KOR_EXPORT void requireGeometry(bool holds, std::string_view table, char const* operation, U32 chipType,
                                U32 variant);
KOR_EXPORT void requireWholeRow(bool holds, std::string_view table, U32 chipType, U32 variant, U32 len,
                                U32 words);

} // namespace layout

namespace layout {

template <std::size_t I, class List>
struct FieldAt;
template <std::size_t I, class... F>
struct FieldAt<I, FieldList<F...>> : std::tuple_element<I, std::tuple<F...>> {};

template <class Row, class F>
using FormOfField = typename F::Name::template FieldForm<Row, F>;

/// All accessors of a sheet's fields. By number, so that the name of the type is short.
template <class Row, class S, class Places = std::make_index_sequence<S::Fields::size>>
struct FieldForms;
template <class Row, class S, std::size_t... I>
struct FieldForms<Row, S, std::index_sequence<I...>>
    : FormOfField<Row, typename FieldAt<I, typename S::Fields>::type>... {};

} // namespace layout

/// What a table class derives from: `class LifTable final : public RowOf<LifTable, layout::LifTableSheet>`.
template <class Row, class S>
class KOR_EXPORT RowOf : public SiliconKit::BcmAsicBase, public layout::FieldForms<Row, S> {
public:
    using SheetType = S;
    using Fields = typename S::Fields;
    using Whole = typename S::Whole;
    static constexpr std::string_view tableName = Kor::typeName<Row>();

    /// A row over `len` bytes at `data`, a whole row being `tableWidth(chipType, variant)` x 4. `rowFlag` is
    /// kept and changes nothing: pass false. A table that ignores variants takes any. Nothing is checked
    /// here, so that a row of any chip can be asked for its lengths.
    RowOf(ChipType chipType, U8* data, U16 len, bool rowFlag, U8 variant)
        : BcmAsicBase(static_cast<U8>(chipType), data, len, rowFlag, variant, 0),
          slot_(layout::SlotTable<S>::at(chipType_, variant_)), facility_(&metaInfoTraceHandle().facility()) {
        static_assert(layout::Check<S, Fields>::ok);
        tableRow_ = 1;
    }

    // Geometry. A chip or variant that the table does not have is a broken contract; a release build then
    // answers 0.

    /// The rows of one array element.
    static U32 entries(U32 chipType, U8 variant) { return geometry("entries", chipType, variant).entries; }
    /// The width of a row in 32-bit words; it is the same on every chip.
    static U16 width(U32 chipType, U8 variant) { return geometry("width", chipType, variant).width; }
    /// The lowest row number: 0.
    static U32 index_min(U32 chipType, U8 variant) { return geometry("index_min", chipType, variant), 0; }
    /// The array elements, 1 where the table is no array.
    static U32 arrayElements(U32 chipType, U8 variant) {
        return geometry("arrayElements", chipType, variant).arrayElements;
    }
    /// The same as `width`.
    static U16 tableWidth(U32 chipType, U8 variant) { return width(chipType, variant); }

    U32 entries() const override { return entries(chipType_, variant_); }
    U16 width() const override { return width(chipType_, variant_); }
    U32 index_min() const { return index_min(chipType_, variant_); }
    U32 arrayElements() const { return arrayElements(chipType_, variant_); }

    // Addressing

    /// Where row `tableEntry` of array element `arrayIndex` stands in the chip's register space: its address,
    /// an auxiliary byte that is always 0, and the block, `identifier` counting up from the table's first.
    /// False, with the outputs as they were, for a chip or variant that the table does not have.
    ///
    /// Requires tableEntry < entries, arrayIndex < arrayElements, and an identifier of at most the table's
    /// last one there: 1 on chips 5, 7 and 10 for the six tables that stand in two blocks, else 0.
    static bool getSchanAddress(U32 chipType, U8 variant, U32& schanAddress, U8& schanAux, U8& schanBlock,
                                U16 identifier, U32 tableEntry, U16 arrayIndex) {
        layout::GeometryRow const* const at = layout::geometryOf<S>(chipType, variant);
        if (!at) {
            return false;
        }
        Kor::require(
            tableEntry < at->entries && arrayIndex < at->arrayElements && identifier <= at->maxIdentifier,
            [&] {
                return layout::breach(layout::Op::getSchanAddress, {tableName, "", ""}, chipType, variant,
                                      "no row " + std::to_string(tableEntry) + " of element " +
                                          std::to_string(arrayIndex) + ", identifier " +
                                          std::to_string(identifier));
            });
        schanAddress = at->base + arrayIndex * at->entries + tableEntry;
        schanBlock = static_cast<U8>(at->blockBase + identifier);
        schanAux = 0;
        return true;
    }
    bool getSchanAddress(U32& schanAddress, U8& schanAux, U8& schanBlock, U16 identifier, U32 tableEntry,
                         U16 arrayIndex) const override {
        return getSchanAddress(chipType_, variant_, schanAddress, schanAux, schanBlock, identifier,
                               tableEntry, arrayIndex);
    }

    // By id

    U64 getField64(U32 fieldId) const override;
    void setField64(U32 fieldId, U64 value) override;
    U16 fieldWidth(U32 fieldId) const override;
    U16 fieldOffset(U32 fieldId) const override;

    /// A copy of the row with all holes cleared.
    Whole getAllFields() const;

    // What the accessors forward to

    template <class A>
    void fieldIs(typename A::Type value) {
        traced<A>(layout::Op::set);
        layout::Position const at = layout::positions<S, A>[slot_];
        checked<A>(layout::Op::set, at);
        if constexpr (Kor::contractChecks) {
            layout::requireValue<A>(layout::Op::set, tableName, chipType_, variant_, at, value);
        }
        SiliconKit::setBuf(data_, len_, reinterpret_cast<U8 const*>(&value), sizeof value, at.width,
                           at.offset);
    }

    template <class A>
    typename A::Type field() const {
        traced<A>(layout::Op::get);
        typename A::Type value{};
        layout::Position const at = layout::positions<S, A>[slot_];
        checked<A>(layout::Op::get, at);
        SiliconKit::getBuf(data_, len_, reinterpret_cast<U8*>(&value), sizeof value, at.width, at.offset);
        return value;
    }

    template <class A>
    U16 fieldLen() const {
        traced<A>(layout::Op::len);
        return layout::positions<S, A>[slot_].width;
    }

    template <class A>
    bool isFieldValid() const {
        traced<A>(layout::Op::valid);
        return fieldLen<A>() != 0;
    }

    template <class A>
    U16 fieldStart() const {
        traced<A>(layout::Op::offset);
        layout::Position const at = layout::positions<S, A>[slot_];
        if constexpr (Kor::contractChecks) {
            layout::requireField<A>(layout::Op::offset, tableName, chipType_, variant_, 255, at);
        }
        return at.offset;
    }

private:
    template <class A>
    void traced(layout::Op op) const {
        bool const on = facility_->passed(8);
        if (on || Kor::coverageStream_) [[unlikely]] {
            layout::traceOperation(*facility_, on, op,
                                   {tableName, A::name, Kor::typeName<typename A::Type>()}, chipType_,
                                   variant_, 0);
        }
    }

    void tracedById(layout::Op op, U32 fieldId) const {
        bool const on = facility_->passed(op == layout::Op::setField64 ? 0 : 8);
        if (on || Kor::coverageStream_) [[unlikely]] {
            layout::traceOperation(*facility_, on, op, {tableName, "", Kor::typeName<Whole>()}, chipType_,
                                   variant_, fieldId);
        }
    }

    template <class A>
    void checked(layout::Op op, layout::Position at) const {
        if constexpr (Kor::contractChecks) {
            layout::requireField<A>(op, tableName, chipType_, variant_, len_, at);
        }
    }

    static layout::GeometryRow const& geometry(char const* operation, U32 chipType, U8 variant) {
        layout::GeometryRow const* const at = layout::geometryOf<S>(chipType, variant);
        if constexpr (Kor::contractChecks) {
            layout::requireGeometry(at != nullptr, tableName, operation, chipType, variant);
        }
        static constexpr layout::GeometryRow nothing{};
        return at ? *at : nothing;
    }

    void requireId(bool known, layout::Op op, U32 fieldId) const {
        Kor::require(known, [&] {
            return layout::breach(op, {tableName, "", ""}, chipType_, variant_,
                                  "no field has id " + std::to_string(fieldId));
        });
    }

    /// Calls `visit` with the field of that id; false when there is none.
    template <class Visit>
    bool visitField(U32 fieldId, Visit const& visit) const {
        return [&]<class... F>(layout::FieldList<F...>) {
            return ((F::id == fieldId && (visit.template operator()<F>(), true)) || ...);
        }(Fields{});
    }

    U8 slot_;
    Kor::TraceFacility* facility_;
};

template <class Row, class S>
U64 RowOf<Row, S>::getField64(U32 fieldId) const {
    tracedById(layout::Op::getField64, fieldId);
    U64 value = 0;
    bool known = false;
    visitField(fieldId, [&]<class A>() {
        if constexpr (!A::isRaw) {
            value = field<A>();
            known = true;
        }
    });
    requireId(known, layout::Op::getField64, fieldId);
    return value;
}

template <class Row, class S>
void RowOf<Row, S>::setField64(U32 fieldId, U64 value) {
    tracedById(layout::Op::setField64, fieldId);
    bool known = false;
    visitField(fieldId, [&]<class A>() {
        if constexpr (!A::isRaw) {
            fieldIs<A>(static_cast<typename A::Type>(value));
            known = true;
        }
    });
    requireId(known, layout::Op::setField64, fieldId);
}

template <class Row, class S>
U16 RowOf<Row, S>::fieldWidth(U32 fieldId) const {
    tracedById(layout::Op::fieldWidth, fieldId);
    U16 width = 0;
    bool const known = visitField(fieldId, [&]<class A>() { width = fieldLen<A>(); });
    requireId(known, layout::Op::fieldWidth, fieldId);
    return width;
}

template <class Row, class S>
U16 RowOf<Row, S>::fieldOffset(U32 fieldId) const {
    tracedById(layout::Op::fieldOffset, fieldId);
    U16 offset = 0;
    bool const known = visitField(fieldId, [&]<class A>() { offset = fieldStart<A>(); });
    requireId(known, layout::Op::fieldOffset, fieldId);
    return offset;
}

template <class Row, class S>
typename S::Whole RowOf<Row, S>::getAllFields() const {
    tracedById(layout::Op::getAllFields, 0);
    constexpr int words = layout::rowWords<S>;
    if constexpr (Kor::contractChecks) {
        layout::requireGeometry(slot_ != 0, tableName, "getAllFields", chipType_, variant_);
        layout::requireWholeRow(len_ >= 4 * words, tableName, chipType_, variant_, len_, words);
    }
    U32 row[words] = {};
    std::memcpy(row, data_, std::min<std::size_t>(len_, sizeof row));
    Whole result{};
    U32 masked[sizeof(Whole) / 4] = {};
    SiliconKit::maskBuf(row, words, masked, words, layout::masks<S>[slot_].data(), words);
    std::memcpy(&result, masked, sizeof result);
    return result;
}

} // namespace Hardware
