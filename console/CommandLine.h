#pragma once

/// What the command line knows of itself, for its manual pages and its completion.

#include <CLI/CLI.hpp>
#include <memory>
#include <string>
#include <vector>

namespace tool {

std::vector<CLI::App*> commandsOf(CLI::App& app);
/// Without those that are hidden.
std::vector<CLI::Option*> optionsOf(CLI::App& app);
/// "-c" and "--chip".
std::vector<std::string> spellingsOf(CLI::Option const& option);
/// What an option takes, such as TABLE; empty for a flag.
std::string typeOf(CLI::Option const& option);

/// How help is laid out: as CLI11 does, but what an option excludes by name; CLI11 keeps that in an order
/// that is another one in each run.
std::shared_ptr<CLI::FormatterBase> helpFormatter();

/// A text without the line breaks that a terminal's help has.
std::string flowing(std::string text);

/// What is wrong with a command line that was not understood, and where to look.
std::string refusalOf(CLI::App& app, CLI::ParseError const& error);

/// One of a few words, which choicesOf() an option with it gives. The refusal of another one begins with
/// `refusal`.
CLI::Validator oneOf(std::vector<std::string> const& known, std::string const& refusal);
std::vector<std::string> choicesOf(CLI::Option& option);

} // namespace tool
