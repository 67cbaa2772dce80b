#include "console/Candidates.h"

#include "console/CommandLine.h"
#include "console/Completion.h"
#include "console/Failure.h"
#include "forms/Entries.h"
#include "forms/Text.h"
#include "platform/Hardware/Loam/VtAppId.h"
#include "reflect/Text.h"

#include <algorithm>
#include <chrono>
#include <cstdlib>
#include <functional>
#include <optional>

namespace tool {

namespace {

constexpr std::chrono::milliseconds patience(300);
constexpr Kor::U64 mostPatience = 10'000;

/// The names of all.
template <class All, class Name>
std::vector<std::string> namesOf(All const& all, Name const& name) {
    std::vector<std::string> names;
    names.reserve(std::size(all));
    for (auto const& each : all) {
        names.emplace_back(std::invoke(name, each));
    }
    return names;
}

std::vector<std::string> kindNames() {
    return namesOf(allKinds(), &Kind::name);
}

/// What an option takes that is one of a few.
std::vector<std::string> choicesFor(CLI::Option& option) {
    if (std::vector<std::string> words = choicesOf(option); !words.empty()) {
        return words;
    }
    std::string const type = typeOf(option);
    if (type.starts_with("CHIP")) {
        return namesOf(supportedChips(), [](Hardware::ChipType chip) { return std::to_string(chip); });
    }
    return type == "TABLE"  ? namesOf(Hardware::tableInfos(), &Hardware::TableInfo::name)
           : type == "APP"  ? namesOf(Kor::enumerators<Hardware::Loam::VtAppId>, &Kor::Enumerator::name)
           : type == "KIND" ? kindNames()
                            : std::vector<std::string>();
}

/// A command line up to its last word, which is to be completed.
class Line {
public:
    Line(CLI::App& app, std::vector<std::string> const& words) : command_(&app) {
        for (std::string const& word : words) {
            take(word);
        }
    }

    std::vector<Candidate> ending(std::string const& last) const {
        if (option_ != nullptr) {
            return choices(*option_, "", last);
        }
        std::vector<Candidate> all;
        auto const offer = [&](std::string const& text, std::string const& meaning) {
            if (text.starts_with(last)) {
                all.push_back({text, flowing(meaning)});
            }
        };
        if (isOption(last)) {
            std::size_t const sign = last.find('=');
            if (CLI::Option* const option = sign == last.npos ? nullptr : find(last.substr(0, sign))) {
                return choices(*option, last.substr(0, sign + 1), last.substr(sign + 1));
            }
            for (CLI::Option const* const each : optionsOf(*command_)) {
                for (std::string const& spelling : spellingsOf(*each)) {
                    offer(spelling, each->get_description());
                }
            }
            return all;
        }
        if (words_.empty()) {
            for (CLI::App const* const each : commandsOf(*command_)) {
                offer(each->get_name(), each->get_description());
            }
        }
        std::vector<CLI::Option*> positionals = optionsOf(*command_);
        std::erase_if(positionals, [](CLI::Option const* each) { return each->nonpositional(); });
        if (positionals.empty()) {
            return all;
        }
        std::size_t const number = std::min(words_.size(), positionals.size() - 1);
        if (number < words_.size() && positionals[number]->get_items_expected_max() == 1) {
            return all;
        }
        for (std::string const& each :
             argument(argumentNamed(positionals[number]->get_single_name()), number, last)) {
            offer(each, "");
        }
        return all;
    }

private:
    bool isOption(std::string_view word) const { return !isPlain_ && word.starts_with('-'); }
    CLI::Option* find(std::string const& spelling) const {
        for (CLI::Option* const each : optionsOf(*command_)) {
            if (std::ranges::count(spellingsOf(*each), spelling) != 0) {
                return each;
            }
        }
        return nullptr;
    }
    void take(std::string const& word) {
        if (option_ != nullptr) {
            valueIs(word);
        } else if (isOption(word)) {
            std::size_t const sign = std::min(word.find('='), word.size());
            isPlain_ = word == "--";
            option_ = find(word.substr(0, sign));
            missing_ = option_ == nullptr ? 0 : option_->get_items_expected_min();
            if (missing_ == 0) {
                option_ = nullptr;
            } else if (sign != word.size()) {
                valueIs(word.substr(sign + 1));
            }
        } else if (CLI::App* const below = words_.empty() ? commandNamed(word) : nullptr) {
            command_ = below;
        } else {
            words_.push_back(word);
        }
    }
    CLI::App* commandNamed(std::string const& name) const {
        auto const all = commandsOf(*command_);
        auto const found = std::ranges::find(all, name, &CLI::App::get_name);
        return found == all.end() ? nullptr : *found;
    }
    void valueIs(std::string const& value) {
        if (option_->check_lname("socket")) {
            address_ = value;
        } else if (option_->check_lname("timeout")) {
            if (std::optional<Kor::U64> const told = Kor::Forms::parseNumber(value)) {
                end_ = begin_ + std::chrono::milliseconds(std::min<Kor::U64>(*told, mostPatience));
            }
        }
        if (--missing_ == 0) {
            option_ = nullptr;
        }
    }

    /// Of which there may be several, with commas between.
    std::vector<Candidate> choices(CLI::Option& option, std::string const& before,
                                   std::string const& last) const {
        std::size_t const comma =
            option.get_delimiter() == '\0' ? last.npos : last.rfind(option.get_delimiter());
        std::string const others = comma == last.npos ? "" : last.substr(0, comma + 1);
        std::string const kept = before + others;
        std::vector<Candidate> all;
        std::vector<std::string> known = choicesFor(option);
        constexpr Argument ofProcess[]{Argument::path, Argument::attribute, Argument::peer,
                                       Argument::counter};
        Argument const argument = argumentNamed(option.get_single_name());
        if (std::ranges::count(ofProcess, argument) != 0) {
            std::string const text = last.substr(others.size());
            Completion completion = live(argument, text);
            known = std::move(completion.words);
            std::ranges::for_each(known,
                                  [&](std::string& each) { each.insert(0, text, 0, completion.from); });
        }
        for (std::string const& each : known) {
            if (each.starts_with(last.substr(others.size()))) {
                all.push_back({kept + each});
            }
        }
        return all;
    }

    /// Whole words; the number-th of the positionals takes those from there on.
    std::vector<std::string> argument(Argument argument, std::size_t number, std::string const& last) const {
        // A value may be in several words, of which the last one is completed.
        bool const isOfWords = argument == Argument::value || argument == Argument::text ||
                               argument == Argument::entry || argument == Argument::request;
        std::string text;
        for (std::size_t i = number; isOfWords && i < words_.size(); ++i) {
            text.append(words_[i]).append(1, ' ');
        }
        std::size_t const begin = text.size();
        text += last;
        Completion completion;
        if (argument == Argument::entry || argument == Argument::text) {
            completion = Vocabulary::own().complete(number == 0 ? "" : words_[0], text);
            if (argument == Argument::entry && text.find(' ') == text.npos) {
                completion = {0, kindNames()};
            }
        } else if (std::size_t const sign = text.find('='); argument == Argument::root && sign != text.npos) {
            completion = {sign + 1, Vocabulary::own().rootTypes()};
        } else if (argument == Argument::type) {
            completion = {0, Vocabulary::own().types()};
        } else if (argument != Argument::other) {
            completion = live(argument, text);
        }
        for (std::string& each : completion.words) {
            each.insert(0, text, begin, completion.from - begin);
            Nesting nesting;
            std::ranges::for_each(each, [&](char c) { nesting.step(c); });
            bool const goesOn = each.ends_with('=') || each.ends_with('[') || each.ends_with('.');
            each += nesting.isComplete() || goesOn ? "" : " ";
        }
        return completion.words;
    }

    /// As the process that the line is about has it.
    Completion live(Argument argument, std::string_view text) const {
        CLI::Option const* const socket = command_->get_option_no_throw("--socket");
        if (socket == nullptr) {
            return {};
        }
        char const* const environment = std::getenv(socket->get_envname().c_str());
        LiveOptions options;
        options.address = address_ ? *address_ : environment != nullptr ? environment : "";
        options.end = end_;
        Live live(options, "completion");
        return Completer({}).word(argument, words_.empty() ? "" : words_[0], text, live);
    }

    std::chrono::steady_clock::time_point begin_ = std::chrono::steady_clock::now();
    std::chrono::steady_clock::time_point end_ = begin_ + patience;
    CLI::App* command_;
    /// Whose value comes next, and how many of it.
    CLI::Option* option_ = nullptr;
    int missing_ = 0;
    bool isPlain_ = false;
    std::optional<std::string> address_{};
    std::vector<std::string> words_{};
};

} // namespace

std::vector<Candidate> candidates(CLI::App& app, std::vector<std::string> const& words) {
    if (words.empty()) {
        return {};
    }
    try {
        Line const line(app, {words.begin(), words.end() - 1});
        std::vector<Candidate> all = line.ending(words.back());
        // Where a single one goes on, so do its candidates.
        while (all.size() == 1 && (all[0].text.ends_with('[') || all[0].text.ends_with(' '))) {
            std::vector<Candidate> more = line.ending(all[0].text);
            if (more.empty() || more[0].text.size() <= all[0].text.size()) {
                break;
            }
            all = std::move(more);
        }
        return all;
    } catch (std::exception const&) { // a process that is not there, or no place in it
        return {};
    }
}

} // namespace tool
