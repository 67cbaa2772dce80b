#include "forms/Entries.h"

#include "forms/Text.h"
#include "values/LifType.h"

#include <algorithm>

namespace Kor::Forms {

namespace {

/// The value as one of the kind; null if it is none.
Box ofKind(Kind const& kind, GenericIf const& box) {
    Box value = box.type() == kind.type || (!kind.alias.empty() && kind.type->isA(box.type()))
                    ? asType(box.clone(), *kind.type)
                    : nullptr;
    for (Field const& field : value ? fieldsOf(*kind.type) : std::vector<Field>()) {
        if (!kind.alias.empty() && field.isStored && field.type->isEnumType() &&
            shortText(*field.get(*value)) != kind.alias) {
            return nullptr;
        }
    }
    return value;
}

std::vector<std::string> kindNames() {
    std::vector<std::string> names;
    for (Kind const& kind : allKinds()) {
        names.push_back(kind.name);
    }
    return names;
}

Words encoded(Kind const& kind, GenericIf const& value, Hardware::ChipType chip) {
    Words words(kind.table->words);
    kind.write(value, chip, reinterpret_cast<U8*>(words.data()));
    return words;
}

/// The bits of a field that change the row.
U64 bitsInRow(Kind const& kind, Box const& value, Field const& field, Hardware::ChipType chip,
              Words const& row) {
    U64 const number = numberOf(*field.get(*value));
    U64 kept = 0;
    for (U64 rest = number; rest != 0; rest &= rest - 1) {
        U64 const bit = rest & (~rest + 1);
        Box const without = value->clone();
        field.set(without, boxOfNumber(*field.type, number & ~bit));
        kept |= encoded(kind, *without, chip) != row ? bit : 0;
    }
    return kept;
}

/// A field that is neither a word of the image nor the image of a value within, whose unused bits mean
/// nothing.
bool isNamed(KorType const& type, Field const& field) {
    return !field.isStored && field.isSettable() && !field.name.ends_with(".value") &&
           std::ranges::none_of(fieldsOf(type),
                                [&](Field const& each) { return each.name.starts_with(field.name + '.'); });
}

} // namespace

Entry entryOf(GenericIf const& box) {
    for (Kind const& kind : allKinds()) {
        if (Box value = ofKind(kind, box)) {
            return {&kind, std::move(value)};
        }
    }
    std::string what = shortName(*box.type());
    for (Field const& field : fieldsOf(*box.type())) {
        if (field.name == "lifType") {
            what.append(" of type ").append(shortText(*field.get(box)));
        }
    }
    throw Refused(what + " has no row format; the kinds are " + enumerate(kindNames()));
}

Entry parseEntry(std::string_view text) {
    std::vector<std::string_view> const given = words(text);
    if (given.empty()) {
        throw Refused("an entry starts with its kind, such as 'AradLifAcMp vsi=100'");
    }
    bool const isKnown = given[0].starts_with('{') || isTextForm(text) || typeOfTag(given[0]) != nullptr ||
                         findType(given[0]) != nullptr;
    if (!isKnown) {
        for (Kor::Enumerator const& each : Kor::enumerators<Hardware::LoamTunnel::LifType>) {
            if (each.name == given[0]) {
                throw Refused("an entry of type " + std::string(given[0]) +
                              " has no row format; the kinds are " + enumerate(kindNames()));
            }
        }
        throw Refused("no kind of entry " + shown(given[0]) + suggest(given[0], kindNames()));
    }
    Box const box = readNamed(text);
    Entry entry = entryOf(*box);
    for (std::string_view const word : given) {
        std::string_view const name = word.substr(0, word.find('='));
        for (Field const& field :
             name.size() < word.size() ? fieldsOf(*entry.kind->type) : std::vector<Field>()) {
            if (field.name == name) {
                entry.given.push_back(field);
            }
        }
    }
    return entry;
}

Hardware::LoamTunnel::AradLifEntry lifOf(Entry const& entry) {
    if (std::optional<Hardware::LoamTunnel::AradLifEntry> const lif = entry.kind->lif(*entry.value)) {
        return *lif;
    }
    throw Refused("an entry of kind " + entry.kind->name + " is no logical interface");
}

EncodedRow encodeEntry(Entry const& entry, Hardware::ChipType chip) {
    Kind const& kind = *entry.kind;
    EncodedRow row{rowForm(kind.table->name, chip, kind.variant), {}, {}};
    for (Limit const& limit : kind.limits) {
        U64 const value = numberOf(*fieldNamed(*kind.type, limit.field).get(*entry.value));
        if (limit.chips.has(chip) && value > limit.most) {
            throw Refused(std::string(limit.field) + ": " + std::to_string(value) +
                          " is too large for the row of chip " + std::to_string(chip) + ", at most " +
                          std::to_string(limit.most));
        }
    }
    row.words = encoded(kind, *entry.value, chip);
    for (Field const& field : entry.given) {
        U64 const number = numberOf(*field.get(*entry.value));
        U64 const kept =
            isNamed(*kind.type, field) ? bitsInRow(kind, entry.value, field, chip, row.words) : number;
        // It may stand in the row all the same, where the kind of entry or the chip gives it.
        auto const hasIt = [&](FieldValue const& each) {
            return each.place.field->name == field.name && !each.isRaw() && each.number() == number;
        };
        if (kept != number && std::ranges::none_of(decodeRow(row.form, row.words).fields, hasIt)) {
            row.losses.push_back({field.name, number, kept});
        }
    }
    return row;
}

std::string lossText(Kind const& kind, EncodedRow::Loss const& loss,
                     std::vector<Hardware::ChipType> const& chips) {
    std::vector<std::string> numbers;
    numbers.reserve(chips.size());
    for (Hardware::ChipType const chip : chips) {
        numbers.push_back(std::to_string(chip));
    }
    std::string const on = (chips.size() == 1 ? "chip " : "chips ") + enumerate(numbers);
    std::string const what = loss.field + '=' + std::to_string(loss.given) + " of " + kind.name;
    return loss.kept == 0 ? what + " does not reach the row of " + on
                          : what + " loses bits on " + on + ": the row keeps " + std::to_string(loss.kept);
}

std::string rowLine(EncodedRow const& row) {
    return "chip=" + std::to_string(row.form.chip) + " table=" + std::string(row.form.table->name) +
           " variant=" + std::to_string(row.form.variant) + ' ' + wordsText(row.words);
}

} // namespace Kor::Forms
