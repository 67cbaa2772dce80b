#include "forms/Rows.h"

#include "forms/Refused.h"
#include "platform/SiliconKit/AsicBase.h"
#include "reflect/Enumeration.h"

#include <algorithm>
#include <cstring>
#include <span>
#include <string>
#include <vector>

namespace Kor::Forms {

using Hardware::ChipType;
using Hardware::FieldPlace;
using Hardware::TableInfo;

namespace {

std::string whereText(RowForm const& form) {
    std::string const variant =
        form.table->variants(form.chip) > 1 ? " variant " + std::to_string(form.variant) : "";
    return std::string(form.table->name) + variant + " on chip " + std::to_string(form.chip);
}

U8* bytesOf(Words& words) {
    return reinterpret_cast<U8*>(words.data());
}

int byteCount(Words const& words) {
    return static_cast<int>(words.size() * sizeof(U32));
}

/// The set bits that no field owns, as runs.
std::vector<BitRange> unownedBits(RowForm const& form, Words const& words) {
    std::vector<BitRange> runs;
    std::span<U32 const> const mask = form.table->mask(form.chip, form.variant);
    for (U32 bit = 0; bit < form.table->words * 32u; ++bit) {
        if (((words[bit / 32] & ~mask[bit / 32]) >> (bit % 32) & 1) == 0) {
            continue;
        }
        if (!runs.empty() && runs.back().hi + 1 == bit) {
            runs.back().hi = bit;
        } else {
            runs.push_back({bit, bit});
        }
    }
    return runs;
}

} // namespace

std::vector<ChipType> supportedChips() {
    std::vector<ChipType> chips;
    for (U32 chip = 0; chip < Hardware::layout::chipBound; ++chip) {
        if (std::ranges::any_of(Hardware::tableInfos(),
                                [&](TableInfo const& table) { return table.variants(chip) != 0; })) {
            chips.push_back(static_cast<ChipType>(chip));
        }
    }
    return chips;
}

ChipType chipNumber(std::string_view text) {
    std::optional<U64> number = parseNumber(text);
    for (Kor::Enumerator const& each : Kor::enumerators<ChipType>) {
        if (each.name == text) {
            number = each.number;
        }
    }
    std::vector<std::string> known;
    for (ChipType const chip : supportedChips()) {
        if (number == U64{chip}) {
            return chip;
        }
        known.push_back(std::to_string(chip));
    }
    throw WrongUsage("no tables on a chip " + shown(text) + "; there are chips " + enumerate(known));
}

TableInfo const& tableNamed(std::string_view name) {
    if (TableInfo const* const table = Hardware::tableInfo(name)) {
        return *table;
    }
    std::vector<std::string> known;
    for (TableInfo const& table : Hardware::tableInfos()) {
        known.emplace_back(table.name);
    }
    throw WrongUsage("no table " + shown(name) + suggest(name, known));
}

RowForm rowForm(std::string_view table, ChipType chip, std::optional<U32> variant) {
    TableInfo const& info = tableNamed(table);
    U32 const count = info.variants(chip);
    std::string const where = std::string(info.name) + " on chip " + std::to_string(chip);
    if (count == 0) {
        throw WrongUsage("there is no " + where);
    }
    if (!variant && count > 1) {
        throw WrongUsage(where + " has variants 0 to " + std::to_string(count - 1) +
                         "; give one with --variant");
    }
    if (!info.has(chip, variant.value_or(0))) {
        throw WrongUsage(where + " has no variant " + std::to_string(*variant) + "; " +
                         (info.ignoresVariant ? "any from 0 to 255 is the same"
                          : count == 1        ? "0 is its only one"
                                              : "its variants are 0 to " + std::to_string(count - 1)));
    }
    return {&info, chip, static_cast<U8>(variant.value_or(0))};
}

Words parseWords(RowForm const& form, std::string_view text) {
    Words words;
    std::vector<std::string_view> const parts = split(text, ",");
    for (std::string_view const part : parts) {
        bool const prefixed = part.starts_with("0x") || part.starts_with("0X");
        std::optional<U64> const number = parseNumber(prefixed ? part : "0x" + std::string(part));
        if (!number || *number > 0xffffffff) {
            throw Refused("'" + shown(part) + "' is no 32-bit word in hexadecimal, such as 0x1f or 0000001f");
        }
        words.push_back(static_cast<U32>(*number));
    }
    if (words.size() != form.table->words) {
        throw Refused("a row of " + std::string(form.table->name) + " has " +
                      std::to_string(form.table->words) + " words of 32 bits, word 0 first, not " +
                      std::to_string(words.size()));
    }
    return words;
}

std::string wordsText(Words const& words) {
    std::vector<std::string> all;
    for (U32 const word : words) {
        all.push_back(hex(word, 8));
    }
    return join(all);
}

U64 FieldValue::number() const {
    U64 value;
    std::memcpy(&value, bytes.data(), sizeof value);
    return value;
}

bool FieldValue::isZero() const {
    return std::ranges::all_of(bytes, [](U8 byte) { return byte == 0; });
}

std::string FieldValue::text() const {
    if (!isRaw()) {
        return std::to_string(number());
    }
    std::string text = "0x";
    for (int i = (place.at.width + 7) / 8; i-- > 0;) {
        text += hex(bytes[static_cast<std::size_t>(i)], 2).substr(2);
    }
    return text;
}

DecodedRow decodeRow(RowForm const& form, Words const& words) {
    DecodedRow row;
    Words copy = words;
    for (FieldPlace const& place : form.fields()) {
        FieldValue value{place, {}};
        SiliconKit::getBuf(bytesOf(copy), byteCount(copy), value.bytes.data(),
                           static_cast<int>(value.bytes.size()), place.at.width, place.at.offset);
        row.fields.push_back(value);
    }
    row.unowned = unownedBits(form, words);
    return row;
}

Words composeRow(RowForm const& form, DecodedRow const& row) {
    Words words(form.table->words);
    for (FieldValue const& value : row.fields) {
        SiliconKit::setBuf(bytesOf(words), byteCount(words), value.bytes.data(),
                           static_cast<int>(value.bytes.size()), value.place.at.width, value.place.at.offset);
    }
    return words;
}

RowDifference compareRows(RowForm const& form, Words const& expected, Words const& actual) {
    RowDifference difference;
    DecodedRow const left = decodeRow(form, expected);
    DecodedRow const right = decodeRow(form, actual);
    for (std::size_t i = 0; i < left.fields.size(); ++i) {
        if (left.fields[i].bytes != right.fields[i].bytes) {
            difference.fields.push_back({left.fields[i], right.fields[i]});
        }
    }
    Words changed(form.table->words);
    for (std::size_t i = 0; i < changed.size(); ++i) {
        changed[i] = expected[i] ^ actual[i];
    }
    difference.holes = unownedBits(form, changed);
    return difference;
}

std::string placeText(FieldPlace const& place) {
    return std::string(place.field->name) + '[' + std::to_string(place.hi()) + ':' +
           std::to_string(place.lo()) + ']';
}

std::string rangesText(std::vector<BitRange> const& ranges) {
    std::vector<std::string> all;
    for (BitRange const& each : ranges) {
        all.push_back(std::to_string(each.hi));
        if (each.hi != each.lo) {
            all.back() += ':' + std::to_string(each.lo);
        }
    }
    return all.empty() ? "none" : join(all, ", ");
}

Address addressOf(RowForm const& form, U64 entry, U64 arrayIndex, U64 identifier) {
    Hardware::layout::GeometryRow const& at = form.geometry();
    auto const inRange = [&](std::string_view what, U64 number, U64 count) {
        if (number >= count) {
            throw Refused("no " + std::string(what) + ' ' + std::to_string(number) + " in " +
                          whereText(form) + "; there " +
                          (count == 1 ? "is 0 alone" : "are 0 to " + std::to_string(count - 1)));
        }
    };
    inRange("entry", entry, at.entries);
    inRange("array element", arrayIndex, at.arrayElements);
    inRange("identifier", identifier, U64{at.maxIdentifier} + 1);
    Address result{};
    if (!form.table->getSchanAddress(form.chip, form.variant, result.address, result.aux, result.block,
                                     static_cast<U16>(identifier), static_cast<U32>(entry),
                                     static_cast<U16>(arrayIndex))) {
        throw Refused(whereText(form) + " has no address");
    }
    return result;
}

} // namespace Kor::Forms
