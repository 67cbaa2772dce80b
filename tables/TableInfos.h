#pragma once

/// Every chip table, described as data: see chip/TableInfo.h.
///
///     for (Hardware::TableInfo const& table : Hardware::tableInfos()) {
///         std::cout << table.name << '\n';
///     }

#include "chip/TableInfo.h"

#include <span>
#include <string_view>

namespace Hardware {

/// All tables, in the order of Hardware::AllTables. Any thread, allocates nothing.
KOR_EXPORT std::span<TableInfo const> tableInfos();

/// The table of that name, short ("LifTable") or full ("Hardware::LifTable"); null when there is none.
KOR_EXPORT TableInfo const* tableInfo(std::string_view name);

} // namespace Hardware
