#include "tools/Manual.h"

#include "platform/Hardware/Loam/VtAppId.h"
#include "reflect/IntrospectionReactor.h"
#include "reflect/Text.h"
#include "tools/Entries.h"
#include "tools/Rows.h"
#include "tools/Text.h"

#include <CLI/CLI.hpp>
#include <algorithm>
#include <set>

namespace tool {

namespace {

/// Text as it stands: no minus becomes a hyphen, and nothing at the start of a line a request.
std::string roff(std::string_view text) {
    std::string page;
    bool isStart = true;
    for (char const c : text) {
        if (isStart && (c == '.' || c == '\'')) {
            page += "\\&";
        }
        switch (c) {
        case '\\':
            page += "\\e";
            break;
        case '-':
            page += "\\-";
            break;
        case '`': // quotes a command
            page += '"';
            break;
        default:
            page += c;
        }
        isStart = c == '\n';
    }
    return page;
}

/// Without the line breaks that a terminal's help has.
std::string flowing(std::string text) {
    std::ranges::replace(text, '\n', ' ');
    return text;
}

/// A footer has paragraphs, and lines that begin with blanks: examples.
std::string paragraphs(std::string_view footer) {
    std::string page, paragraph, examples;
    auto const flush = [&] {
        page += paragraph.empty() ? "" : ".PP\n" + roff(paragraph) + '\n';
        page += examples.empty() ? "" : ".PP\n.in +4n\n.nf\n" + roff(examples) + ".fi\n.in\n";
        paragraph.clear();
        examples.clear();
    };
    while (!footer.empty()) {
        auto const end = std::min(footer.find('\n'), footer.size());
        std::string_view line = footer.substr(0, end);
        footer.remove_prefix(std::min(end + 1, footer.size()));
        bool const isExample = line.starts_with("  ");
        if (line.empty() || isExample != !examples.empty()) {
            flush();
        }
        line.remove_prefix(std::min(line.find_first_not_of(' '), line.size()));
        if (isExample) {
            examples += std::string(line) + '\n';
        } else if (!line.empty()) {
            paragraph += (paragraph.empty() ? "" : " ") + std::string(line);
        }
    }
    flush();
    return page;
}

std::vector<CLI::Option const*> optionsOf(CLI::App const& app) {
    std::vector<CLI::Option const*> all;
    for (CLI::Option const* const each : app.get_options()) {
        if (!each->get_group().empty()) { // without a group it is hidden
            all.push_back(each);
        }
    }
    return all;
}

std::vector<CLI::App const*> commandsOf(CLI::App const& app) {
    auto const all = app.get_subcommands([](CLI::App const*) { return true; });
    return {all.begin(), all.end()};
}

/// "LifTable" of what takes a table, without the choice that stands in braces.
std::string typeOf(CLI::Option const& option) {
    std::string const type = option.get_type_name();
    return option.get_items_expected_max() == 0 ? "" : type.substr(0, type.find(':'));
}

std::string namesOf(CLI::Option const& option) {
    std::string names;
    for (std::string const& each : option.get_snames()) {
        names += (names.empty() ? "\\-" : ", \\-") + roff(each);
    }
    for (std::string const& each : option.get_lnames()) {
        names += (names.empty() ? "\\-\\-" : ", \\-\\-") + roff(each);
    }
    return names;
}

std::string positionalOf(CLI::Option const& option) {
    std::string const name = option.get_name(true);
    std::string const more = option.get_items_expected_max() > 1 ? " ..." : "";
    return option.get_required() ? name + more : '[' + name + more + ']';
}

std::string commandPage(CLI::App const& command, std::string const& name) {
    // Where a command has no footer it has that of the whole.
    bool const isOwn = command.get_footer() != command.get_parent()->get_footer();
    std::string synopsis = "\\fB" + roff(name) + "\\fR";
    std::string list;
    for (CLI::Option const* const each : optionsOf(command)) {
        if (each->check_lname("help")) {
            continue;
        }
        std::string const description = roff(flowing(each->get_description()));
        if (!each->nonpositional()) {
            synopsis += " \\fI" + roff(positionalOf(*each)) + "\\fR";
            list += ".TP\n\\fI" + roff(each->get_name(true)) + "\\fR\n" + description + '\n';
            continue;
        }
        std::string const type = typeOf(*each);
        list += ".TP\n\\fB" + namesOf(*each) + "\\fR" + (type.empty() ? "" : " \\fI" + roff(type) + "\\fR") +
                '\n' + description + (each->get_required() ? " (must be given)" : "") + '\n';
    }
    std::string page = ".SS " + synopsis + " \\fR[\\fIoptions\\fR]\n" + roff(command.get_description()) +
                       ".\n" + list + (isOwn ? paragraphs(command.get_footer()) : "");
    for (CLI::App const* const each : commandsOf(command)) {
        page += commandPage(*each, name + ' ' + each->get_name());
    }
    return page;
}

std::string words(std::vector<std::string> const& all) {
    return join(all);
}

std::vector<std::string> typeNames() {
    std::vector<std::string> names;
    for (Kor::KorType const* const each : Kor::IntrospectionReactor::global()->types()) {
        std::string_view const full = each->name().view();
        names.emplace_back(full.substr(full.rfind(':') + 1));
    }
    return names;
}

std::vector<std::string> chipNames() {
    std::vector<std::string> names;
    for (auto const chip : supportedChips()) {
        names.push_back(std::to_string(chip));
    }
    return names;
}

std::vector<std::string> tableNames() {
    std::vector<std::string> names;
    for (auto const& table : Hardware::tableInfos()) {
        names.emplace_back(table.name);
    }
    return names;
}

std::vector<std::string> kindNames() {
    std::vector<std::string> names;
    for (auto const& kind : allKinds()) {
        names.emplace_back(kind.name);
    }
    return names;
}

std::vector<std::string> applicationNames() {
    std::vector<std::string> names;
    names.reserve(Kor::enumerators<Hardware::Loam::VtAppId>.size());
    for (Kor::Enumerator const& each : Kor::enumerators<Hardware::Loam::VtAppId>) {
        names.emplace_back(each.name);
    }
    return names;
}

/// The choice that an option or a positional has; empty where it is no choice of the library's.
std::string choice(CLI::App const& command, CLI::Option const& option) {
    std::string const type = option.get_type_name();
    if (auto const brace = type.find('{'); brace != type.npos) {
        std::string values = type.substr(brace + 1, type.find('}') - brace - 1);
        std::ranges::replace(values, ',', ' ');
        return values;
    }
    std::string const is = typeOf(option);
    if (is == "KIND" && command.get_name() == "monitor") {
        return "set del";
    }
    if (is == "FORM") {
        bool const reads = option.get_name().find("from") != std::string::npos;
        return reads ? "text json wire" : "text json wire row";
    }
    return is.starts_with("CHIP")             ? words(chipNames())
           : is == "TABLE"                    ? words(tableNames())
           : is == "FORMAT"                   ? "table json csv"
           : is == "TYPE"                     ? words(typeNames())
           : is == "KIND"                     ? words(kindNames())
           : is == "APP"                      ? words(applicationNames())
           : is == "WHO"                      ? "driver application driver,application"
           : option.get_name(true) == "entry" ? words(kindNames())
                                              : "";
}

/// One case of the script for the command, and one for each of its options with a choice.
void completeCommand(CLI::App const& command, std::string const& name, std::string& commands,
                     std::string& values) {
    std::vector<std::string> options, positionals;
    for (CLI::App const* const each : commandsOf(command)) {
        positionals.push_back(each->get_name());
    }
    for (CLI::Option const* const each : optionsOf(command)) {
        std::string const choices = choice(command, *each);
        if (!each->nonpositional()) {
            positionals.push_back(choices);
            continue;
        }
        std::vector<std::string> spelled;
        for (std::string const& option : each->get_snames()) {
            spelled.push_back('-' + option);
        }
        for (std::string const& option : each->get_lnames()) {
            spelled.push_back("--" + option);
        }
        options.insert(options.end(), spelled.begin(), spelled.end());
        if (each->get_items_expected_max() != 0) {
            std::string pattern;
            for (std::string const& option : spelled) {
                pattern.append(pattern.empty() ? "'" : " | '")
                    .append(name)
                    .append(1, ' ')
                    .append(option)
                    .append(1, '\'');
            }
            values.append("    ").append(pattern).append(") values='").append(choices).append("' ;;\n");
        }
    }
    commands +=
        "    '" + name + "') options='" + words(options) + "' words='" + words(positionals) + "' ;;\n";
    for (CLI::App const* const each : commandsOf(command)) {
        completeCommand(*each, name + (name.empty() ? "" : " ") + each->get_name(), commands, values);
    }
}

} // namespace

std::string manualPage(CLI::App const& app, std::string const& version) {
    std::string page =
        ".TH LOAMTUNNEL 1 \"\" \"libLoamTunnel " + version +
        "\" \"User Commands\"\n"
        ".SH NAME\nloamtunnel \\- chip tables, values and live entity trees of a switch's tunnels\n"
        ".SH SYNOPSIS\n\\fBloamtunnel\\fR \\fIcommand\\fR [\\fIoptions\\fR]\n"
        ".SH DESCRIPTION\n"
        "Turns what an application wants of a forwarding chip into the rows of the chip's tables and back, "
        "shows the tables, the values and the types of libLoamTunnel, and looks into processes that "
        "share entities: what they serve, what their connections do, what they trace.\n"
        ".PP\nResults go to the standard output, messages to the standard error, one line each.\n"
        ".SH COMMANDS\n";
    for (CLI::App const* const each : commandsOf(app)) {
        page += commandPage(*each, "loamtunnel " + each->get_name());
    }
    page += ".SH EXIT STATUS\n.TP\n0\nDone.\n.TP\n1\nThe request was refused; the message says why.\n"
            ".TP\n2\nThe command line is wrong.\n"
            ".SH ENVIRONMENT\n.TP\n\\fBLOAM_SOCKET\\fR\nWhere commands on a live tree connect to, if "
            "\\fB\\-\\-socket\\fR is "
            "not given.\n.TP\n\\fBNO_COLOR\\fR\nIf set, nothing is coloured.\n"
            ".SH SEE ALSO\n\\fBlibLoamTunnel\\fR(7)\n";
    return page;
}

std::string bashCompletion(CLI::App const& app) {
    std::string commands, values;
    completeCommand(app, "", commands, values);
    return R"script(# Completes the command lines of loamtunnel in bash.
_loamtunnel() {
    local current=${COMP_WORDS[COMP_CWORD]} previous=${COMP_WORDS[COMP_CWORD - 1]} command='' options words values word
    for word in "${COMP_WORDS[@]:1:COMP_CWORD-1}"; do
        case $word in
        -*) break ;;
        esac
        if [ -z "$command" ]; then command=$word; elif [ "$command" = log ]; then command="log $word"; else break; fi
    done
    case "$command $previous" in
)script" + values +
           R"script(    *) values=none ;;
    esac
    if [ "$values" != none ]; then
        mapfile -t COMPREPLY < <(compgen -W "$values" -- "$current")
        return
    fi
    case $command in
)script" + commands +
           R"script(    *) return ;;
    esac
    case $current in
    -*) words=$options ;;
    esac
    mapfile -t COMPREPLY < <(compgen -W "$words" -- "$current")
}
complete -o bashdefault -o default -F _loamtunnel loamtunnel
)script";
}

} // namespace tool
