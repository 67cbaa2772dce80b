#pragma once

/// A command is one row, in the file of its work: its name, what it does, what it takes, what else there is
/// to know with examples, and its function. Help, manual page and completion follow from the row.
///
///     Command const tool::addrCommand = Row<AddressOptions>{
///         .name = "addr",
///         .does = "Give the SCHAN address of rows",
///         .takes =
///             [](Takes& takes, AddressOptions& options) {
///                 takes.numbers("entries", options.entries, "", "no row number", "Row numbers").required();
///                 takes.chip(options.row.chip).required();
///                 takes.output(options.output, " (default: table)");
///             },
///         .run = address,
///         .more = "  loamtunnel addr --chip 8 --array 1 5",
///     };
///
/// tools/Commands.h lists the rows. Texts break their lines as help prints them. An option's text comes last,
/// what it takes, such as FILE, before it. What is refused throws WrongUsage.

#include "console/Context.h"
#include "console/Listing.h"
#include "console/RowLine.h"

#include <chrono>
#include <functional>
#include <initializer_list>
#include <memory>
#include <optional>
#include <string>
#include <utility>
#include <vector>

namespace CLI {
class App;
class Option;
} // namespace CLI

namespace tool {

struct LiveOptions;
struct ChangeFilter;

/// An option that is declared, and how it goes with others.
class Option {
public:
    explicit Option(CLI::Option* option) : option_(option) {}

    Option required() const;
    Option expected(int least, int most) const;
    Option excludes(std::initializer_list<Option> others) const;
    Option needs(Option other) const;
    /// It takes one of a few words; the refusal of another one begins with `refusal`.
    Option oneOf(std::vector<std::string> const& known, std::string const& refusal) const;
    /// It is given where this variable of the environment is.
    Option orOf(char const* variable) const;
    bool isGiven() const;
    std::string name() const;

private:
    CLI::Option* option_;
};

/// What a command takes. One whose name begins with no minus is an argument.
class Takes {
public:
    Takes(CLI::App& command, Context& context) : command_(command), context_(context) {}

    Option flag(char const* name, bool& to, char const* text);
    /// How often it is given.
    Option flag(char const* name, int& to, char const* text);
    Option option(char const* name, std::string& to, char const* type, std::string const& text);
    Option option(char const* name, std::optional<std::string>& to, char const* type,
                  std::string const& text);
    /// Arguments, or an option that is given several times.
    Option option(char const* name, std::vector<std::string>& to, char const* type, std::string const& text);
    Option option(char const* name, std::function<void(std::string const&)> const& set, char const* type,
                  std::string const& text);
    /// With commas between several, or given several times.
    Option list(char const* name, std::vector<std::string>& to, char const* type, std::string const& text);
    /// The same of numbers; the refusal of what is none ends with `refusal`.
    Option numbers(char const* name, std::vector<U64>& to, char const* type, char const* refusal,
                   std::string const& text, U64 most = 0xffffffff);
    /// A number of `least` to `most`, in decimal or hexadecimal; also a time in the unit of its type.
    template <class Number>
    Option number(char const* name, Number& to, std::string const& text, U64 most = 0xffffffff,
                  U64 least = 0) {
        return number(
            name, [&to](U32 n) { to = Number(n); }, text, most, least);
    }
    Option number(char const* name, std::function<void(U32)> set, std::string const& text,
                  U64 most = 0xffffffff, U64 least = 0);
    /// A number of at least 1.
    template <class Number>
    Option positive(char const* name, Number& to, std::string const& text, U64 most = 0xffffffff) {
        return number(name, to, text, most, 1);
    }
    /// A word for each of a few values.
    template <class Value>
    Option choice(char const* name, Value& to, std::vector<std::pair<std::string, Value>> known,
                  char const* type, char const* refusal, std::string const& text) {
        std::vector<std::string> words;
        words.reserve(known.size());
        for (auto const& [word, value] : known) {
            words.push_back(word);
        }
        auto const set = [&to, known = std::move(known)](std::string const& given) {
            for (auto const& [word, value] : known) {
                to = word == given ? value : to;
            }
        };
        return option(name, set, type, text).oneOf(words, refusal);
    }

    Option chip(std::string& chip, char const* text = "Chip model: 3, 4, 5, 7, 8, 9 or 10");
    Option chips(std::vector<std::string>& chips, char const* text);
    /// The table and the variant of a row.
    void row(RowOptions& row);
    /// How results are printed.
    void output(Output& output, char const* own);
    /// How values look, for commands that print some; in JSON of a few the keys, too.
    void form(Output& output, bool isInJson = false);
    /// The address of a process.
    void socket(std::string& address);
    /// The same, and how long to wait for it. In a shell its own, of which the time alone can be chosen.
    void live(LiveOptions& live);
    /// The time, and what is held meanwhile.
    void patience(LiveOptions& live);
    /// Which changes of a live tree are shown.
    void filter(ChangeFilter& filter);

    /// Called once all is read; throws WrongUsage for options that do not go together.
    std::function<void()> check() const;

private:
    void refuseInJson(Option option, Output const& output, char const* why);

    CLI::App& command_;
    Context& context_;
    std::vector<std::function<void()>> checks_;
};

/// A row, whatever its options are.
struct Command {
    char const* name;
    char const* does;
    /// Declares what it takes, and calls its function once that is read.
    std::function<void(CLI::App& command, Context& context)> takes;
    std::string more{};
    /// Whether a shell has it, too.
    bool isInShell = false;
    /// The commands that it consists of.
    std::vector<Command const*> below{};

    void addTo(CLI::App& app, Context& context) const;
};

/// Reads what is given, then calls the function.
void afterReading(CLI::App& command, std::function<void()> function);

template <class Options>
struct Row {
    char const* name;
    char const* does;
    void (*takes)(Takes& takes, Options& options);
    void (*run)(Context& context, Options const& options);
    std::string more{};
    bool isInShell = false;
    /// Whether it has no result to wait for, so that SIGINT, SIGTERM and SIGHUP tell it to end and are no
    /// failure; null for never.
    bool (*runsUntilTold)(Context const& context, Options const& options) = nullptr;

    // NOLINTNEXTLINE(google-explicit-constructor): what it is for
    operator Command() const {
        return {name, does,
                [takes = takes, run = run, told = runsUntilTold](CLI::App& command, Context& context) {
                    auto const options = std::make_shared<Options>();
                    Takes all(command, context);
                    takes(all, *options);
                    afterReading(command, [&context, options, run, told, check = all.check()] {
                        check();
                        context.runsUntilTold = told != nullptr && told(context, *options);
                        try {
                            run(context, *options);
                        } catch (Interrupted const&) {
                            if (!context.runsUntilTold) {
                                throw;
                            }
                        }
                    });
                },
                more, isInShell};
    }
};

} // namespace tool
