#include "console/Command.h"
#include "tools/Commands.h"

#include <string>
#include <vector>

namespace tool {

namespace {

using Hardware::ChipType;
using Hardware::TableInfo;
using Hardware::layout::GeometryRow;

/// "0", "0-4" or "any".
std::string variantsText(TableInfo const& table, U32 first, U32 last) {
    return table.ignoresVariant ? "any"
           : first == last      ? std::to_string(first)
                                : std::to_string(first) + '-' + std::to_string(last);
}

/// Adds a line for each run of variants with one geometry.
void addTable(Listing& listing, TableInfo const& table, ChipType chip) {
    U32 const count = table.variants(chip);
    for (U32 first = 0; first < count;) {
        GeometryRow const& at = *table.geometry(chip, first);
        U32 last = first;
        while (last + 1 < count && table.geometry(chip, last + 1) == &at) {
            ++last;
        }
        listing.add({U32{chip}, table.name, variantsText(table, first, last), at.width, at.entries,
                     at.arrayElements, hex(at.base, 8), hex(at.blockBase, 2), U32{at.maxIdentifier} + 1});
        first = last + 1;
    }
}

/// A variant that has the geometry of all, where they agree.
RowForm formForAddress(RowOptions const& options) {
    RowOptions chosen = options;
    TableInfo const& table = tableNamed(options.tableName());
    ChipType const chip = chipNumber(options.chip);
    if (!options.variant) {
        chosen.variant = 0;
        for (U32 variant = 1; variant < table.variants(chip); ++variant) {
            if (table.geometry(chip, variant) != table.geometry(chip, 0)) {
                chosen.variant.reset(); // rowForm asks for one
            }
        }
    }
    return chosen.form();
}

struct TablesOptions {
    std::vector<std::string> chips;
    Output output;
};

void tables(Context& context, TablesOptions const& options) {
    Listing listing({"chip", "table", "variants", "words", "entries", "array", "base", "block", "blocks"});
    for (ChipType const chip : options.chips.empty() ? supportedChips() : chipNumbers(options.chips)) {
        for (TableInfo const& table : Hardware::tableInfos()) {
            addTable(listing, table, chip);
        }
    }
    listing.print(context.out, options.output);
}

struct AddressOptions {
    RowOptions row;
    std::vector<U64> entries;
    U32 array = 0;
    U32 identifier = 0;
    Output output;
};

void address(Context& context, AddressOptions const& options) {
    Listing listing({"chip", "table", "array", "identifier", "entry", "address", "block", "aux"});
    RowForm const form = formForAddress(options.row);
    for (U64 const entry : options.entries) {
        Address const at = addressOf(form, entry, options.array, options.identifier);
        listing.add({U32{form.chip}, form.table->name, options.array, options.identifier, entry,
                     hex(at.address, 8), hex(at.block, 2), hex(at.aux, 2)});
    }
    listing.print(context.out, options.output);
}

} // namespace

Command const tablesCommand = Row<TablesOptions>{
    .name = "tables",
    .does = "List the tables with their size and address",
    .takes =
        [](Takes& takes, TablesOptions& options) {
            takes.chips(options.chips, "Chip models (default: all)");
            takes.output(options.output, " (default: table)");
        },
    .run = tables,
    .more = "Words are the 32-bit words of a row; entries count the rows of one array element. A row's\n"
            "address is base + element x entries + entry, in one of so many blocks from the first on.\n\n"
            "  loamtunnel tables --chip 8",
};

Command const addrCommand = Row<AddressOptions>{
    .name = "addr",
    .does = "Give the SCHAN address of rows",
    .takes =
        [](Takes& takes, AddressOptions& options) {
            takes
                .numbers("entries", options.entries, "", "no row number",
                         "Row numbers within the array element")
                .required();
            takes.chip(options.row.chip).required();
            takes.row(options.row);
            takes.number("--array", options.array, "Array element (default: 0)");
            takes.number("--identifier", options.identifier,
                         "Which of the table's blocks, from 0 (default: 0)");
            takes.output(options.output, " (default: table)");
        },
    .run = address,
    .more = "  loamtunnel addr --chip 8 --array 1 5",
};

} // namespace tool
