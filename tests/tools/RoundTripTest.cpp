/// What the program prints of a live tree, each command that takes such a thing reads back: paths and values
/// of every type, by lot, in both forms and as JSON.

#include "forms/Kind.h"
#include "forms/Values.h"
#include "reflect/type/AttrLogType.h"
#include "reflect/type/KorType.h"
#include "support/AnyValue.h"
#include "tests/tools/InFolder.h"

#include <algorithm>
#include <map>
#include <nlohmann/json.hpp>
#include <set>
#include <string>
#include <utility>
#include <vector>

namespace {

using Kor::KorType;
using nlohmann::json;
using support::linesOf;
using support::loamtunnel;
using support::Outcome;

class RoundTrip : public support::InFolder {
protected:
    struct Server {
        std::string address;
        tool::Child process;
    };

    /// Serves all types that are made of nothing, each as a root.
    Server serve(std::string const& name) {
        std::vector<std::string> words{"serve", "--writable", "--socket", file(name)};
        words.insert(words.end(), roots_.begin(), roots_.end());
        return {file(name), serving(words, name + ".log")};
    }

    static Outcome at(Server const& server, std::string const& command, std::vector<std::string> words,
                      std::string const& input = "") {
        words.insert(words.begin(), {command, "--socket", server.address});
        if (command != "run") {
            words.insert(words.end(), {"--timeout", "20000"});
        }
        return loamtunnel(words, input);
    }
    static json rowsOf(Outcome const& outcome) {
        EXPECT_EQ(outcome.status, 0) << outcome.err;
        EXPECT_EQ(outcome.err, "");
        return json::parse(outcome.out);
    }
    static json tree(Server const& server) { return rowsOf(at(server, "tree", {"--json"})); }

    static bool isMadeByItself(KorType const& type) {
        return loamtunnel({"run", "-"}, "new " + std::string(type.typeName().view()) + " x\n").status == 0;
    }

    void write(std::string const& path, std::string const& value = "") {
        lines_ += path + (value.empty() ? "" : ' ' + value) + '\n';
        written_.insert(path);
    }

    /// Lines for `set --file` that fill an entity.
    void fill(KorType const& type, std::string const& path) {
        for (auto const& attr : type.attributes()) {
            Kor::Shape const& shape = attr->shape();
            // A queue of which only what is there can be set.
            if (attr->isOfEveryEntity() || shape.isOperation() || shape.reference ||
                attr->name() == "freeMirrorSession") {
                continue;
            }
            std::string const at = path + '.' + std::string(attr->name().view());
            if (!shape.keyed) {
                if (shape.settable && shape.role == Kor::Role::singleton) {
                    write(at, Kor::Forms::shortText(*support::randomBox(*attr->type(), random_)));
                }
                continue;
            }
            for (int i = 0; i < 3; ++i) {
                if (shape.child) {
                    std::string const member = at + '[' + randomKey(*attr->keyType()) + ']';
                    write(member);
                    fill(*attr->type(), member);
                    continue;
                }
                support::Box const value = support::randomBox(*attr->type(), random_);
                std::string const key = shape.keyInside ? Kor::Forms::keyText(*keyIn(*value, *attr))
                                                        : randomKey(*attr->keyType());
                write(at + '[' + key + ']', Kor::Forms::shortText(*value));
            }
        }
    }
    static support::Box keyIn(Kor::GenericIf& value, Kor::KorAttr const& map) {
        Kor::KorAttr const* const key = map.type()->typeAttr()->attr(map.keyAttributeName());
        return value.attributeOp({key->attributeId(), Kor::GenericIf::AttributeOp::get}, nullptr, nullptr);
    }
    std::string randomKey(KorType const& type) {
        return Kor::Forms::keyText(*support::randomBox(type, random_));
    }

    /// Each record of a value is at a path that `get` knows, and says what is there.
    void holdsTheState(json const& records, Server const& server) {
        std::string gets;
        std::vector<json> shown;
        for (json const& record : records) {
            if (record["record"] == "set" || record["record"] == "child") {
                gets += "get " + std::string(record["entity"]) + '.' + std::string(record["attribute"]);
                gets += record["key"].is_null() ? "\n" : '[' + std::string(record["key"]) + "]\n";
                shown.push_back(record);
            }
        }
        Outcome const outcome = at(server, "run", {"--json", "-"}, gets);
        EXPECT_EQ(outcome.err, "");
        std::vector<std::string> const lines = linesOf(outcome.out);
        ASSERT_EQ(lines.size(), shown.size());
        std::set<std::string> recorded;
        for (std::size_t i = 0; i < lines.size(); ++i) {
            json const got = json::parse(lines[i]);
            recorded.insert(got["path"]);
            if (shown[i]["record"] == "child") {
                EXPECT_TRUE(std::string(shown[i]["value"]).ends_with(std::string(got["type"]))) << shown[i];
            } else {
                EXPECT_EQ(shown[i]["value"], got["value"]) << shown[i];
            }
        }
        for (std::string const& path : written_) {
            EXPECT_TRUE(recorded.contains(path) || path.find('.') == path.npos) << path;
        }
    }

    support::Random random_;
    std::vector<std::string> roots_;
    std::string lines_;
    std::set<std::string> written_;
};

TEST_F(RoundTrip, WhatIsPrintedOfEveryTypeIsRead) {
    for (KorType const* type : KorType::all()) {
        if (type->isEntity() && Kor::AttrLogType::named(type->typeName().view()) != nullptr &&
            isMadeByItself(*type)) {
            std::string const root = "r" + std::to_string(roots_.size());
            roots_.push_back(root + '=' + std::string(type->typeName().view()));
            fill(*type, root);
        }
    }
    ASSERT_GT(roots_.size(), 15u);
    Server const first = serve("first");
    Outcome const filled = at(first, "set", {"--file", "-"}, lines_);
    ASSERT_EQ(filled.err, "");
    ASSERT_EQ(filled.status, 0);
    json const meant = tree(first);
    std::set<std::string> there;
    for (json const& row : meant) {
        there.insert(row["path"]);
    }
    for (std::string const& path : written_) { // a path is printed as it is typed
        EXPECT_TRUE(there.contains(path)) << path;
    }

    // A monitor begins with the lines of the tree.
    json heard = json::array();
    for (std::string const& line : linesOf(at(first, "monitor", {"--json", "--for", "1"}).out)) {
        json const event = json::parse(line);
        heard.push_back({{"path", event["path"]}, {"type", event["type"]}, {"value", event["value"]}});
    }
    json inOrder = meant; // a monitor shows each root as it comes
    std::sort(heard.begin(), heard.end());
    std::sort(inOrder.begin(), inOrder.end());
    EXPECT_EQ(heard, inOrder);

    // A recording begins with what travels of it.
    ASSERT_EQ(loamtunnel({"log", "record", "--once", "--socket", first.address, file("log")}).status, 0);
    for (std::string const form : {"short", "text"}) {
        SCOPED_TRACE(form);
        holdsTheState(rowsOf(loamtunnel({"log", "show", file("log"), "--json", "--form", form})), first);
    }

    for (std::string const form : {"short", "text"}) {
        SCOPED_TRACE(form);
        std::vector<std::string> places;
        std::string gets;
        for (json const& row : meant) {
            if (!row["value"].is_null()) {
                places.push_back(row["path"]);
                gets += "get " + places.back() + '\n';
            }
        }
        Outcome const got = at(first, "run", {"--form", form, "-"}, gets);
        EXPECT_EQ(got.err, "");
        std::vector<std::string> const values = linesOf(got.out);
        ASSERT_EQ(values.size(), places.size());
        std::map<std::string, std::string> printed;
        for (std::size_t i = 0; i < places.size(); ++i) {
            printed[places[i]] = values[i];
        }

        std::string sets;
        std::map<std::string, std::pair<std::string, std::string>> ofType;
        for (json const& row : meant) {
            std::string const path = row["path"];
            std::string const value = row["value"].is_null() ? "" : ' ' + printed[path];
            if (written_.contains(path)) {
                sets += path + value + '\n';
            }
            if (!value.empty()) {
                auto& [given, asJson] = ofType[row["type"]];
                given += value.substr(1) + '\n';
                asJson += row["value"].dump() + '\n';
            }
        }
        Server const second = serve("second-" + form);
        Outcome const set = at(second, "set", {"--file", "-"}, sets);
        EXPECT_EQ(set.err, "");
        EXPECT_EQ(tree(second), meant);

        for (auto const& [type, given] : ofType) {
            SCOPED_TRACE(type);
            // Both ways: the value of each line as the tree's JSON, and that as the line.
            Outcome const text = loamtunnel({"value", type, "--file", "-", "--to", form}, given.first);
            EXPECT_EQ(text.err, "");
            EXPECT_EQ(text.out, given.first);
            Outcome const back =
                loamtunnel({"value", type, "--file", "-", "--from", "json", "--to", form}, given.second);
            EXPECT_EQ(back.err, "");
            EXPECT_EQ(back.out, given.first);
        }

        // Some by lot, one by one, as a user's shell hands them over.
        for (int i = 0; i < 20; ++i) {
            std::string const& path = places[random_.below(static_cast<Kor::U32>(places.size()))];
            EXPECT_EQ(at(first, "get", {"--form", form, path}).out, printed[path] + '\n') << path;
            Outcome const wait = at(first, "wait", {path + '=' + printed[path]});
            EXPECT_EQ(wait.status, 0) << path << ' ' << printed[path] << ' ' << wait.err;
        }
    }

    std::string ofJson;
    for (json const& row : meant) {
        if (written_.contains(row["path"])) {
            ofJson +=
                std::string(row["path"]) + (row["value"].is_null() ? "" : ' ' + row["value"].dump()) + '\n';
        }
    }
    Server const third = serve("third");
    EXPECT_EQ(at(third, "set", {"--file", "-"}, ofJson).err, "");
    EXPECT_EQ(tree(third), meant);

    std::string dels;
    for (json const& row : meant) {
        std::string const path = row["path"];
        if (path.ends_with(']') && path.find("].") == path.npos) {
            dels += "del " + path + '\n';
        }
    }
    Outcome const deleted = at(first, "run", {"-"}, dels);
    EXPECT_EQ(deleted.err, "");
    for (json const& row : tree(first)) {
        EXPECT_FALSE(std::string(row["path"]).ends_with(']')) << row;
    }
}

// An entry becomes the same rows in whatever form it was printed.
TEST_F(RoundTrip, WhatIsPrintedOfAnEntryIsEncoded) {
    for (tool::Kind const& kind : tool::allKinds()) {
        SCOPED_TRACE(kind.name);
        std::map<std::string, std::string> entries;
        for (int i = 0; i < 50; ++i) {
            support::Box const value = kind.alias.empty()
                                           ? support::randomBox(*kind.type, random_)
                                           : Kor::Forms::readJson(*kind.type, json{{"lifType", kind.alias},
                                                                                   {"dword0", random_.next()},
                                                                                   {"dword1", random_.next()}}
                                                                                  .dump());
            std::string const text = Kor::Forms::textOf(value);
            std::string const asJson = Kor::Forms::jsonText(*value);
            entries["short"] += Kor::Forms::shortText(*value) + '\n';
            entries["text"] += (Kor::Forms::isTextForm(text) ? "" : kind.name + ' ') + text + '\n';
            entries["JSON"] += kind.name + ' ' + asJson + '\n';
            entries["bare JSON"] += (kind.alias.empty() ? kind.name + ' ' : "") + asJson + '\n';
        }
        std::set<std::string> rows;
        for (auto const& [form, lines] : entries) {
            // Some chips have no room for all bits of some fields.
            Outcome const encoded = loamtunnel({"encode", "--all-chips", "--rows", "--file", "-"}, lines);
            EXPECT_NE(encoded.out, "") << form << ": " << encoded.err;
            rows.insert(encoded.out);
        }
        EXPECT_EQ(rows.size(), 1u);
        EXPECT_EQ(loamtunnel({"decode", "--file", "-"}, *rows.begin()).status, 0);
    }
}

} // namespace
