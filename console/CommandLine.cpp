#include "console/CommandLine.h"

#include "console/Failure.h"
#include "forms/Text.h"

#include <algorithm>
#include <iterator>
#include <sstream>

namespace tool {

std::vector<CLI::App*> commandsOf(CLI::App& app) {
    return app.get_subcommands(std::function<bool(CLI::App*)>());
}

std::vector<CLI::Option*> optionsOf(CLI::App& app) {
    return app.get_options([](CLI::Option const* each) { return !each->get_group().empty(); });
}

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

std::string typeOf(CLI::Option const& option) {
    return option.get_items_expected_max() == 0 ? "" : option.get_type_name();
}

std::shared_ptr<CLI::FormatterBase> helpFormatter() {
    struct InOrder : CLI::Formatter {
        std::string make_option_opts(CLI::Option const* option) const override {
            std::string text = Formatter::make_option_opts(option);
            std::string const label = ' ' + get_label("Excludes") + ':'; // the last of them
            std::size_t const at = text.rfind(label);
            if (at == text.npos) {
                return text;
            }
            std::istringstream in(text.substr(at + label.size()));
            std::vector<std::string> names(std::istream_iterator<std::string>(in), {});
            std::ranges::sort(names);
            text.resize(at + label.size());
            for (std::string const& name : names) {
                text += ' ' + name;
            }
            return text;
        }
    };
    return std::make_shared<InOrder>();
}

std::string flowing(std::string text) {
    std::ranges::replace(text, '\n', ' ');
    return text;
}

namespace {

std::string refusalOf(CLI::App& app, CLI::App& command, CLI::ParseError const& error) {
    std::string const said = flowing(error.what());
    std::string const name = said.substr(0, said.find_first_of(": "));
    bool const isExtra = dynamic_cast<CLI::ExtrasError const*>(&error) != nullptr;
    bool const isMismatch = dynamic_cast<CLI::ArgumentMismatch const*>(&error) != nullptr;
    std::vector<std::string> const extra = app.remaining(true);
    auto const option = std::ranges::find_if(
        extra, [](std::string const& each) { return each.starts_with('-') && each.size() > 1; });
    if (isExtra && option == extra.end()) {
        return "too many arguments: " + shown(join(extra));
    }
    if (isExtra || (isMismatch && option != extra.end())) { // whose value was taken for an argument
        std::vector<std::string> known;
        for (CLI::Option const* const each : optionsOf(command)) {
            std::ranges::copy(spellingsOf(*each), std::back_inserter(known));
        }
        if (std::ranges::count(known, *option) != 0) {
            return *option + " stands behind " + command.get_name();
        }
        return "no option " + shown(*option) + suggest(*option, known);
    }
    if (dynamic_cast<CLI::RequiredError const*>(&error) != nullptr) {
        std::vector<std::string> below;
        for (CLI::App const* const each : commandsOf(command)) {
            below.push_back(each->get_name());
        }
        if (!below.empty() && !extra.empty()) {
            return "no command " + shown(extra[0]) + suggest(extra[0], below);
        }
        if (!below.empty()) {
            return "which command? There are " + enumerate(below);
        }
        CLI::Option const* const missing = command.get_option_no_throw(name);
        std::string const type = missing == nullptr ? "" : typeOf(*missing);
        std::string const isWhat = name.starts_with('-') ? name + ' ' + type : type.empty() ? name : type;
        return command.get_name() + " needs " + isWhat;
    }
    if (isMismatch) {
        CLI::Option const* const given = command.get_option_no_throw(name);
        std::string const type = given == nullptr ? "" : typeOf(*given);
        return name + (type.empty()                        ? " takes no value"
                       : said.find("At Most") != said.npos ? " is given more than once"
                       : given->get_items_expected_min() > 1 && !given->nonpositional()
                           ? " is to be given " + std::to_string(given->get_items_expected_min()) + " times"
                           : " takes " + type);
    }
    if (dynamic_cast<CLI::ExcludesError const*>(&error) != nullptr) {
        return name + " goes with no " + said.substr(said.rfind(' ') + 1);
    }
    if (dynamic_cast<CLI::RequiresError const*>(&error) != nullptr) {
        return name + " goes with " + said.substr(said.rfind(' ') + 1);
    }
    return said.substr(0, said.find_last_not_of(' ') + 1);
}

} // namespace

std::string refusalOf(CLI::App& app, CLI::ParseError const& error) {
    CLI::App* command = &app;
    std::string whole; // with the commands above
    while (!command->get_subcommands().empty()) {
        command = command->get_subcommands()[0];
        whole += ' ' + command->get_name();
    }
    std::string const help = "; see " + (app.get_name().empty() ? "help" : app.get_name()) + whole +
                             (app.get_name().empty() ? "" : " --help");
    return refusalOf(app, *command, error) + help;
}

CLI::Validator oneOf(std::vector<std::string> const& known, std::string const& refusal) {
    return CLI::Validator(
               [known, refusal](std::string const& given) {
                   return std::ranges::count(known, given) != 0
                              ? std::string()
                              : refusal + ' ' + shown(given) + "; there are " + enumerate(known);
               },
               "")
        .name(join(known));
}

std::vector<std::string> choicesOf(CLI::Option& option) {
    try {
        std::string const names = option.get_validator(0)->get_name();
        std::vector<std::string_view> const words = split(names);
        return {words.begin(), words.end()};
    } catch (CLI::OptionNotFound const&) { // it takes any word
        return {};
    }
}

} // namespace tool
