#include "tools/Program.h"

#include "console/Candidates.h"
#include "console/CommandLine.h"
#include "console/Manual.h"
#include "tools/Commands.h"

#include <CLI/CLI.hpp>
#include <algorithm>
#include <ostream>
#include <string>
#include <vector>

namespace tool {

namespace {

/// In the order in which they are listed.
constexpr Command const* allCommands[]{
    &encodeCommand, &kindsCommand,   &valueCommand, &decodeCommand, &layoutCommand,      &addrCommand,
    &tablesCommand, &schemaCommand,  &demoCommand,  &driverCommand, &applicationCommand, &serveCommand,
    &treeCommand,   &getCommand,     &setCommand,   &delCommand,    &waitCommand,        &monitorCommand,
    &syncCommand,   &explainCommand, &auditCommand, &statsCommand,  &traceCommand,       &topCommand,
    &shellCommand,  &runCommand,     &logCommand};

/// CLI11 cuts the text without a word where memory is short: then it is another one the next time.
std::string helpOf(CLI::App& app, CLI::AppFormatMode mode) {
    std::string text = app.help("", mode);
    if (text != app.help("", mode)) {
        throw Refused("there is not enough memory");
    }
    return text;
}

void addCommands(CLI::App& app, Context& context, bool isInShell) {
    for (Command const* const each : allCommands) {
        if (!isInShell || each->isInShell) {
            each->addTo(app, context);
        }
    }
}

/// CLI11 takes what stands in brackets for a list, also where one word is one: a blank at its end hides that,
/// and is taken off again.
void takeBracketsAsTheyAre(CLI::App& app, std::vector<std::string>& arguments) {
    bool hasAny = false;
    for (std::string& each : arguments) {
        if (each.starts_with('[') && each.ends_with(']')) {
            each += ' ';
            hasAny = true;
        }
    }
    if (!hasAny) {
        return;
    }
    for (CLI::Option* const option : app.get_options()) {
        option->transform([](std::string const& text) {
            return text.starts_with('[') && text.ends_with("] ") ? text.substr(0, text.size() - 1) : text;
        });
    }
    std::vector<std::string> none;
    for (CLI::App* const command : app.get_subcommands(nullptr)) {
        none = {"[]"};
        takeBracketsAsTheyAre(*command, none);
    }
}

/// WrongUsage when the first argument is neither an option nor a command, or there is none.
void requireCommand(CLI::App const& app, std::vector<std::string> const& arguments, std::string const& help) {
    if (!arguments.empty() && arguments[0].starts_with('-')) {
        return;
    }
    std::vector<std::string> known;
    for (CLI::App const* const command : app.get_subcommands({})) {
        if (!arguments.empty() && command->check_name(arguments[0])) {
            return;
        }
        known.push_back(command->get_name());
    }
    if (help == "help") {
        known.insert(known.end(), {"help", "quit"});
    }
    if (arguments.empty()) {
        throw WrongUsage("which command? There are " + enumerate(known) + "; see " + help);
    }
    throw WrongUsage("no command " + shown(arguments[0]) + suggest(arguments[0], known));
}

} // namespace

std::vector<CommandWords> shellCommands(Context& context) {
    CLI::App app;
    addCommands(app, context, true);
    std::vector<CommandWords> all;
    for (CLI::App const* const command : app.get_subcommands({})) {
        CommandWords& words = all.emplace_back();
        words.name = command->get_name();
        for (CLI::Option const* const option : command->get_options()) {
            if (!option->get_positional()) {
                words.options.push_back("--" + option->get_single_name());
            } else {
                words.arguments.push_back(argumentNamed(option->get_single_name()));
            }
        }
    }
    return all;
}

int run(std::vector<std::string> const& arguments, Context context) {
    bool const isInShell = context.live != nullptr;
    std::string const help = isInShell ? "help" : "loamtunnel --help";
    CLI::App app("Rows of the chip tables, and the types and values of the model",
                 isInShell ? "" : "loamtunnel");
    app.set_version_flag("--version", "loamtunnel " LOAM_VERSION);
    app.formatter(helpFormatter()); // which the commands take over
    app.require_subcommand(1);
    app.footer(
        "`loamtunnel COMMAND --help` tells more. Results go to the standard output, messages to the\n"
        "standard error. Exit status: 0 done, 1 refused or failed, 2 wrong usage, 3 differs, 4 not "
        "there, 5 timed\n"
        "out, 6 no connection; 128 and its number when a signal has cut it off. Commands that run until "
        "they\n"
        "are told to end, such as serve, are told by SIGINT, SIGTERM or SIGHUP, and that is 0.");
    addCommands(app, context, isInShell);
    if (isInShell) {
        app.description("The commands of the shell; help COMMAND tells more, quit ends it");
        app.footer("");
    }
    if (arguments == std::vector<std::string>{"--manual-page"}) {
        context.out << manualPage(app, LOAM_VERSION) << std::flush;
        return context.status;
    }
    if (arguments.size() == 2 && arguments.front() == "--manual-page") { // of a command
        context.out << manualPage(app, arguments.back(), LOAM_VERSION) << std::flush;
        return context.status;
    }
    if (arguments == std::vector<std::string>{"--commands"}) {
        context.out << join(commandNames(app), "\n") << std::endl;
        return context.status;
    }
    if (!arguments.empty() && arguments.front() == "--complete") {
        for (Candidate const& each : candidates(app, {arguments.begin() + 1, arguments.end()})) {
            context.out << Kor::plainText(each.text) << (each.meaning.empty() ? "" : "\t") << each.meaning
                        << '\n';
        }
        context.out.flush();
        return context.status;
    }
    auto const fails = [&](std::string const& message, int status) {
        context.note(message);
        context.status = status;
    };
    context.out.exceptions(std::ios::badbit); // whatever does not arrive ends the command
    try {
        try {
            requireCommand(app, arguments, help);
            std::vector<std::string> words = arguments;
            takeBracketsAsTheyAre(app, words);
            std::ranges::reverse(words); // it wants the last one first
            app.parse(std::move(words));
        } catch (CLI::CallForHelp const&) {
            context.out << helpOf(app, CLI::AppFormatMode::Normal);
        } catch (CLI::CallForAllHelp const&) {
            context.out << helpOf(app, CLI::AppFormatMode::All);
        } catch (CLI::CallForVersion const& version) {
            context.out << version.what() << '\n';
        } catch (CLI::ParseError const& error) {
            fails(refusalOf(app, error), wrongUsageStatus);
        } catch (Broken const&) {
            throw;
        } catch (Interrupted const& interrupted) { // whose sender need not be told
            context.status = statusOf(interrupted);
            if (isInShell) {
                context.note(interrupted.what());
            }
        } catch (Refused const& failure) {
            fails(failure.what(), statusOf(failure)); // what came before it is printed all the same
        }
        context.out.flush();
    } catch (Broken const& failure) {
        if (isInShell) {
            throw; // nothing that follows can be done
        }
        fails(failure.what(), statusOf(failure));
    } catch (Refused const& failure) {
        fails(failure.what(), statusOf(failure));
    } catch (std::ios::failure const&) {
        fails("cannot write the results", refusedStatus);
    } catch (std::bad_alloc const&) {
        fails("there is not enough memory", refusedStatus);
    } catch (std::exception const& exception) { // of the system: too few descriptors, say
        fails(exception.what(), refusedStatus);
    }
    return context.status;
}

} // namespace tool
