#pragma once

/// What may stand where a line of the shell is to be completed: commands, paths, keys, types, fields and
/// enumerators. The objects are the peer's, and so are the types, where it answers the request `schema`.
///
///     tool::Completer completer(commands);
///     completer.at("set lif.app", live).words;         // {"lif.appConfig["}

#include "console/Live.h"

#include <map>
#include <set>
#include <string>
#include <string_view>
#include <vector>

namespace tool {

struct Completion {
    /// Where the text that the words stand for begins.
    std::size_t from = 0;
    std::vector<std::string> words{};
};

/// Types by their names, with and without namespaces, from what printSchemaJson() prints.
class Vocabulary {
public:
    /// Those of this program.
    static Vocabulary const& own();
    /// Of a list of types.
    void add(Json const& types);
    bool isEmpty() const { return types_.empty(); }

    /// Those of a kind, or all.
    std::vector<std::string> types(std::string_view kind = "") const;
    /// Those of entities that are made from a name alone.
    std::vector<std::string> rootTypes() const;
    std::vector<std::string> enumerators(std::string const& type) const;
    /// The values that a text of that type may begin with: itself and those derived from it.
    std::vector<std::string> kinds(std::string const& type) const;
    std::vector<std::string> fields(std::string const& type) const;
    /// Of all entities.
    std::vector<std::string> attributes() const;
    /// The type of a field; empty for none.
    std::string fieldType(std::string const& type, std::string_view field) const;
    /// The end of a value's text, `AradLifAcMp vsi=1 ty`, where one of the type is wanted; without a type, of
    /// one that the text names.
    Completion complete(std::string const& type, std::string_view text) const;

private:
    Json const* find(std::string const& type) const;

    /// By short name.
    std::map<std::string, Json, std::less<>> types_;
};

/// The peer's types, as printSchemaJson() prints them. Refused where it tells none.
Json schemaOf(Live& live);

/// What a command takes, in the order of its words.
enum class Argument {
    path,
    condition,
    value,
    type,
    facility,
    request,
    entry,
    text,
    root,
    attribute,
    peer,
    counter,
    other
};
struct CommandWords {
    std::string name;
    std::vector<Argument> arguments;
    std::vector<std::string> options;
};

/// What a word of that name on a command line is, or the value of an option: all commands call what they take
/// alike.
Argument argumentNamed(std::string_view name);

class Completer {
public:
    explicit Completer(std::vector<CommandWords> commands) : commands_(std::move(commands)) {}

    /// For what stands before the cursor. Whatever cannot be had from the peer is left out.
    Completion at(std::string_view before, Live& live);
    /// For one argument; `before` is the word that stands before a value, its path. Refused where the peer
    /// has no answer.
    Completion word(Argument argument, std::string const& before, std::string_view text, Live& live);
    /// The types are asked for again: the peer may be another one.
    void forget() {
        vocabulary_ = {};
        isAsked_ = false;
    }

private:
    Vocabulary const& vocabulary(Live& live);
    Completion path(std::string_view text, Live& live);
    Completion value(std::string const& type, std::string_view text, Live& live);
    std::vector<std::string> facilities(Live& live);
    /// The keys of all requests at an object and below, up to some more than can be chosen from.
    void addRequests(Live& live, std::string const& object, std::set<std::string, std::less<>>& keys,
                     unsigned depth = 2);
    /// The names of peers, or of their counters and those of the process.
    std::vector<std::string> statsNames(Live& live, bool ofPeers);

    std::vector<CommandWords> commands_;
    /// Of the peer, if it tells any.
    Vocabulary vocabulary_;
    bool isAsked_ = false;
};

} // namespace tool
