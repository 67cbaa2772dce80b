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

/// With more, nobody chooses: what comes next is typed.
constexpr std::size_t mostKeys = 1000;
/// What applications ask a driver for.
constexpr char const* requestTypes[]{"AradLifEntry", "OutAcKey", "EvecKey"};

/// Those that this program reads; none of a type that it does not know.
std::vector<Forms::Field> const& fieldsHere(std::string const& type) {
    static std::vector<Forms::Field> const none;
    Kor::KorType const* const here = Forms::findType(type);
    return here == nullptr || !here->isValue() ? none : Forms::fieldsOf(*here);
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

std::vector<std::string> Vocabulary::rootTypes() const {
    std::vector<std::string> names = types("entity");
    std::erase_if(names, [this](std::string const& name) {
        Kor::KorType const* const here = Forms::findType(name);
        if (here == nullptr || !here->abilities().hasFactory ||
            memberText(*find(name), "travels") != "true") {
            return true;
        }
        std::vector<Forms::Argument> const arguments = constructorArguments(*here);
        return arguments.size() != 1 || arguments[0].type != Kor::fwkTypeOf<Kor::Name>();
    });
    return names;
}

std::vector<std::string> Vocabulary::enumerators(std::string const& type) const {
    if (Kor::KorType const* const here = Kor::KorType::named(type);
        here != nullptr && Forms::isBoolType(*here)) {
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
    for (Forms::Field const& each : fieldsHere(type)) {
        if (each.name.find('.') != each.name.npos && each.isSettable()) { // of values within
            names.push_back(each.name);
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
    for (Forms::Field const& each : fieldsHere(type)) {
        if (each.name == field) {
            return std::string(each.type->typeName().view());
        }
    }
    return "";
}

Completion Vocabulary::complete(std::string const& type, std::string_view text) const {
    std::string wanted = type;
    std::size_t begin = 0;
    for (;;) { // a value in parentheses each time
        std::string_view const rest = text.substr(begin);
        Nesting nesting;
        std::size_t word = 0, open = rest.npos;
        for (std::size_t i = 0; i < rest.size(); ++i) {
            bool const isOutside = nesting.step(rest[i]);
            if (isOutside && (rest[i] == '(' || rest[i] == ')')) {
                open = rest[i] == '(' ? i : rest.npos;
            } else if (isOutside && rest[i] == ' ') {
                word = i + 1;
                open = rest.npos;
            }
        }
        std::string_view const first = rest.substr(0, rest.find(' '));
        bool const isBare = word == 0 || first.find('=') != first.npos; // the type is known without its name
        std::string const kind = isBare ? wanted : std::string(first);
        std::string_view const last = rest.substr(word, open == rest.npos ? open : open - word);
        std::size_t const sign = last.find('=');
        if (open != rest.npos) {
            if (sign + 1 != last.size()) {
                return {};
            }
            wanted = fieldType(kind, last.substr(0, sign));
            begin += open + 1;
            continue;
        }
        begin += word;
        if (sign != last.npos) {
            std::string const of = fieldType(kind, last.substr(0, sign));
            std::vector<std::string> values = enumerators(of);
            for (std::string const& each : values.empty() ? kinds(of) : std::vector<std::string>()) {
                values.push_back('(' + each);
            }
            return fitting(begin + sign + 1, last.substr(sign + 1), std::move(values));
        }
        std::vector<std::string> all = word == 0 ? enumerators(wanted) : std::vector<std::string>();
        if (word == 0 && all.empty()) {
            all = kinds(wanted);
        }
        if (std::ranges::none_of(all, [&](auto const& each) { return each.starts_with(last); })) {
            std::string const given = ' ' + std::string(rest.substr(0, word));
            for (std::string const& each : fields(kind)) { // which need no name in front
                if (given.find(' ' + each + '=') == given.npos) {
                    all.push_back(each + '=');
                }
            }
        }
        return fitting(begin, last, std::move(all));
    }
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
        if (argument == Argument::value || argument == Argument::request) { // as many words as there are
            std::string_view const ahead = given.at(argument == Argument::value ? 1 : 0);
            start = static_cast<std::size_t>(ahead.data() - before.data()) + ahead.size();
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
        Completion keys{0, {}};
        if (text.find(' ') != text.npos) {
            keys = vocabulary(live).complete("", text);
        }
        std::set<std::string, std::less<>> asked;
        for (std::string const& root : live.offers()) {
            addRequests(live, rootText(root), asked);
        }
        for (char const* const type : requestTypes) {
            std::ranges::move(keys.from == 0 ? vocabulary(live).kinds(type) : std::vector<std::string>(),
                              std::back_inserter(keys.words));
        }
        for (std::string const& each : asked) {
            if (asked.size() <= mostKeys && each.starts_with(text.substr(0, keys.from))) {
                keys.words.push_back(each.substr(keys.from));
            }
        }
        keys = fitting(keys.from, text.substr(keys.from), std::move(keys.words));
        return keys.words.empty() ? path(text, live) : keys;
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

void Completer::addRequests(Live& live, std::string const& object, std::set<std::string, std::less<>>& keys,
                            unsigned depth) {
    Box const box = valueAt(live.at(object));
    if (!box) {
        return;
    }
    for (auto const& each : box->type()->attributes()) {
        Kor::KorType const* const key = each->keyType();
        if (!each->shape().keyed || key == nullptr || keys.size() > mostKeys) {
            continue;
        }
        bool const isOfRequests = std::ranges::count(requestTypes, shortName(*key)) != 0;
        if (!isOfRequests && (!each->shape().child || depth == 0)) {
            continue;
        }
        for (Forms::Listed& member : list(live.at(object + '.' + std::string(each->name().view())))) {
            isOfRequests ? static_cast<void>(keys.insert(std::move(member.text)))
                         : addRequests(live, member.path, keys, depth - 1);
        }
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
        if (there.size() <= mostKeys) {
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
