/// `loamtunnel shell`: the commands on a live tree over one connection, a line each.

#include "console/Command.h"
#include "console/LineEditor.h"
#include "console/Live.h"
#include "console/Streams.h"
#include "console/Terminal.h"
#include "tools/Commands.h"
#include "tools/Program.h"
#include "tools/Script.h"

#include <algorithm>
#include <csignal>
#include <memory>
#include <optional>
#include <ostream>
#include <string>
#include <vector>

namespace tool {

namespace {

struct ShellOptions {
    LiveOptions live;
};

bool isPrompt(Context const& context) {
    return isTerminal(context.inDescriptor) && isTerminal(context.outDescriptor);
}

class Shell {
public:
    Shell(Context& context, ShellOptions const& options)
        : context_(context), options_(options), isTerminal_(isPrompt(context)) {}

    void run() {
        connect();
        Context own = within();
        std::vector<CommandWords> commands = shellCommands(own);
        std::vector<std::string> names;
        names.reserve(commands.size());
        for (CommandWords const& each : commands) {
            names.push_back(each.name);
        }
        commands.push_back({"help", {}, names});
        commands.push_back({"quit", {}, {}});
        completer_.emplace(std::move(commands));
        if (isTerminal_) {
            interactive();
        } else {
            piped();
        }
    }

private:
    Context within() {
        return {context_.in,
                context_.out,
                context_.err,
                context_.colourOut,
                context_.colourErr,
                0,
                context_.errDescriptor,
                context_.inDescriptor,
                context_.outDescriptor,
                live_.get()};
    }

    void connect() {
        bool const isAgain = live_ != nullptr;
        std::string const lost = isAgain && !isLossTold_ ? live_->reason() : "";
        live_ = std::make_unique<Live>(options_.live, "shell", &context_);
        if (completer_) {
            completer_->forget();
        }
        isLossTold_ = false;
        if (isAgain || isTerminal_) {
            context_.note((lost.empty() ? "" : "the connection was lost: " + lost + "; ") + "connected " +
                          (isAgain ? "again " : "") + "to " + live_->address());
        }
    }

    void interactive() {
        LineEditor editor("loamtunnel> ",
                          {[&] { return wait(editor); },
                           [this](std::string_view before) { return completer_->at(before, *live_); }});
        context_.note("help lists the commands, quit or Ctrl-D ends");
        while (!isEnding_) {
            context_.out.flush();
            auto const line = editor.line();
            if (!line) {
                return;
            }
            if (!isEnding_) {
                take(*line);
            }
        }
    }
    /// The connection is attended to while nothing is typed.
    bool wait(LineEditor& editor) {
        for (;;) {
            if (live_->isReadable(context_.inDescriptor, isLossTold_)) {
                return true;
            }
            if (int const signal = live_->takeSignal()) {
                isEnding_ = signal != SIGINT;
                return false;
            }
            if (live_->isOver() && !std::exchange(isLossTold_, true)) {
                editor.say("the connection is lost: " + live_->reason() +
                           "; the next command makes it again");
            }
        }
    }

    void piped() {
        std::string line;
        for (U64 number = 1; !isEnding_ && nextLine(context_.in, line, number == 1); ++number) {
            where_ = "stdin:" + std::to_string(number) + ": ";
            int const status = take(line);
            if (context_.status == doneStatus) {
                context_.status = status;
            }
        }
    }

    int take(std::string const& line) {
        try {
            return command(line);
        } catch (Broken const&) {
            throw;
        } catch (Interrupted const& interrupted) {
            isEnding_ = interrupted.signal != SIGINT;
            context_.note(interrupted.what());
            return statusOf(interrupted);
        } catch (Refused const& refused) {
            context_.note(where_ + refused.what());
            return statusOf(refused);
        }
    }
    /// Whether it is the name of a root as it is printed.
    bool isRoot(std::string_view word) const {
        std::vector<std::string> const offers =
            live_->isOver() ? std::vector<std::string>() : live_->offers();
        return std::ranges::any_of(offers, [&](auto const& each) { return rootText(each) == word; });
    }
    int command(std::string const& line) {
        std::vector<std::string> arguments;
        for (std::string_view const word : words(trimmed(withoutComment(line)))) {
            // A value keeps its quotes, and so does the name of a root; what else is asked for, and what
            // follows an option, do not.
            bool const isQuoted = word.size() > 1 && (word.front() == '\'' || word.front() == '"') &&
                                  word.back() == word.front();
            bool const isBare =
                arguments.size() == 1 || (!arguments.empty() && arguments.back().starts_with("--"));
            bool const isStripped = isQuoted && isBare && !isRoot(word);
            arguments.emplace_back(isStripped ? word.substr(1, word.size() - 2) : word);
        }
        if (arguments.empty()) {
            return doneStatus;
        }
        if (arguments[0] == "quit" || arguments[0] == "exit") {
            isEnding_ = true;
            return doneStatus;
        }
        if (arguments[0] == "help") {
            arguments.erase(arguments.begin());
            if (!arguments.empty() && (arguments[0] == "help" || arguments[0] == "quit")) {
                arguments.clear(); // which the list of all says enough of
            }
            arguments.emplace_back("--help");
        }
        if (live_->isOver()) {
            connect();
        }
        Context own = within();
        own.where = where_;
        int const status = tool::run(arguments, own);
        int const signal = live_->takeSignal();
        isEnding_ = isEnding_ || (signal != 0 && signal != SIGINT);
        return status;
    }

    Context& context_;
    ShellOptions const& options_;
    bool isTerminal_;
    bool isLossTold_ = false;
    bool isEnding_ = false;
    /// Which line it is, where no one sees it.
    std::string where_;
    std::unique_ptr<Live> live_;
    std::optional<Completer> completer_;
};

} // namespace

Command const shellCommand = Row<ShellOptions>{
    .name = "shell",
    .does = "Look at a live tree and change it, a command a line",
    .takes = [](Takes& takes, ShellOptions& options) { takes.live(options.live); },
    .run = [](Context& context, ShellOptions const& options) { Shell(context, options).run(); },
    .more =
        "Commands: tree, get, set, del, wait, monitor, sync, explain, audit, stats, trace and schema, as "
        "they are outside, "
        "with\n"
        "their options; help and quit. All go over one connection, which is made again when it is lost. "
        "What\n"
        "has blanks needs no quotes within brackets. Tab completes commands, paths, keys, types, fields and\n"
        "enumerators, arrows and Ctrl-R go through the lines before. Lines from a pipe or a file are "
        "commands,\n"
        "too; the exit status is then that of the first one that failed, and the others are done all the "
        "same.\n\n"
        "  loamtunnel shell\n"
        "  printf '%s\\n' 'get lif.appConfig' 'stats' | loamtunnel shell",
    .runsUntilTold = [](Context const& context, ShellOptions const&) { return isPrompt(context); },
};

} // namespace tool
