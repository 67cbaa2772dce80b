#include "tools/Commands.h"
#include "tools/Failure.h"

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
    TableInfo const& table = tableNamed(options.table);
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

} // namespace

void tables(Context& context, TablesOptions const& options) {
    Listing listing({"chip", "table", "variants", "words", "entries", "array", "base", "block", "blocks"});
    std::vector<ChipType> chips;
    for (std::string const& chip : options.chips) {
        chips.push_back(chipNumber(chip));
    }
    for (ChipType const chip : chips.empty() ? supportedChips() : chips) {
        for (TableInfo const& table : Hardware::tableInfos()) {
            addTable(listing, table, chip);
        }
    }
    listing.print(context.out, options.output);
}

void address(Context& context, AddressOptions const& options) {
    Listing listing({"chip", "table", "array", "identifier", "entry", "address", "block", "aux"});
    RowForm const form = formForAddress(options.row);
    for (U32 const entry : options.entries) {
        Address const at = addressOf(form, entry, options.array, options.identifier);
        listing.add({U32{form.chip}, form.table->name, options.array, options.identifier, entry,
                     hex(at.address, 8), hex(at.block, 2), hex(at.aux, 2)});
    }
    listing.print(context.out, options.output);
}

} // namespace tool
