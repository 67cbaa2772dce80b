#pragma once

/// Lines from a terminal, with editing, history and completion where the program was built with libedit, and
/// without them where it was not.
///
///     tool::LineEditor editor("loamtunnel> ", {.wait = ..., .complete = ...});
///     while (auto const line = editor.line()) { ... }

#include "console/Completion.h"

#include <functional>
#include <memory>
#include <optional>
#include <string>

namespace tool {

class LineEditor {
public:
    struct Hooks {
        /// Waits until there is something to read; false to give the line up.
        std::function<bool()> wait;
        std::function<Completion(std::string_view before)> complete;
    };
    LineEditor(std::string prompt, Hooks hooks);
    /// Keeps the history.
    ~LineEditor();
    LineEditor(LineEditor const&) = delete;
    LineEditor& operator=(LineEditor const&) = delete;

    /// Nothing at the end. An empty one where the line was given up.
    std::optional<std::string> line();
    /// Writes a line above the one that is edited.
    void say(std::string const& text);

private:
    struct Impl;
    std::unique_ptr<Impl> impl_;
};

} // namespace tool
