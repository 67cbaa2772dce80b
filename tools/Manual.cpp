#include "tools/Manual.h"

#include "forms/Entries.h"
#include "forms/Rows.h"
#include "forms/Text.h"
#include "platform/Hardware/Loam/VtAppId.h"
#include "reflect/IntrospectionReactor.h"
#include "reflect/Text.h"
#include "tools/Failure.h"

#include <CLI/CLI.hpp>
#include <algorithm>
#include <cctype>
#include <functional>
#include <vector>

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

/// "-c" and "--chip".
std::vector<std::string> spellingsOf(CLI::Option const& option) {
    std::vector<std::string> all;
    for (std::string const& each : option.get_snames()) {
        all.push_back('-' + each);
    }
    for (std::string const& each : option.get_lnames()) {
        all.push_back("--" + each);
    }
    return all;
}

std::string positionalOf(CLI::Option const& option) {
    std::string const name = option.get_name(true);
    std::string const more = option.get_items_expected_max() > 1 ? " ..." : "";
    return option.get_required() ? name + more : '[' + name + more + ']';
}

std::string heading(std::string name, std::string const& version) {
    std::ranges::transform(name, name.begin(),
                           [](unsigned char c) { return static_cast<char>(std::toupper(c)); });
    return ".TH " + roff(name) + " 1 \"\" \"libLoamTunnel " + version + "\" \"User Commands\"\n";
}

/// The command and what it takes in its order; of a command with commands below, a line each.
std::string synopsisOf(CLI::App const& command, std::string const& name) {
    std::string lines;
    for (CLI::App const* const each : commandsOf(command)) {
        lines += (lines.empty() ? "" : ".br\n") + synopsisOf(*each, name + ' ' + each->get_name());
    }
    if (!lines.empty()) {
        return lines;
    }
    std::string line = "\\fB" + roff(name) + "\\fR";
    for (CLI::Option const* const each : optionsOf(command)) {
        if (!each->nonpositional()) {
            line += " \\fI" + roff(positionalOf(*each)) + "\\fR";
        }
    }
    return line + " \\fR[\\fIoptions\\fR]\n";
}

/// What it does, its options, and its examples; then those of the commands below.
std::string commandPage(CLI::App const& command, std::string const& name) {
    // Where a command has no footer it has that of one above.
    bool isOwn = true;
    for (CLI::App const* above = command.get_parent(); above != nullptr; above = above->get_parent()) {
        isOwn = isOwn && command.get_footer() != above->get_footer();
    }
    std::string page = roff(command.get_description()) + ".\n";
    for (CLI::Option const* const each : optionsOf(command)) {
        if (each->check_lname("help")) {
            continue;
        }
        std::string const description = roff(flowing(each->get_description()));
        if (!each->nonpositional()) {
            page += ".TP\n\\fI" + roff(each->get_name(true)) + "\\fR\n" + description + '\n';
            continue;
        }
        std::string const type = typeOf(*each);
        page += ".TP\n\\fB" + roff(join(spellingsOf(*each), ", ")) + "\\fR" +
                (type.empty() ? "" : " \\fI" + roff(type) + "\\fR") + '\n' + description +
                (each->get_required() ? " (must be given)" : "") + '\n';
    }
    page += isOwn ? paragraphs(command.get_footer()) : "";
    for (CLI::App const* const each : commandsOf(command)) {
        std::string const whole = name + ' ' + each->get_name();
        page += ".SS " + synopsisOf(*each, whole) + commandPage(*each, whole);
    }
    return page;
}

constexpr char statuses[] = ".SH EXIT STATUS\n"
                            ".TP\n0\nDone.\n"
                            ".TP\n1\nThe request was refused, or failed; the message says why.\n"
                            ".TP\n2\nThe command line is wrong.\n"
                            ".TP\n3\nSomething differs.\n"
                            ".TP\n4\nWhat was asked for is not there.\n"
                            ".TP\n5\nThe time was over before.\n"
                            ".TP\n6\nThere is no connection.\n";

constexpr char environment[] =
    ".SH ENVIRONMENT\n"
    ".TP\n\\fBLOAM_SOCKET\\fR\nWhere commands on a live tree connect to, if "
    "\\fB\\-\\-socket\\fR is not given.\n"
    ".TP\n\\fBXDG_RUNTIME_DIR\\fR\nWhere loamtunnel/socket is that place, if "
    "neither is given; without it in /run.\n"
    ".TP\n\\fBXDG_STATE_HOME\\fR\nWhere loamtunnel/history keeps the lines of the shell; without it in "
    "~/.local/state.\n"
    ".TP\n\\fBNO_COLOR\\fR\nIf set, nothing is coloured.\n";

/// The texts of all, with blanks between them.
template <class All, class Text>
std::string wordsOf(All const& all, Text const& text) {
    std::vector<std::string> texts;
    texts.reserve(std::size(all));
    for (auto const& each : all) {
        texts.emplace_back(std::invoke(text, each));
    }
    return join(texts);
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
    if (is == "TYPE") {
        return wordsOf(Kor::IntrospectionReactor::global()->types(), [](Kor::KorType const* each) {
            std::string_view const full = each->name().view();
            return full.substr(full.rfind(':') + 1);
        });
    }
    if (is == "KIND" || option.get_name(true) == "entry") {
        return wordsOf(allKinds(), &Kind::name);
    }
    return is.starts_with("CHIP")
               ? wordsOf(supportedChips(), [](Hardware::ChipType chip) { return std::to_string(chip); })
           : is == "TABLE"  ? wordsOf(Hardware::tableInfos(), &Hardware::TableInfo::name)
           : is == "APP"    ? wordsOf(Kor::enumerators<Hardware::Loam::VtAppId>, &Kor::Enumerator::name)
           : is == "FORMAT" ? "table json csv"
           : is == "WHO"    ? "driver application driver,application"
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
        std::vector<std::string> const spelled = spellingsOf(*each);
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
    commands += "    '" + name + "') options='" + join(options) + "' words='" + join(positionals) + "' ;;\n";
    for (CLI::App const* const each : commandsOf(command)) {
        completeCommand(*each, name + (name.empty() ? "" : " ") + each->get_name(), commands, values);
    }
}

} // namespace

std::vector<std::string> commandNames(CLI::App const& app) {
    std::vector<std::string> names;
    for (CLI::App const* const each : commandsOf(app)) {
        names.push_back(each->get_name());
    }
    return names;
}

std::string manualPage(CLI::App const& app, std::string const& version) {
    std::string page =
        heading("loamtunnel", version) +
        ".SH NAME\nloamtunnel \\- chip tables, values and live entity trees of a switch's tunnels\n"
        ".SH SYNOPSIS\n\\fBloamtunnel\\fR \\fIcommand\\fR [\\fIoptions\\fR]\n"
        ".SH DESCRIPTION\n"
        "Turns what an application wants of a forwarding chip into the rows of the chip's tables and back, "
        "shows the tables, the values and the types of libLoamTunnel, and looks into processes that "
        "share entities: what they serve, what their connections do, what they trace.\n"
        ".PP\nResults go to the standard output, messages to the standard error, one line each.\n"
        ".SH COMMANDS\n";
    std::string pages;
    for (CLI::App const* const each : commandsOf(app)) {
        page += ".TP\n\\fBloamtunnel\\-" + roff(each->get_name()) + "\\fR(1)\n" +
                roff(flowing(each->get_description())) + ".\n";
        pages += "\\fBloamtunnel\\-" + roff(each->get_name()) + "\\fR(1),\n";
    }
    return page + statuses + environment + ".SH SEE ALSO\n" + pages + "\\fBlibLoamTunnel\\fR(7)\n";
}

std::string manualPage(CLI::App const& app, std::string const& command, std::string const& version) {
    CLI::App const& its = *app.get_subcommand(command);
    return heading("loamtunnel-" + command, version) + ".SH NAME\nloamtunnel\\-" + roff(command) + " \\- " +
           roff(flowing(its.get_description())) + "\n.SH SYNOPSIS\n" +
           synopsisOf(its, "loamtunnel " + command) + ".SH DESCRIPTION\n" +
           commandPage(its, "loamtunnel " + command) + statuses + environment +
           ".SH SEE ALSO\n\\fBloamtunnel\\fR(1), \\fBlibLoamTunnel\\fR(7)\n";
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
