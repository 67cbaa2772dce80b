#pragma once

/// What is drawn in place on a terminal: how far long work is, and a page that is refreshed.
///
///     tool::Progress progress(context);
///     for (...) { progress.step([&] { return "3 of 10 requests made; waits for a place"; }); ... }
///
/// Texts may come from a peer: they are made plain and cut to the width of the terminal.

#include "console/Context.h"

#include <chrono>
#include <string>
#include <string_view>
#include <vector>

namespace tool {

bool isTerminal(int descriptor);

struct TerminalSize {
    unsigned columns = 80, rows = 24;
};
TerminalSize terminalSize(int descriptor);

/// The text as plain as Kor::plainText makes it, cut to so many columns: no byte makes more than one.
std::string fitting(std::string_view text, unsigned columns);

/// One line at the end of a terminal, from half a second on, that is written over and over and is gone at the
/// end. Nothing where the messages go to no terminal.
class Progress {
public:
    enum When {
        always,
        /// Where the results go to a terminal too, they tell how far it is.
        unlessResults,
    };
    explicit Progress(Context& context, When when = always);
    ~Progress() { end(); }
    Progress(Progress const&) = delete;
    Progress& operator=(Progress const&) = delete;

    /// Shows what `text()` gives, a few times a second, however often it is called.
    template <class Text>
    void step(Text const& text) {
        if (isShown_ && Clock::now() >= next_) {
            show(text());
        }
    }
    /// Takes the line away.
    void end();

private:
    using Clock = std::chrono::steady_clock;

    void show(std::string const& text);
    void wipe();

    Context& context_;
    bool isShown_;
    bool isThere_ = false;
    Clock::time_point next_ = Clock::now() + std::chrono::milliseconds(500);
};

/// Writes lines over those that were there, from the top of the terminal on, as many as it has room for.
void drawPage(std::ostream& out, std::vector<std::string> const& lines, TerminalSize size);

} // namespace tool
