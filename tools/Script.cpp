#include "tools/Script.h"

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
             script.roots_.add(given[0], makeNew(typeNamed(type), given[0], rest.substr(given[0].size()),
                                                 script.roots_.find()));
         }},
        {"set", "PATH [VALUE]", "write an attribute or member; make a child", true,
         [](Script& script, std::string_view path, std::string_view value) {
             Forms::set(script.roots_.at(path), value, script.roots_);
         }},
        {"get", "PATH", "print a value, or all members of an attribute that has keys", false,
         [](Script& script, std::string_view path, std::string_view) {
             script.print(Forms::get(script.roots_.at(path)));
         }},
        {"del", "PATH", "delete the member under a key; forget an object by its name", false,
         [](Script& script, std::string_view path, std::string_view) {
             Place const place = script.roots_.at(path);
             if (place.attribute == nullptr) {
                 script.roots_.del(place.path);
             } else {
                 Forms::del(place);
             }
         }},
        {"list", "[PATH]", "print the attributes of an object, the keys of an attribute, or all names", false,
         [](Script& script, std::string_view path, std::string_view) {
             if (!path.empty()) {
                 return script.print(Forms::list(script.roots_.at(path)));
             }
             for (auto const& [name, box] : script.roots_.all()) {
                 script.out_ << Kor::plainText(name) << ": " << shortName(*box->type()) << '\n';
             }
         }},
        {"tree", "PATH [DEPTH]", "print all that is below", true,
         [](Script& script, std::string_view path, std::string_view rest) {
             std::optional<U64> const depth = rest.empty() ? 16 : parseNumber(rest);
             if (!depth || *depth > 1000) {
                 throw Refused("'" + shown(rest) + "' is no depth from 0 to 1000");
             }
             script.print(Forms::tree(script.roots_.at(path), static_cast<unsigned>(*depth)));
         }},
        {"call", "PATH [ARGUMENT...]", "call an operation and print its result", true,
         [](Script& script, std::string_view path, std::string_view arguments) {
             if (auto const result = Forms::call(script.roots_.at(path), arguments, script.roots_)) {
                 script.print({*result});
             }
         }},
        {"watch", "PATH", "print each change from now on, with * in front", false,
         [](Script& script, std::string_view path, std::string_view) {
             Place const place = script.roots_.at(path);
             std::ostream& out = script.out_;
             script.watches_[place.path] =
                 std::make_unique<Watch>(place, [&out](Watch::Change const& change) {
                     out << "* " << Kor::plainText(textOf(change)) << '\n';
                 });
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

void Script::print(std::vector<std::string> const& lines) {
    for (std::string const& line : lines) {
        out_ << Kor::plainText(line) << '\n';
    }
}

namespace {

std::string_view withoutComment(std::string_view text) {
    Nesting nesting;
    for (std::size_t i = 0; i < text.size(); ++i) {
        nesting.step(text[i]);
        if (text[i] == '#' && !nesting.isQuoted()) {
            return text.substr(0, i);
        }
    }
    return text;
}

} // namespace

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
    for (U64 number = 1; std::getline(in, text); ++number) {
        try {
            line(text);
        } catch (Refused const& refused) {
            std::string const message = name + ':' + std::to_string(number) + ": " + refused.what();
            if (!report) {
                throw Refused(message);
            }
            report(message);
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

void runScript(Context& context, ScriptOptions const& options) {
    Script script(context.out);
    withInput(context, options.file, [&](std::istream& stream, std::string const& name) {
        script.run(stream, name,
                   options.keepGoing ? std::function<void(std::string const&)>(
                                           [&](std::string const& m) { context.report(m); })
                                     : nullptr);
    });
}

} // namespace tool
