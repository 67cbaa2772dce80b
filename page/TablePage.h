#pragma once

/// A page for a browser that draws every chip table on every chip, compares two chips, and takes a row apart
/// and puts it together again. It stands alone: data, style and script are in it, and it asks nothing of the
/// network.
///
///     page::printTablePage(std::cout, [](Hardware::TableInfo const& table, U32 chip, U32 variant) { ... });
///
/// What it shows is told behind the # of its address, so that a link leads to it:
/// `tables.html#table=LifTable&chip=8&variant=1&against=5&find=vsi&field=vsi&row=0x64,0x0,0x0,0x3`.
///
/// The page itself is tables.html with its style and its script, which the build puts into the program
/// (embed.cmake). What lives in this folder is the page and what it is given; it knows no command line.

#include "chip/TableInfo.h"

#include <functional>
#include <iosfwd>
#include <vector>

namespace page {

using Kor::U32;

/// The fields of a row in the lanes in which they are drawn: those of a lane share no bit.
using Lanes = std::vector<std::vector<Hardware::FieldPlace>>;
using LanesOf = std::function<Lanes(Hardware::TableInfo const& table, U32 chip, U32 variant)>;

/// Calls `lanesOf` once for each table, chip and variant that there is.
void printTablePage(std::ostream& out, LanesOf const& lanesOf);

} // namespace page
