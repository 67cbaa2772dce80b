/// `loamtunnel monitor`: the state of a live tree, and then each change as it comes.

#include "console/BoundedLines.h"
#include "console/Command.h"
#include "console/Live.h"
#include "console/Results.h"
#include "forms/Text.h"
#include "link/Connector.h"
#include "tools/Commands.h"

#include <algorithm>
#include <chrono>
#include <cstdlib>
#include <exception>
#include <functional>
#include <map>
#include <memory>
#include <new>
#include <ostream>
#include <poll.h>
#include <sstream>
#include <string>
#include <unistd.h>
#include <vector>

namespace tool {

using namespace Kor::NboAttrLog;

namespace {

struct MonitorOptions {
    LiveOptions live;
    std::vector<std::string> paths;
    ChangeFilter filter;
    std::size_t buffer = 10'000;
    Output output;
    /// 0 for no end.
    unsigned seconds = 0;
};

/// The roots that are watched, over any number of connections.
class Monitoring {
public:
    Monitoring(MonitorOptions const& options, BoundedLines& lines, std::function<void()> stop)
        : options_(options), lines_(lines), stop_(std::move(stop)), events_(text_, options.output, &places_) {
    }

    void setUp(Session& session) {
        if (options_.paths.empty()) {
            return; // all that is offered, when it is known
        }
        for (std::string const& path : options_.paths) {
            want(session, rootOf(path));
        }
    }
    void offersChanged(Session& session) {
        for (auto const& [path, offer] : session.peerOffers()) {
            if (options_.paths.empty()) {
                want(session, std::string(path.view()));
            }
        }
        for (std::string const& path : options_.paths) {
            if (!session.peerOffers().contains(Kor::Name(Kor::String8(rootOf(path))))) {
                note(noRootText(rootOf(path)));
                wasMissing = true;
            }
        }
    }
    void note(std::string const& text) {
        events_.note("-- ", text);
        tell();
    }

private:
    void want(Session& session, std::string const& name) {
        Root& root = roots_[name];
        Kor::Ptr<Session> const current(&session);
        if (session_ != current) {
            session_ = current;
            for (auto& [each, other] : roots_) {
                other.isWanted = false;
            }
        }
        if (root.isWanted) {
            return;
        }
        root.isWanted = true;
        auto const hook = [this, name](RootState state, Kor::Ptr<Kor::Entity> const& entity,
                                       Kor::String8 const& why) { rootIs(name, state, entity, why); };
        Kor::Name const path{Kor::String8(name)};
        root.entity ? session.want(path, root.entity, hook) : session.want(path, hook);
    }

public:
    void rootIs(std::string const& name, RootState state, Kor::Ptr<Kor::Entity> const& entity,
                Kor::String8 const& why) {
        Root& root = roots_[name];
        if (state == RootState::refused || (state == RootState::absent && root.entity)) {
            note(rootText(name) + (state == RootState::refused ? " is refused: " : " is gone: ") +
                 std::string(why.view()));
        }
        if (state != RootState::synchronized) {
            return;
        }
        if (root.entity == entity) {
            note(rootText(name) + " is resynchronised");
            return;
        }
        root.watches.clear();
        root.entity = entity;
        if (places_.all().contains(name)) {
            places_.del(name);
        }
        places_.add(name, boxOfEntity(entity));
        try {
            for (std::string const& path :
                 options_.paths.empty() ? std::vector<std::string>{rootText(name)} : options_.paths) {
                if (Forms::rootOf(path) == name) {
                    watchIfThere(root, path);
                }
            }
        } catch (Refused const&) {
            fails(std::current_exception());
        } catch (std::bad_alloc const&) { // else the session would end, and the next one not tell it again
            fails(noMemory());
        }
    }

private:
    struct Root {
        Kor::Ptr<Kor::Entity> entity{};
        std::vector<std::unique_ptr<Watch>> watches{};
        bool isWanted = false;
    };

    static std::exception_ptr noMemory() {
        return std::make_exception_ptr(Refused("there is not enough memory"));
    }
    void fails(std::exception_ptr const& why) {
        failure = why;
        stop_();
    }
    /// What is not there ends all if there is nothing else to watch.
    void watchIfThere(Root& root, std::string const& path) {
        try {
            watch(root, path);
        } catch (NotThere const& gone) {
            if (options_.paths.size() == 1) {
                throw;
            }
            note(gone.what());
            wasMissing = true;
        }
    }
    void watch(Root& root, std::string const& path) {
        Place const place = places_.at(path);
        state(place);
        root.watches.push_back(std::make_unique<Watch>(place, [this](Watch::Change const& change) {
            try {
                if (options_.filter.takes(change)) {
                    events_.change("", timeNow(), change);
                    tell();
                }
            } catch (std::bad_alloc const&) {
                fails(noMemory());
            }
        }));
    }

    void state(Place const& place) {
        events_.tree("state", place, deepest, options_.filter);
        lines_.addAll(taken());
    }
    /// A row, or a note; before the first row of columns there are headings.
    void tell() {
        for (std::string& line : taken()) {
            lines_.add(std::move(line));
        }
    }
    /// The lines that have been written since the last time.
    std::vector<std::string> taken() {
        std::vector<std::string> lines;
        std::istringstream text(std::move(text_).str());
        text_.str("");
        for (std::string line; std::getline(text, line);) {
            lines.push_back(std::move(line));
        }
        return lines;
    }

    static constexpr unsigned deepest = 16;
    MonitorOptions const& options_;
    BoundedLines& lines_;
    std::function<void()> stop_;
    Kor::Ptr<Session> session_;
    std::map<std::string, Root> roots_;
    Roots places_;
    TextStream text_;
    Events events_;

public:
    std::exception_ptr failure;
    /// Something that was asked for by name was not offered.
    bool wasMissing = false;
};

/// What is left is written, and what was wrong is said.
void finish(Context& context, Monitoring const& monitoring, BoundedLines& lines) {
    if (!lines.drain(std::chrono::seconds(2))) {
        // The thread that writes cannot be ended otherwise, and neither can a stream that it has locked.
        pollfd diagnostics{STDERR_FILENO, POLLOUT, 0}; // which may be the same terminal
        if (::poll(&diagnostics, 1, 0) == 1) {
            context.note("the output takes nothing: not all is written");
        }
        std::_Exit(refusedStatus);
    }
    lines.mustBeWhole();
    if (monitoring.failure) {
        std::rethrow_exception(monitoring.failure);
    }
    if (monitoring.wasMissing) {
        context.status = notThereStatus;
    }
}

/// Over the connection of a shell.
void monitorOver(Context& context, Live& live, MonitorOptions const& options) {
    live.timeoutIs(options.live.timeout);
    BoundedLines lines(context.out, options.buffer);
    bool isStopped = false;
    Monitoring monitoring(options, lines, [&] { isStopped = true; });
    std::vector<std::string> roots;
    for (std::string const& path : options.paths) {
        roots.push_back(rootOf(path));
    }
    for (std::string const& root : roots.empty() ? live.offers() : roots) {
        monitoring.rootIs(root, RootState::synchronized, entityIn(live.at(rootText(root)).object), "");
    }
    constexpr unsigned forever = 365 * 24 * 3600;
    if (!isStopped) {
        live.runFor(std::chrono::seconds(options.seconds != 0 ? options.seconds : forever));
    }
    finish(context, monitoring, lines);
}

void monitor(Context& context, MonitorOptions const& options) {
    if (context.live != nullptr) {
        monitorOver(context, *context.live, options);
        return;
    }
    for (std::string const& path : options.paths) {
        if (rootOf(path).empty()) { // which none can be called: it is not waited for
            throw NotThere(noRootText(""));
        }
    }
    Kor::Link::Loop loop;
    BoundedLines lines(context.out, options.buffer);
    bool isStopped = false;
    auto const stop = [&] {
        isStopped = true;
        loop.stop();
    };
    Monitoring monitoring(options, lines, stop);
    Kor::Link::ConnectorConfig config = connectorConfig("monitor");
    bool hasAnswered = false; // something takes connections there
    config.setUp = [&](Session& session) {
        hasAnswered = true;
        monitoring.setUp(session);
    };
    bool wasThere = false;
    config.hooks.offersChanged = [&](Session& session) {
        wasThere = true;
        monitoring.offersChanged(session);
    };
    config.lost = [&](Kor::String8 const& reason, std::chrono::milliseconds) {
        monitoring.note("no connection: " + std::string(reason.view()));
    };
    endingSignalsAre(loop, [&](int) { stop(); });
    Kor::Link::Connector connector = connectorTo(loop, addressOf(options.live.address), config);
    auto const bound = boundMemory(loop, options.live.memory, [&](std::string const& reason) {
        monitoring.failure = std::make_exception_ptr(Refused(reason));
        connector.close(Kor::String8(reason));
        stop();
    });
    auto const broken = loop.every(std::chrono::milliseconds(200), [&] {
        if (lines.isBroken()) {
            stop();
        }
    });
    using namespace std::chrono;
    auto const end = steady_clock::now() + seconds(options.seconds);
    auto const left = [&] { return ceil<milliseconds>(end - steady_clock::now()); };
    milliseconds const patience =
        options.seconds != 0 ? std::min(options.live.timeout, left()) : options.live.timeout;
    if (loop.runUntil([&] { return wasThere || isStopped; }, patience) && !isStopped) {
        options.seconds != 0 ? static_cast<void>(loop.runFor(left())) : loop.run();
    }
    finish(context, monitoring, lines);
    if (!wasThere && !isStopped) {
        throwNoConnection(options.live, hasAnswered, connector.lastReason().view());
    }
}

} // namespace

Command const monitorCommand = Row<MonitorOptions>{
    .name = "monitor",
    .does = "Print the state of a live tree, then each change",
    .takes =
        [](Takes& takes, MonitorOptions& options) {
            takes.option("paths", options.paths, "", "Places to watch, such as lifStatus (default: all)");
            takes.filter(options.filter);
            takes.option("--kind", options.filter.kind, "KIND", "Show changes of this kind: set or del")
                .oneOf({"set", "del"}, "no kind");
            takes.number(
                "--buffer", options.buffer,
                "How many lines may wait for a slow terminal; more are lost and counted (default: 10000)");
            takes.positive("--for", options.seconds, "End after so many seconds (default: with SIGINT)");
            takes.live(options.live);
            takes.output(options.output, "; without it, lines; JSON has an object a line");
            takes.form(options.output);
        },
    .run = monitor,
    .more = "A connection that is lost is made again; lines with -- in front tell of it. The first one is "
            "waited\n"
            "for as --timeout says.",
    .isInShell = true,
    .runsUntilTold = [](Context const&, MonitorOptions const&) { return true; },
};

} // namespace tool
