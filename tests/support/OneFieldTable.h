#pragma once

/// A table of one word with a U8 field `action` at Offset:Width and `parity` in bit 30, for the files that
/// must not compile.

#include "chip/Row.h"
#include "tables/FieldNames.h"

#include <span>

template <unsigned Offset, unsigned Width, class... More>
struct OneFieldSheet {
    using Whole = Kor::U32;
    using Fields =
        Hardware::layout::FieldList<Hardware::layout::Field<0, Kor::name::action, Kor::U8>, More...>;

    static constexpr Hardware::layout::GeometryRow geometry[] = {
        {Hardware::layout::allChips, Hardware::layout::anyVariant, 1, 1, 1, 0, 0, 0}};
    static constexpr Hardware::layout::SheetRow rows[] = {{"action", {Offset, Width}}, {"parity", {30, 1}}};
    static constexpr Hardware::layout::Sheet sheets[] = {{Hardware::layout::anyVariant,
                                                          {Hardware::layout::allChips},
                                                          std::span(rows, sizeof...(More) == 0 ? 1 : 2)}};
};

template <unsigned Offset, unsigned Width, class... More>
class OneFieldTable final
    : public Hardware::RowOf<OneFieldTable<Offset, Width, More...>, OneFieldSheet<Offset, Width, More...>> {
public:
    using Hardware::RowOf<OneFieldTable, OneFieldSheet<Offset, Width, More...>>::RowOf;
};
