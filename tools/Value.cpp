#include "tools/Commands.h"
#include "tools/Failure.h"

#include <map>
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
            for (std::string const& note : row.notes) {
                context.note(prefix + note);
            }
            context.out << rowLine(row) << '\n';
        } catch (Refused const& refused) {
            context.report(prefix + refused.what());
        }
    }
}

} // namespace

void value(Context& context, ValueOptions const& options) {
    static std::map<std::string, Box (*)(Kor::KorType const&, std::string_view)> const readers{
        {"text", &boxOfText}, {"json", &boxOfJson}, {"wire", &boxOfHex}};
    Kor::KorType const& type = valueTypeNamed(options.type);
    auto* const read = readers.at(options.from);
    std::vector<ChipType> chips;
    for (std::string const& chip : options.chips) {
        chips.push_back(chipNumber(chip));
    }
    auto const print = [&](std::string const& text, std::string const& where) {
        Box const box = read(type, text);
        if (options.to == "row") {
            printRows(context, *box, chips, where.empty() ? "" : where + ": ");
        } else if (options.to == "json") {
            context.out << dumped(jsonOf(*box)) << '\n';
        } else {
            context.out << (options.to == "wire" ? hexOf(*box) : Kor::plainText(textOf(*box))) << '\n';
        }
    };
    if (options.file.empty()) {
        print(join(options.words), "");
    } else {
        eachLine(context, options.file, print, true);
    }
}

} // namespace tool
