#include "tools/Script.h"

#include "console/Command.h"
#include "console/Live.h"
#include "console/Streams.h"
#include "tools/Commands.h"

#include <algorithm>
#include <functional>
#include <istream>
#include <memory>
#include <optional>
#include <ostream>
#include <string>
#include <vector>

namespace tool {

/// What follows a command's name: the first word, such as a path, and the rest of the line.
struct Script::Command {
    std::string_view name, usage, help;
    /// Whether anything may follow the first word.
    bool takesText;
    void (*run)(Script& script, std::string_view first, std::string_view rest);
};

std::vector<Script::Command> const& Script::commands() {
    static std::vector<Command> const all{
        {"new", "TYPE NAME [ARGUMENT...]", "make an object or a value, from its constructor's arguments",
         true,
         [](Script& script, std::string_view type, std::string_view rest) {
             std::vector<std::string_view> const given = words(rest);
             if (given.empty()) {
                 throw Refused("new takes a type and a name, such as new LifAppConfigDir lif");
             }
             std::string const name = rootOf(given[0]);
             if (name != given[0] && !given[0].starts_with('\'') && !given[0].starts_with('"')) {
                 throw Refused(shown(given[0]) + " is no name; one with . or [ stands in quotes");
             }
             script.roots_.add(
                 name, makeNew(typeNamed(type), name, rest.substr(given[0].size()), script.roots_.find()));
         }},
        {"set", "PATH [VALUE]", "write an attribute or member; make a child", true,
         [](Script& script, std::string_view path, std::string_view value) {
             Forms::set(script.change(path), value, script.roots_, script.mayChange_ ? mustBeRead : nullptr);
         }},
        {"get", "PATH", "print a value, or all members of an attribute that has keys", false,
         [](Script& script, std::string_view path, std::string_view) {
             Place const place = script.roots_.at(path);
             bool const isAlone = place.attribute == nullptr || !place.attribute->shape().keyed || place.key;
             for (Item const& each : itemsAt(place)) {
                 script.events_.item("get", each, isAlone);
             }
         }},
        {"del", "PATH", "delete the member under a key; forget an object by its name", false,
         [](Script& script, std::string_view path, std::string_view) {
             Place const place = script.change(path);
             if (place.attribute == nullptr) {
                 script.roots_.del(rootOf(place.path));
             } else {
                 Forms::del(place);
             }
         }},
        {"list", "[PATH]", "print the attributes of an object, the keys of an attribute, or all names", false,
         [](Script& script, std::string_view path, std::string_view) {
             if (!path.empty()) {
                 for (Forms::Listed const& each : Forms::list(script.roots_.at(path))) {
                     script.events_.listed(each.text, each.path, each.type);
                 }
                 return;
             }
             for (std::string const& name : script.offers_ ? script.offers_() : std::vector<std::string>()) {
                 try {
                     script.roots_.at(rootText(name)); // is had with it
                 } catch (NotThere const& gone) {
                     script.events_.note("", rootText(name) + ": " + gone.what());
                 }
             }
             for (auto const& [name, box] : script.roots_.all()) {
                 std::string const root = rootText(name);
                 script.events_.listed(root + ": " + shortName(*box->type()), root, box->type());
             }
         }},
        {"tree", "PATH [DEPTH]", "print all that is below", true,
         [](Script& script, std::string_view path, std::string_view rest) {
             std::optional<U64> const depth = rest.empty() ? 16 : parseNumber(rest);
             if (!depth || *depth > 1000) {
                 throw Refused("'" + shown(rest) + "' is no depth from 0 to 1000");
             }
             script.events_.tree("tree", script.roots_.at(path), static_cast<unsigned>(*depth));
         }},
        {"call", "PATH [ARGUMENT...]", "call an operation and print its result", true,
         [](Script& script, std::string_view path, std::string_view arguments) {
             Place const place = script.change(path);
             if (Box const result = Forms::call(place, arguments, script.roots_)) {
                 script.events_.item("call", {place.path, result}, true);
             }
         }},
        {"watch", "PATH", "print each change from now on, with * in front", false,
         [](Script& script, std::string_view path, std::string_view) {
             Place const place = script.roots_.at(path);
             Events& events = script.events_;
             script.watches_[place.path] = std::make_unique<Watch>(
                 place, [&events](Watch::Change const& change) { events.change("* ", "", change); });
         }},
        {"unwatch", "PATH", "end a watch", false,
         [](Script& script, std::string_view path, std::string_view) {
             Place const place = script.roots_.at(path);
             if (script.watches_.erase(place.path) == 0) {
                 throw Refused(place.path + " is not watched");
             }
         }},
    };
    return all;
}

Place Script::change(std::string_view path) {
    if (mayChange_) {
        mayChange_(std::string(path));
    }
    return roots_.at(path);
}

void Script::line(std::string_view text) {
    text = trimmed(withoutComment(text));
    std::vector<std::string_view> const given = words(text);
    if (given.empty()) {
        return;
    }
    std::vector<std::string> known;
    for (Command const& command : commands()) {
        if (command.name != given[0]) {
            known.emplace_back(command.name);
            continue;
        }
        std::string_view const first = given.size() > 1 ? given[1] : std::string_view();
        std::string_view const rest =
            given.size() > 2 ? text.substr(static_cast<std::size_t>(given[2].data() - text.data()))
                             : std::string_view();
        bool const needsFirst = !command.usage.starts_with('[');
        if ((needsFirst && first.empty()) || (!command.takesText && !rest.empty())) {
            throw Refused("the line is to be " + std::string(command.name) + ' ' +
                          std::string(command.usage));
        }
        command.run(*this, first, rest);
        return;
    }
    throw Refused("no command " + shown(given[0]) + suggest(given[0], known));
}

void Script::run(std::istream& in, std::string const& name,
                 std::function<void(std::string const& message)> const& report) {
    std::string text;
    for (U64 number = 1; nextLine(in, text, number == 1); ++number) {
        try {
            line(text);
        } catch (Refused const& refused) {
            if (endsAll(refused)) {
                throw;
            }
            std::string const message = name + ':' + std::to_string(number) + ": " + refused.what();
            if (report) {
                report(message);
            } else if (dynamic_cast<NotThere const*>(&refused) != nullptr) {
                throw NotThere(message);
            } else {
                throw Refused(message);
            }
        }
    }
}

std::string scriptHelp() {
    std::string text = "A line is a command; # starts a comment.\n\n";
    for (Script::Command const& each : Script::commands()) {
        std::string usage = "  " + std::string(each.name) + ' ' + std::string(each.usage);
        usage.resize(std::max<std::size_t>(usage.size() + 1, 32), ' ');
        text.append(usage).append(each.help).append("\n");
    }
    return text +
           "\nA path is such as lif.appConfig[vtAppMpls].reqCount[AradLifAcMp vsi=100]. A value is its text\n"
           "form, an enumerator, TYPE field=value..., in parentheses where there are blanks, or $PATH.\n\n"
           "  loamtunnel run examples/requests.txt";
}

namespace {

struct ScriptOptions {
    std::string file;
    bool keepGoing = false;
    /// Over a live tree, where there is an address.
    LiveOptions live;
    Output output;
};

void runScript(Context& context, ScriptOptions const& options) {
    auto const all = [&](Script& script) {
        withInput(context, options.file, [&](std::istream& stream, std::string const& name) {
            script.run(stream, name,
                       options.keepGoing ? std::function<void(std::string const&)>(
                                               [&](std::string const& m) { context.report(m); })
                                         : nullptr);
        });
    };
    if (options.live.address.empty()) {
        Script script(context.out, options.output);
        all(script);
        return;
    }
    Connection connection(context, options.live, "run");
    Live& live = connection.live();
    Script script(context.out, live.roots(), options.output, [&](std::string const& path) {
        if (live.session().peerOffers().contains(Kor::Name(Kor::String8(rootOf(path))))) {
            live.mustBeWritable(path);
        }
    });
    script.offersAre([&] { return live.offers(); });
    all(script);
    live.deliver();
}

} // namespace

Command const runCommand = Row<ScriptOptions>{
    .name = "run",
    .does = "Make objects and drive them, by a script",
    .takes =
        [](Takes& takes, ScriptOptions& options) {
            takes.option("file", options.file, "FILE", "The script; - is the standard input").required();
            takes.flag("-k,--keep-going", options.keepGoing,
                       "Run the lines after one that failed; the exit status is 1 all the same");
            takes.option(
                "-s,--socket", options.live.address, "ADDRESS",
                "Run it over what the process at that address serves, /path, unix:/path, tcp:PORT or\n"
                "tcp:HOST:PORT; what it sets is delivered at its end");
            takes.patience(options.live);
            takes.output(options.output, "; without it, lines; JSON has an object a line");
            takes.form(options.output);
        },
    .run = runScript,
    .more = scriptHelp(),
};

} // namespace tool
