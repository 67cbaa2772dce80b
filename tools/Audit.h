#pragma once

/// What `audit` compares: the rows that a driver says should be there with those that are, as its request
/// `rows` tells them (docs/drivers.md) or as an image has them.
///
///     tool::ChipRows const rows = tool::chipRows([&](std::string const& next) { return live.ask("rows", next); });
///     for (auto const& [place, row] : rows.rows) {
///         for (tool::Finding const& each : tool::findingsIn(row)) { ... }
///     }
///
/// What is no such answer is Refused.

#include "console/Failure.h"
#include "console/Live.h"
#include "forms/Json.h"
#include "forms/Rows.h"

#include <functional>
#include <map>
#include <string>
#include <string_view>
#include <tuple>
#include <vector>

namespace tool {

/// One row, as it should be and as it is.
struct ChipRow {
    RowForm form;
    U32 array;
    U32 entry;
    /// Who has it: nobody, or "vtAppMpls 28672", with a comma between two.
    std::string who;
    Words wanted;
    Words actual;

    bool differs() const { return wanted != actual; }
    bool isSameAs(ChipRow const& other) const { return wanted == other.wanted && actual == other.actual; }
};

struct ChipRows {
    /// By table, array element and entry.
    using ByPlace = std::map<std::tuple<std::string, U32, U32>, ChipRow>;

    Hardware::ChipType chip;
    ByPlace rows;
    /// How many changes are not in the rows yet.
    U64 waiting = 0;
    /// How many requests have no place, and so no row, where the driver says so.
    U64 refused = 0;
};

/// A number of a driver's answer, at most that; Refused where it is none.
U64 numberAt(Json const& json, std::string_view name, U64 most = 0xffffffff);

/// Asks until the last answer has come. `ask` gets what stood in the answer before as "next", first nothing.
ChipRows chipRows(std::function<Json(std::string const& next)> const& ask);

/// What a process answers to a request of drivers; Refused with words for one that knows it not.
Json askDriver(Live& live, std::string_view verb, std::string_view argument);

/// One difference of a row.
struct Finding {
    /// "vsi[15:0]", "hole[98:97]" for bits that no field has, or "row" where nobody asks for it.
    std::string what;
    std::string wanted;
    std::string actual;
};
/// Nothing for rows that are equal.
std::vector<Finding> findingsIn(ChipRow const& row);

} // namespace tool
