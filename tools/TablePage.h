#pragma once

/// A page for a browser that draws every chip table on every chip, with a switch between chips and a
/// comparison of two. It stands alone: data, style and script are in it, and it asks nothing of the network.
///
/// What it shows is told behind the # of its address, so that a link leads to it:
/// `tables.html#table=LifTable&chip=8&variant=1&against=5`.

#include "tools/Listing.h"

#include <string>

namespace tool {

/// What the page draws: chips, and of each table its fields and, for each chip and variant, the geometry and
/// the lanes of fields (tools/Diagram.h), a field as [number, lowest bit, width].
Json tablePageData();

std::string tablePage();

} // namespace tool
