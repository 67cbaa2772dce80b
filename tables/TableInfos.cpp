#include "tables/TableInfos.h"

#include "tables/LoamTunnelMetaInfo.h"

namespace Hardware {

namespace {

template <class List>
struct Infos;

template <class... Row>
struct Infos<TableList<Row...>> {
    static constexpr TableInfo all[] = {tableInfoOf<Row>...};
};

} // namespace

std::span<TableInfo const> tableInfos() {
    return Infos<AllTables>::all;
}

TableInfo const* tableInfo(std::string_view name) {
    for (TableInfo const& table : tableInfos()) {
        if (table.name == name || table.fullName == name) {
            return &table;
        }
    }
    return nullptr;
}

} // namespace Hardware
