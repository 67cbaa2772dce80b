#include "console/Command.h"

#include "console/CommandLine.h"
#include "console/Completion.h"
#include "console/Failure.h"
#include "console/Live.h"
#include "console/Results.h"
#include "forms/Text.h"

#include <CLI/CLI.hpp>
#include <algorithm>

namespace tool {

Option Option::required() const {
    option_->required();
    return *this;
}

Option Option::expected(int least, int most) const {
    option_->expected(least, most);
    return *this;
}

Option Option::excludes(std::initializer_list<Option> others) const {
    for (Option const each : others) {
        option_->excludes(each.option_);
    }
    return *this;
}

Option Option::needs(Option other) const {
    option_->needs(other.option_);
    return *this;
}

Option Option::oneOf(std::vector<std::string> const& known, std::string const& refusal) const {
    option_->check(tool::oneOf(known, refusal));
    return *this;
}

Option Option::orOf(char const* variable) const {
    option_->envname(variable);
    return *this;
}

bool Option::isGiven() const {
    return option_->count() != 0;
}

std::string Option::name() const {
    return option_->get_name();
}

Option Takes::flag(char const* name, bool& to, char const* text) {
    return Option(command_.add_flag(name, to, text)->disable_flag_override());
}

Option Takes::flag(char const* name, int& to, char const* text) {
    return Option(command_.add_flag(name, to, text)->disable_flag_override());
}

Option Takes::option(char const* name, std::string& to, char const* type, std::string const& text) {
    return Option(command_.add_option(name, to, text)->type_name(type));
}

Option Takes::option(char const* name, std::optional<std::string>& to, char const* type,
                     std::string const& text) {
    return Option(command_.add_option(name, to, text)->type_name(type));
}

Option Takes::option(char const* name, std::vector<std::string>& to, char const* type,
                     std::string const& text) {
    return Option(command_.add_option(name, to, text)->type_name(type));
}

Option Takes::option(char const* name, std::function<void(std::string const&)> const& set, char const* type,
                     std::string const& text) {
    return Option(command_.add_option_function<std::string>(name, set, text)->type_name(type));
}

Option Takes::list(char const* name, std::vector<std::string>& to, char const* type,
                   std::string const& text) {
    return Option(command_.add_option(name, to, text)
                      ->type_name(type)
                      ->delimiter(',')
                      ->allow_extra_args(name[0] != '-'));
}

namespace {

/// Refused as what `name` takes, if that is an option.
U64 numberIn(std::string const& text, U64 most, std::string const& name, std::string const& refusal,
             U64 least = 0) {
    std::optional<U64> const number = parseNumber(text);
    if (!number || *number > most || *number < least) {
        throw WrongUsage((name.starts_with('-') ? name.substr(name.rfind(',') + 1) + ": " : "") + "'" +
                         shown(text) + "' is " + refusal);
    }
    return *number;
}

} // namespace

Option Takes::numbers(char const* name, std::vector<U64>& to, char const* type, char const* refusal,
                      std::string const& text, U64 most) {
    std::string const own = name;
    auto const set = [&to, own, refusal = std::string(refusal), most](std::vector<std::string> const& all) {
        for (std::string const& each : all) {
            to.push_back(numberIn(each, most, own, refusal));
        }
    };
    auto* const option =
        command_.add_option_function<std::vector<std::string>>(name, set, text)->type_name(type);
    return Option(own.starts_with('-') ? option->delimiter(',')->allow_extra_args(false) : option);
}

Option Takes::number(char const* name, std::function<void(U32)> set, std::string const& text, U64 most,
                     U64 least) {
    return option(
        name,
        [set = std::move(set), most, least, own = std::string(name)](std::string const& given) {
            std::string const refusal =
                "no number from " + std::to_string(least) + " to " + std::to_string(most);
            set(static_cast<U32>(numberIn(given, most, own, refusal, least)));
        },
        "N", text);
}

Option Takes::chip(std::string& chip, char const* text) {
    return option("-c,--chip", chip, "CHIP", text);
}

Option Takes::chips(std::vector<std::string>& chips, char const* text) {
    return list("-c,--chip", chips, "CHIP", text);
}

void Takes::row(RowOptions& row) {
    option("-t,--table", row.table, "TABLE", "Table, as `loamtunnel tables` lists them (default: LifTable)");
    number("-v,--variant", row.variant, "Row format, where the table has several", 255);
}

void Takes::output(Output& output, char const* own) {
    output.colour = context_.colourOut;
    choice<Format>("--format", output.format,
                   {{"table", Format::table}, {"json", Format::json}, {"csv", Format::csv}}, "FORMAT",
                   "no format", std::string("Print as table, json or csv") + own);
    auto* const json = command_.add_flag_callback(
        "--json", [&output] { output.format = Format::json; }, "The same as --format json");
    json->disable_flag_override()->excludes(command_.get_option("--format"));
    auto* const headings = command_.add_flag_callback(
        "--no-headings", [&output] { output.headings = false; }, "Leave the heading lines out");
    headings->disable_flag_override();
    refuseInJson(Option(headings), output, "has no headings");
}

void Takes::form(Output& output, bool isInJson) {
    Option const form =
        choice<Form>("--form", output.form, {{"short", formNamed("short")}, {"text", formNamed("text")}},
                     "FORM", "no form",
                     "How values look: short, or text, the form that names all stored attributes (default: "
                     "short)");
    if (!isInJson) {
        refuseInJson(form, output, "has values in a form of its own");
    }
}

void Takes::socket(std::string& address) {
    option("-s,--socket", address, "ADDRESS",
           "Where: /path or unix:/path for a Unix socket, tcp:PORT or tcp:HOST:PORT, which every\n"
           "local user, or with a HOST everybody, may connect to (default: the environment's\n"
           "LOAM_SOCKET, or loamtunnel/socket in XDG_RUNTIME_DIR or /run)")
        .orOf("LOAM_SOCKET");
}

void Takes::live(LiveOptions& live) {
    if (context_.live != nullptr) { // whose connection it is
        live = context_.live->options();
    } else {
        socket(live.address);
    }
    patience(live);
}

void Takes::patience(LiveOptions& live) {
    std::string const text = "How many milliseconds to wait at most";
    if (context_.live != nullptr) { // the default is the shell's
        number("--timeout", live.timeout, text);
        return;
    }
    number("--timeout", live.timeout, text + " (default: 5000)");
    number("--memory", live.memory, "How many MiB to hold at most of what is there (default: 1024)");
}

void Takes::filter(ChangeFilter& filter) {
    option("--entity", filter.entity, "PATTERN",
           "Show those of entities whose path fits this pattern, such as 'lif.appConfig*'");
    option(
        "--attribute",
        [&filter](std::string const& name) {
            std::vector<std::string> const known = Vocabulary::own().attributes();
            if (std::ranges::find(known, name) == known.end()) {
                throw WrongUsage("no entity has an attribute " + shown(name) + suggest(name, known));
            }
            filter.attribute = name;
        },
        "NAME", "Show those of this attribute, such as reqCount");
}

void Takes::refuseInJson(Option option, Output const& output, char const* why) {
    checks_.emplace_back([option, &output, why] {
        if (output.format == Format::json && option.isGiven()) {
            throw WrongUsage(option.name() + " goes with no JSON, which " + why);
        }
    });
}

std::function<void()> Takes::check() const {
    return [checks = checks_] {
        for (auto const& each : checks) {
            each();
        }
    };
}

void Command::addTo(CLI::App& app, Context& context) const {
    CLI::App& command = *app.add_subcommand(name, does);
    if (takes) {
        takes(command, context);
    }
    for (Command const* const each : below) {
        each->addTo(command, context);
        command.require_subcommand(1);
    }
    if (!more.empty()) { // else that of the program stands below its help
        command.footer(more);
    }
}

void afterReading(CLI::App& command, std::function<void()> function) {
    command.callback(std::move(function));
}

} // namespace tool
