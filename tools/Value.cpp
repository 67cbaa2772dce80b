#include "tools/Commands.h"
#include "tools/Failure.h"

#include <ostream>
#include <string>
#include <vector>

namespace tool {

namespace {

using Hardware::ChipType;

void printRows(Context& context, Kor::GenericIf const& box, std::vector<ChipType> const& chips,
               std::string const& prefix) {
    Entry const entry = entryOf(box);
    for (ChipType const chip : chips) {
        try {
            EncodedRow const row = encodeEntry(entry, chip);
            context.out << rowLine(row) << '\n';
        } catch (Broken const&) {
            throw;
        } catch (Refused const& refused) {
            context.report(prefix + refused.what());
        }
    }
}

} // namespace

void value(Context& context, ValueOptions const& options) {
    Kor::KorType const& type = valueTypeNamed(options.type);
    Form const from = formNamed(options.from);
    std::vector<ChipType> chips;
    for (std::string const& chip : options.chips) {
        chips.push_back(chipNumber(chip));
    }
    auto const print = [&](std::string const& text, std::string const& where) {
        Box const box = read(from, type, text);
        if (options.to == "row") {
            printRows(context, *box, chips, where.empty() ? "" : where + ": ");
        } else {
            context.out << written(formNamed(options.to), box) << '\n';
        }
    };
    if (options.file.empty()) {
        print(join(options.words), "");
    } else {
        eachLine(context, options.file, print, true);
    }
}

} // namespace tool
