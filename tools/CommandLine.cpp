#include "tools/CommandLine.h"

#include "forms/Text.h"
#include "tools/Failure.h"

#include <algorithm>

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

std::string flowing(std::string text) {
    std::ranges::replace(text, '\n', ' ');
    return text;
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
