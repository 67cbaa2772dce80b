#include "console/Completion.h"

#include "forms/SchemaJson.h"
#include "forms/Text.h"

#include <algorithm>
#include <iterator>
#include <set>
#include <sstream>
#include <utility>

namespace tool {

namespace {

std::vector<std::string> namesOf(Json const* list) {
    std::vector<std::string> names;
    for (auto const& [none, each] : list == nullptr ? Json().members : list->members) {
        if (Json const* const name = each.find("name")) {
            names.push_back(name->text);
        }
    }
    return names;
}

std::string_view memberText(Json const& json, std::string_view name) {
    Json const* const member = json.find(name);
    return member == nullptr ? std::string_view() : std::string_view(member->text);
}

/// Those that go on as the text does, sorted, none twice.
Completion fitting(std::size_t from, std::string_view text, std::vector<std::string> words) {
    std::erase_if(words, [&](std::string const& word) { return !word.starts_with(text); });
    std::ranges::sort(words);
    words.erase(std::unique(words.begin(), words.end()), words.end());
    return {from, std::move(words)};
}

Completion shifted(Completion completion, std::size_t by) {
    completion.from += by;
    return completion;
}

/// Where the last word begins, as Forms::words() cuts them, and how many stand before it.
std::pair<std::size_t, std::size_t> lastWord(std::string_view text) {
    Nesting nesting;
    std::size_t begin = 0, count = 0;
    bool isWord = false;
    for (std::size_t i = 0; i < text.size(); ++i) {
        bool const isBlank = nesting.step(text[i]) && text[i] == ' ';
        count += isBlank && isWord ? 1 : 0;
        isWord = !isBlank;
        begin = isBlank ? i + 1 : begin;
    }
    return {begin, count};
}

} // namespace

Vocabulary const& Vocabulary::own() {
    static Vocabulary const all = [] {
        TextStream text;
        printSchemaJson(text, schemaTypes());
        Vocabulary vocabulary;
        vocabulary.add(parseJson(text.str()).at("types"));
        return vocabulary;
    }();
    return all;
}

void Vocabulary::add(Json const& types) {
    for (auto const& [none, type] : types.members) {
        if (Json const* const name = type.find("name")) {
            types_[shortTypeText(name->text)] = type;
        }
    }
}

Json const* Vocabulary::find(std::string const& type) const {
    auto const found = types_.find(shortTypeText(type));
    return found == types_.end() ? nullptr : &found->second;
}

std::vector<std::string> Vocabulary::types(std::string_view kind) const {
    std::vector<std::string> names;
    for (auto const& [name, type] : types_) {
        if (kind.empty() || memberText(type, "kind") == kind) {
            names.push_back(name);
        }
    }
    return names;
}

std::vector<std::string> Vocabulary::enumerators(std::string const& type) const {
    if (type == "bool") {
        return {"false", "true"};
    }
    Json const* const found = find(type);
    return found == nullptr ? std::vector<std::string>() : namesOf(found->find("enumerators"));
}

std::vector<std::string> Vocabulary::kinds(std::string const& type) const {
    std::vector<std::string> names;
    for (auto const& [name, each] : types_) {
        Json const* at = &each;
        for (int depth = 0; at != nullptr && depth < 16; ++depth) { // a peer's schema may go in circles
            if (memberText(each, "kind") == "value" &&
                shortTypeText(std::string(memberText(*at, "name"))) == shortTypeText(type)) {
                names.push_back(name);
                break;
            }
            at = find(std::string(memberText(*at, "base")));
        }
    }
    return names;
}

std::vector<std::string> Vocabulary::fields(std::string const& type) const {
    std::vector<std::string> names;
    Json const* const found = find(type);
    Json const* const attributes = found == nullptr ? nullptr : found->find("attributes");
    for (auto const& [none, each] : attributes == nullptr ? Json().members : attributes->members) {
        std::string_view const role = memberText(each, "role");
        if ((role == "field" || role == "view") && memberText(each, "settable") != "false") {
            names.emplace_back(memberText(each, "name"));
        }
    }
    // one that cannot be changed has those that it is made from
    Json const* const arguments =
        found == nullptr || !names.empty() ? nullptr : found->find("constructorArgs");
    for (auto const& [none, each] : arguments == nullptr ? Json().members : arguments->members) {
        if (!each.members.empty()) {
            names.push_back(each.members[0].second.text);
        }
    }
    return names;
}

std::vector<std::string> Vocabulary::attributes() const {
    std::vector<std::string> names;
    for (auto const& [name, type] : types_) {
        Json const* const all = memberText(type, "kind") == "entity" ? type.find("attributes") : nullptr;
        std::ranges::move(namesOf(all), std::back_inserter(names));
    }
    return names;
}

std::string Vocabulary::fieldType(std::string const& type, std::string_view field) const {
    Json const* const found = find(type);
    Json const* const attributes = found == nullptr ? nullptr : found->find("attributes");
    for (auto const& [none, each] : attributes == nullptr ? Json().members : attributes->members) {
        if (memberText(each, "name") == field) {
            return std::string(memberText(each, "type"));
        }
    }
    return "";
}

Completion Vocabulary::complete(std::string const& type, std::string_view text) const {
    std::size_t const blank = text.rfind(' ');
    if (blank == text.npos) {
        std::vector<std::string> all = enumerators(type);
        return fitting(0, text, all.empty() ? kinds(type) : std::move(all));
    }
    std::string const kind(text.substr(0, text.find(' ')));
    std::string_view const field = text.substr(blank + 1);
    if (std::size_t const sign = field.find('='); sign != field.npos) {
        return fitting(blank + 1 + sign + 1, field.substr(sign + 1),
                       enumerators(fieldType(kind, field.substr(0, sign))));
    }
    std::vector<std::string> all = fields(kind);
    for (std::string& each : all) {
        each += '=';
    }
    return fitting(blank + 1, field, std::move(all));
}

Completion Completer::value(std::string const& type, std::string_view text, Live& live) {
    return vocabulary(live).complete(type, text);
}

Argument argumentNamed(std::string_view name) {
    static std::map<std::string_view, Argument> const all{
        {"path", Argument::path},           {"paths", Argument::path},  {"condition", Argument::condition},
        {"value", Argument::value},         {"type", Argument::type},   {"facility", Argument::facility},
        {"what", Argument::request},        {"entry", Argument::entry}, {"kind", Argument::entry},
        {"text", Argument::text},           {"roots", Argument::root},  {"entity", Argument::path},
        {"attribute", Argument::attribute}, {"peer", Argument::peer},   {"counter", Argument::counter}};
    auto const found = all.find(name);
    return found == all.end() ? Argument::other : found->second;
}

Json schemaOf(Live& live) {
    constexpr int most = 1000; // of answers, if a peer's have no end
    Json schema = live.ask("schema", "");
    Json answer = schema;
    std::string last;
    for (int i = 0; i < most; ++i) {
        Json const* const after = answer.find("after");
        if (after == nullptr || after->text == last) {
            break;
        }
        last = after->text;
        answer = live.ask("schema", last);
        for (auto& [name, json] : schema.members) {
            if (name == "types") {
                std::ranges::copy(answer.at("types").members, std::back_inserter(json.members));
            }
        }
    }
    std::erase_if(schema.members, [](auto const& each) { return each.first == "after"; });
    return schema;
}

Vocabulary const& Completer::vocabulary(Live& live) {
    if (!std::exchange(isAsked_, true)) {
        try {
            vocabulary_.add(schemaOf(live).at("types"));
        } catch (NoConnection const&) {
            isAsked_ = false;
            throw;
        } catch (Refused const&) { // it answers no such request
            vocabulary_ = {};
        }
    }
    return vocabulary_.isEmpty() ? Vocabulary::own() : vocabulary_;
}

Completion Completer::at(std::string_view before, Live& live) {
    try {
        auto const [begin, count] = lastWord(before);
        std::string_view const last = before.substr(begin);
        if (count == 0) {
            std::vector<std::string> names;
            for (CommandWords const& each : commands_) {
                names.push_back(each.name);
            }
            return fitting(begin, last, std::move(names));
        }
        std::vector<std::string_view> const given = words(before.substr(0, begin));
        auto const command = std::ranges::find(commands_, given[0], &CommandWords::name);
        if (command == commands_.end()) {
            return {};
        }
        if (last.starts_with('-')) {
            return fitting(begin, last, command->options);
        }
        if (given.back().starts_with("--")) { // whose value it is, if it has one that is known
            if (Completion all = word(argumentNamed(given.back().substr(2)), "", last, live);
                !all.words.empty()) {
                return shifted(std::move(all), begin);
            }
        }
        // Which of its words it is: options are passed over, and their values with them as far as that shows.
        std::size_t number = 0;
        for (std::string_view const word : given) {
            number += word.starts_with('-') ? 0 : 1;
        }
        number = std::min(number - 1, command->arguments.size());
        Argument const argument = command->arguments.empty()
                                      ? Argument::other
                                      : command->arguments[std::min(number, command->arguments.size() - 1)];
        std::size_t start = begin;
        if (argument == Argument::value) { // as many words as there are
            start = static_cast<std::size_t>(given.at(1).data() - before.data()) + given[1].size();
            start = std::min(before.find_first_not_of(' ', start), before.size());
        }
        return shifted(
            word(argument, given.size() > 1 ? std::string(given[1]) : "", before.substr(start), live), start);
    } catch (Refused const&) { // no place, or no connection: there is nothing to say
        return {};
    }
}

Completion Completer::word(Argument argument, std::string const& before, std::string_view text, Live& live) {
    auto const valueAt = [&](std::string const& place, std::size_t from) {
        Kor::KorAttr const* const attribute = live.at(place).attribute;
        return attribute == nullptr ? Completion()
                                    : shifted(value(std::string(attribute->type()->typeName().view()),
                                                    text.substr(from), live),
                                              from);
    };
    switch (argument) {
    case Argument::request: { // a key of what applications ask for, or its path
        Completion keys;
        for (char const* const type : {"AradLifEntry", "OutAcKey", "EvecKey"}) {
            Completion const some = vocabulary(live).complete(type, text);
            keys.from = some.from;
            keys.words.insert(keys.words.end(), some.words.begin(), some.words.end());
        }
        return keys.words.empty() ? path(text, live)
                                  : fitting(keys.from, text.substr(keys.from), std::move(keys.words));
    }
    case Argument::path:
        return path(text, live);
    case Argument::condition: {
        Nesting nesting;
        for (std::size_t i = 0; i < text.size(); ++i) {
            if (nesting.step(text[i]) && text[i] == '=') {
                return valueAt(std::string(text.substr(0, i)), i + 1);
            }
        }
        return path(text, live);
    }
    case Argument::value:
        return valueAt(before, 0);
    case Argument::root:
        return text.find('=') == text.npos ? path(text, live) : Completion();
    case Argument::type:
        return fitting(0, text, vocabulary(live).types());
    case Argument::facility:
        return fitting(0, text, facilities(live));
    case Argument::attribute:
        return fitting(0, text, vocabulary(live).attributes());
    case Argument::peer:
    case Argument::counter:
        return fitting(0, text, statsNames(live, argument == Argument::peer));
    default:
        return {};
    }
}

std::vector<std::string> Completer::facilities(Live& live) {
    std::vector<std::string> names;
    Json const answer = live.ask("trace", "");
    for (auto const& [none, each] : answer.members) {
        names.push_back(each.at("facility").text);
    }
    return names;
}

std::vector<std::string> Completer::statsNames(Live& live, bool ofPeers) {
    std::vector<std::string> names;
    Json const answer = live.ask("stats", "");
    for (auto const& [none, peer] : answer.at("peers").members) {
        if (ofPeers) {
            names.push_back(peer.at("peer").text);
            continue;
        }
        for (auto const& [name, value] : peer.members) {
            names.push_back(name == "peer" ? "" : name);
        }
    }
    for (auto const& [name, value] : answer.members) {
        names.push_back(ofPeers || value.kind != Json::Kind::number ? "" : name);
    }
    std::erase(names, "");
    return names;
}

/// The part behind the last dot or bracket that is open at the end.
Completion Completer::path(std::string_view text, Live& live) {
    std::size_t dot = text.npos;
    std::vector<std::size_t> open;
    char quote = 0;
    for (std::size_t i = 0; i < text.size(); ++i) {
        char const c = text[i];
        if (quote != 0) {
            quote = c == quote ? '\0' : quote;
        } else if (c == '\'' || c == '"') {
            quote = c;
        } else if (c == '[') {
            open.push_back(i);
        } else if (c == ']' && !open.empty()) {
            open.pop_back();
        } else if (c == '.' && open.empty()) {
            dot = i;
        }
    }
    if (!open.empty()) {
        std::size_t const begin = open.front() + 1;
        Place const place = live.at(std::string(text.substr(0, begin - 1)));
        if (place.attribute == nullptr || place.attribute->keyType() == nullptr) {
            return {};
        }
        std::string_view const key = text.substr(begin);
        Completion all = value(std::string(place.attribute->keyType()->typeName().view()), key, live);
        all.from += begin;
        std::set<std::string, std::less<>> there;
        for (Forms::Listed& each : list(place)) {
            if (each.text.starts_with(key)) {
                there.insert(std::move(each.text));
            }
        }
        constexpr std::size_t most = 1000; // with more, nobody chooses: what comes next is typed
        if (there.size() <= most) {
            for (std::string const& each : there) {
                all.words.push_back(each.substr(all.from - begin));
            }
        }
        Completion result = fitting(all.from, text.substr(all.from), std::move(all.words));
        // what is a key as a whole closes the bracket
        std::vector<std::string> const choices =
            vocabulary(live).enumerators(std::string(place.attribute->keyType()->typeName().view()));
        for (std::string& each : result.words) {
            std::string const whole = std::string(key.substr(0, all.from - begin)) + each;
            if (there.contains(whole) || std::ranges::count(choices, whole) != 0) {
                each += ']';
            }
        }
        return result;
    }
    if (dot == text.npos) {
        std::vector<std::string> roots;
        for (std::string const& root : live.offers()) {
            roots.push_back(rootText(root));
        }
        return fitting(0, text, std::move(roots));
    }
    std::vector<std::string> names;
    for (Forms::Listed const& each : list(live.at(std::string(text.substr(0, dot))))) {
        std::size_t const end = each.text.find_first_of(":[(");
        names.push_back(each.text.substr(0, end) +
                        (end != each.text.npos && each.text[end] == '[' ? "[" : ""));
    }
    return fitting(dot + 1, text.substr(dot + 1), std::move(names));
}

} // namespace tool
