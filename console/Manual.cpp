#include "console/Manual.h"

#include "console/CommandLine.h"
#include "console/Failure.h"
#include "forms/Text.h"

#include <algorithm>
#include <cctype>
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
std::string synopsisOf(CLI::App& command, std::string const& name) {
    std::string lines;
    for (CLI::App* const each : commandsOf(command)) {
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
std::string commandPage(CLI::App& command, std::string const& name) {
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
    for (CLI::App* const each : commandsOf(command)) {
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
                            ".TP\n6\nThere is no connection.\n"
                            ".TP\n128 and more\nSIGHUP (129), SIGINT (130) or SIGTERM (143) has cut the "
                            "command off. One that runs until it is told to end, as servers and what watches "
                            "do, is told by them, and ends with 0 or with what it has found before.\n";

constexpr char environment[] =
    ".SH ENVIRONMENT\n"
    ".TP\n\\fBLOAM_SOCKET\\fR\nWhere commands on a live tree connect to, if "
    "\\fB\\-\\-socket\\fR is not given.\n"
    ".TP\n\\fBXDG_RUNTIME_DIR\\fR\nWhere loamtunnel/socket is that place, if "
    "neither is given; without it in /run.\n"
    ".TP\n\\fBXDG_STATE_HOME\\fR\nWhere loamtunnel/history keeps the lines of the shell; without it in "
    "~/.local/state.\n"
    ".TP\n\\fBNO_COLOR\\fR\nIf set, nothing is coloured.\n";

} // namespace

std::vector<std::string> commandNames(CLI::App& app) {
    std::vector<std::string> names;
    for (CLI::App* const each : commandsOf(app)) {
        names.push_back(each->get_name());
    }
    return names;
}

std::string manualPage(CLI::App& app, std::string const& version) {
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
    for (CLI::App* const each : commandsOf(app)) {
        page += ".TP\n\\fBloamtunnel\\-" + roff(each->get_name()) + "\\fR(1)\n" +
                roff(flowing(each->get_description())) + ".\n";
        pages += "\\fBloamtunnel\\-" + roff(each->get_name()) + "\\fR(1),\n";
    }
    return page + statuses + environment + ".SH SEE ALSO\n" + pages + "\\fBlibLoamTunnel\\fR(7)\n";
}

std::string manualPage(CLI::App& app, std::string const& command, std::string const& version) {
    CLI::App& its = *app.get_subcommand(command);
    return heading("loamtunnel-" + command, version) + ".SH NAME\nloamtunnel\\-" + roff(command) + " \\- " +
           roff(flowing(its.get_description())) + "\n.SH SYNOPSIS\n" +
           synopsisOf(its, "loamtunnel " + command) + ".SH DESCRIPTION\n" +
           commandPage(its, "loamtunnel " + command) + statuses + environment +
           ".SH SEE ALSO\n\\fBloamtunnel\\fR(1), \\fBlibLoamTunnel\\fR(7)\n";
}

} // namespace tool
