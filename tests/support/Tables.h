#pragma once

/// Walks over all chip tables, their fields, chips and variants, so that a rule of the row pattern is tested
/// once and runs over every table.

#include "tables/LoamTunnelMetaInfo.h"

#include <string>

namespace support {

using Hardware::ChipType;
using Kor::U16;
using Kor::U32;
using Kor::U64;
using Kor::U8;

/// Calls `visit.template operator()<Row>()` for each table.
template <class Visit>
void eachTable(Visit const& visit) {
    [&]<class... Row>(Hardware::TableList<Row...>) {
        (visit.template operator()<Row>(), ...);
    }(Hardware::AllTables{});
}

/// Calls `visit.template operator()<F>()` for each field of the table.
template <class Row, class Visit>
void eachField(Visit const& visit) {
    [&]<class... F>(Hardware::layout::FieldList<F...>) {
        (visit.template operator()<F>(), ...);
    }(typename Row::Fields{});
}

/// Calls `visit(chip, variant)` for each pair that the table has.
template <class Row, class Visit>
void eachLayout(Visit const& visit) {
    for (U32 chip = 0; chip < 16; ++chip) {
        for (U32 variant = 0; variant < 6; ++variant) {
            U32 address;
            U8 aux, block;
            if (Row::getSchanAddress(chip, static_cast<U8>(variant), address, aux, block, 0, 0, 0)) {
                visit(static_cast<ChipType>(chip), static_cast<U8>(variant));
            }
        }
    }
}

inline std::string where(std::string_view table, std::string_view field, U32 chip, U32 variant) {
    return std::string(table) + ' ' + std::string(field) + " chip " + std::to_string(chip) + " variant " +
           std::to_string(variant);
}

} // namespace support
