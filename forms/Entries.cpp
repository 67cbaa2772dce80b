#include "forms/Entries.h"

#include "forms/Refused.h"
#include "values/LifType.h"

#include <algorithm>
#include <bit>
#include <cctype>
#include <optional>
#include <span>
#include <string>
#include <vector>

namespace Kor::Forms {

namespace {

U64 valueOf(Kind const& kind, AttributeInfo const& attribute, std::string_view text) {
    std::optional<U64> number = parseNumber(text);
    std::vector<std::string> known;
    for (Kor::Enumerator const& word : attribute.words) {
        if (word.name == text) {
            number = word.number;
        }
        known.emplace_back(word.name);
    }
    std::string const given = attribute.name + '=' + shown(text) + " of " + kind.name;
    if (!number && !text.empty() &&
        std::ranges::all_of(text, [](unsigned char c) { return std::isdigit(c); })) {
        number = std::numeric_limits<U64>::max(); // more than 64 bits
    }
    if (!number) {
        throw Refused(given + " is no number such as 20 or 0x14" +
                      (known.empty() ? "" : ", nor one of " + enumerate(known)));
    }
    if (*number > attribute.most) {
        throw Refused(given + " is too large: the field has " +
                      std::to_string(std::bit_width(attribute.most)) +
                      (attribute.most == 1 ? " bit" : " bits") + ", so at most " +
                      std::to_string(attribute.most) + " (" + hex(attribute.most, 1) + ')');
    }
    return *number;
}

std::size_t attributeNamed(Kind const& kind, std::string_view word) {
    std::vector<std::string> known;
    for (AttributeInfo const& each : kind.attributes) {
        if (each.name == word) {
            return known.size();
        }
        known.push_back(each.name);
    }
    if (word == "lifType") {
        throw Refused("lifType of " + kind.name + " follows from the kind and is not given");
    }
    throw Refused(kind.name + " has no field " + shown(word) + suggest(word, known));
}

} // namespace

Kind const& kindNamed(std::string_view word) {
    std::vector<std::string> known;
    for (Kind const& kind : allKinds()) {
        if (kind.isCalled(word)) {
            return kind;
        }
        known.push_back(kind.name);
    }
    for (Kor::Enumerator const& each : Kor::enumerators<Hardware::LoamTunnel::LifType>) {
        if (each.name == word) {
            throw Refused("an entry of type " + std::string(word) + " has no row format; the kinds are " +
                          enumerate(known));
        }
    }
    throw Refused("no kind of entry " + shown(word) + suggest(word, known));
}

Entry entryOf(Kor::GenericIf const& box) {
    std::vector<std::string> known;
    for (Kind const& kind : allKinds()) {
        if (auto draft = kind.draftOf(box)) {
            return {&kind, std::move(draft)};
        }
        known.push_back(kind.name);
    }
    std::string what(Kor::shortName(box.type()->typeName().view()));
    if (Json const json = jsonOf(box); json.is_object() && json.contains("lifType")) {
        what.append(" of type ").append(json["lifType"].get<std::string>());
    }
    throw Refused(what + " has no row format; the kinds are " + enumerate(known));
}

Entry parseEntry(std::string_view text) {
    if (isStructured(text)) {
        return entryOf(*boxOfStructured(text));
    }
    std::vector<std::string_view> const words = split(text);
    if (words.empty()) {
        throw Refused("an entry starts with its kind, such as 'AradLifAcMp vsi=100'");
    }
    Kind const& kind = kindNamed(words[0]);
    if (words.size() == 2 && hasBareText(*kind.type) && words[1].find('=') == words[1].npos) {
        return entryOf(*boxOfText(*kind.type, words[1]));
    }
    Entry entry{&kind, kind.draft()};
    std::vector<bool> given(kind.attributes.size());
    for (std::string_view const word : std::span(words).subspan(1)) {
        std::size_t const sign = word.find('=');
        if (sign == word.npos || sign == 0) {
            throw Refused("'" + shown(word) + "' is not of the form field=value, such as " +
                          kind.attributes.front().name + "=1");
        }
        std::size_t const attribute = attributeNamed(kind, word.substr(0, sign));
        if (given[attribute]) {
            throw Refused(kind.attributes[attribute].name + " is given twice");
        }
        given[attribute] = true;
        U64 const number = valueOf(kind, kind.attributes[attribute], word.substr(sign + 1));
        try {
            entry.draft->set(attribute, number);
        } catch (Kor::Exception const& refused) {
            throw Refused(shown(word) + " of " + kind.name + " is out of range: " + refused.what());
        }
    }
    return entry;
}

Hardware::LoamTunnel::AradLifEntry lifOf(Entry const& entry) {
    if (std::optional<Hardware::LoamTunnel::AradLifEntry> const lif = entry.draft->lif()) {
        return *lif;
    }
    throw Refused("an entry of kind " + entry.kind->name + " is no logical interface");
}

EncodedRow encodeEntry(Entry const& entry, Hardware::ChipType chip) {
    Kind const& kind = *entry.kind;
    EncodedRow row{rowForm(kind.table->name, chip, kind.variant), Words(kind.table->words), {}};
    for (Limit const& limit : kind.limits) {
        U64 const value = entry.draft->get(attributeNamed(kind, limit.attribute));
        if (!limit.chips.has(chip) || value <= limit.most) {
            continue;
        }
        std::string const given =
            std::string(limit.attribute) + '=' + std::to_string(value) + " of " + kind.name;
        if (limit.over == Limit::refused) {
            throw Refused(given + " does not fit the row of chip " + std::to_string(chip) + ": at most " +
                          std::to_string(limit.most));
        }
        row.notes.push_back(given + " loses bits on chip " + std::to_string(chip) + ": the row keeps " +
                            std::to_string(value & limit.most));
    }
    entry.draft->write(chip, reinterpret_cast<U8*>(row.words.data()));
    return row;
}

} // namespace Kor::Forms
