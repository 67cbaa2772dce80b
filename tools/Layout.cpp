#include "console/Command.h"
#include "console/RowLine.h"
#include "page/TablePage.h"
#include "tools/Commands.h"
#include "tools/Diagram.h"

#include <algorithm>
#include <ostream>
#include <string>

namespace tool {

namespace {

using Hardware::ChipType;
using Hardware::FieldInfo;
using Hardware::FieldPlace;
using Hardware::TableInfo;
using Hardware::layout::Position;

struct LayoutOptions {
    RowOptions row;
    std::vector<std::string> diff;
    bool svg = false;
    bool wavedrom = false;
    bool html = false;
    /// Of all tables and chips, as far as `row` names none.
    bool all = false;
    Output output;
};

Cell rangeCell(FieldInfo const& field, Position at) {
    if (at.width == 0) {
        return {};
    }
    FieldPlace const place{&field, at};
    return std::to_string(place.hi()) + ':' + std::to_string(place.lo());
}

/// What became of a field; empty when nothing.
std::string changeText(Position from, Position to) {
    if (from.width == 0 || to.width == 0) {
        return from.width == to.width ? "" : from.width == 0 ? "appeared" : "gone";
    }
    std::string const moved = from.offset == to.offset ? "" : "moved";
    std::string const size = from.width == to.width ? "" : from.width < to.width ? "grown" : "shrunk";
    return moved + (moved.empty() || size.empty() ? "" : ", ") + size;
}

void diff(Context& context, LayoutOptions const& options) {
    ChipType const from = chipNumber(options.diff[0]);
    ChipType const to = chipNumber(options.diff[1]);
    TableInfo const& table = tableNamed(options.row.tableName());
    U32 first = 0;
    U32 bound = std::max(table.variants(from), table.variants(to));
    if (options.row.variant) {
        first = *options.row.variant;
        bound = first + 1;
        rowForm(table.name, table.has(from, first) ? from : to, first); // refuses what neither has
    }
    Listing listing({"table", "variant", "field", "change", "chip " + std::to_string(from),
                     "chip " + std::to_string(to)});
    for (U32 variant = first; variant < bound; ++variant) {
        for (FieldInfo const& field : table.fields) {
            Position const before = table.position(field, from, variant);
            Position const after = table.position(field, to, variant);
            std::string const change = changeText(before, after);
            if (!change.empty()) {
                listing.add({table.name, table.ignoresVariant ? Cell("any") : Cell(variant), field.name,
                             change, rangeCell(field, before), rangeCell(field, after)});
            }
        }
    }
    listing.print(context.out, options.output);
}

/// A row for each field of each row that fits what is given of it.
void all(Context& context, LayoutOptions const& options) {
    RowOptions const& given = options.row;
    std::vector<ChipType> const chips =
        given.chip.empty() ? supportedChips() : std::vector{chipNumber(given.chip)};
    TableInfo const* const only = given.table ? &tableNamed(*given.table) : nullptr;
    RowPrinter printer(context.out, {"chip", "table", "variant", "field", "id", "type", "hi", "lo", "width"},
                       options.output);
    bool isAny = false;
    for (ChipType const chip : chips) {
        for (TableInfo const& table : Hardware::tableInfos()) {
            for (U32 variant = 0; variant < table.variants(chip); ++variant) {
                if ((only != nullptr && only != &table) || (given.variant && *given.variant != variant) ||
                    !table.has(chip, variant)) {
                    continue;
                }
                isAny = true;
                for (FieldPlace const& place : table.row(chip, static_cast<U8>(variant))) {
                    printer.add({U32{chip}, table.name, table.ignoresVariant ? Cell("any") : Cell(variant),
                                 place.field->name, place.field->id, place.field->type, place.hi(),
                                 place.lo(), U32{place.at.width}});
                }
            }
        }
    }
    if (!isAny) {
        throw WrongUsage(
            "no row has that table, chip and variant; loamtunnel tables lists those that there are");
    }
    printer.end();
}

void layout(Context& context, LayoutOptions const& options) {
    if ((options.svg || options.wavedrom || options.html) && options.output.format != Format::text) {
        throw WrongUsage("--svg, --wavedrom and --html each have a form of their own, without --format");
    }
    if (options.all && (options.svg || options.wavedrom || options.html || !options.diff.empty())) {
        throw WrongUsage("--all lists fields; it goes with no --svg, --wavedrom, --html or --diff");
    }
    if (options.row.chip.empty() && options.diff.empty() && !options.html && !options.all) {
        throw WrongUsage("layout needs --chip CHIP, --diff CHIP CHIP, --all or --html");
    }
    if (options.html) {
        if (options.row.table || options.row.variant) {
            throw WrongUsage("--html is the page of all tables; it goes with no --table or --variant");
        }
        page::printTablePage(context.out, [](TableInfo const& table, U32 chip, U32 variant) {
            return Diagram(rowForm(table.name, static_cast<ChipType>(chip), variant)).lanes();
        });
        return;
    }
    if (!options.diff.empty()) {
        return diff(context, options);
    }
    if (options.all) {
        return all(context, options);
    }
    RowForm const form = options.row.form();
    Diagram const diagram(form);
    if (options.svg) {
        context.out << diagram.svg();
    } else if (options.wavedrom) {
        diagram.wavedrom(context.out);
    } else if (options.output.format == Format::text) {
        if (options.output.headings) {
            context.out << bold(diagram.title(), options.output.colour) << '\n';
        }
        context.out << diagram.text();
    } else {
        Listing listing({"field", "id", "type", "hi", "lo", "width"});
        for (FieldPlace const& place : form.fields()) {
            listing.add({place.field->name, place.field->id, place.field->type, place.hi(), place.lo(),
                         U32{place.at.width}});
        }
        listing.print(context.out, options.output);
    }
}

} // namespace

Command const layoutCommand = Row<LayoutOptions>{
    .name = "layout",
    .does = "Draw the bits of a row, or compare two chips",
    .takes =
        [](Takes& takes, LayoutOptions& options) {
            Option const chip = takes.chip(options.row.chip);
            takes.row(options.row);
            Option const svg = takes.flag("--svg", options.svg, "Draw as SVG");
            Option const wavedrom =
                takes.flag("--wavedrom", options.wavedrom, "Print as JSON for WaveDrom's bit fields")
                    .excludes({svg});
            takes.flag("--all", options.all,
                       "List the fields of all tables on all chips in all variants, or of those that are "
                       "given");
            Option const html = takes
                                    .flag("--html", options.html,
                                          "Print a page for a browser that draws all tables on all chips")
                                    .excludes({chip, svg, wavedrom});
            takes
                .option("--diff", options.diff, "CHIP CHIP",
                        "Compare two chips: fields moved, grown, shrunk, appeared, gone; in all variants, "
                        "unless one\n"
                        "is given")
                .expected(2, 2)
                .excludes({chip, svg, wavedrom, html});
            takes.output(options.output, " the fields, without a diagram");
        },
    .run = layout,
    .more = "  loamtunnel layout --chip 8 --variant 4\n"
            "  loamtunnel layout --table EvecTable --chip 8 --svg >evec.svg\n"
            "  loamtunnel layout --table LifTable --diff 5 8\n"
            "  loamtunnel layout --all --json >layouts.json\n"
            "  loamtunnel layout --html >tables.html",
};

} // namespace tool
