/// `loamtunnel log record`

#include "console/Command.h"
#include "console/Files.h"
#include "console/Live.h"
#include "forms/Recording.h"
#include "link/Connector.h"
#include "tools/Commands.h"

#include <cerrno>
#include <ext/stdio_filebuf.h>
#include <fcntl.h>
#include <filesystem>
#include <optional>
#include <ostream>
#include <set>
#include <span>
#include <string>
#include <sys/stat.h>
#include <unistd.h>

namespace tool {

using namespace Kor::NboAttrLog;

namespace {

struct LogRecordOptions {
    LiveOptions live;
    std::string file;
    /// Write over what is there.
    bool force = false;
    std::vector<std::string> roots;
    unsigned seconds = 0;
    /// End as soon as all roots are here.
    bool once = false;
    U64 most = RecordingOut::defaultMost;
};

/// A recording may hold what is nobody else's business, and is never mixed with another file.
File fileFor(LogRecordOptions const& options, bool& wasThere) {
    if (File old = openRegular(options.file, O_RDWR)) {
        if (!options.force) {
            throw Refused(shown(options.file) + " is there already; --force writes over it");
        }
        wasThere = true;
        return old;
    }
    return makeRegular(options.file);
}

void logRecord(Context& context, LogRecordOptions const& options) {
    Kor::Link::Address const address = addressOf(options.live.address);
    std::vector<std::pair<std::string, std::string>> asked; // as given, and the root that a path begins with
    asked.reserve(options.roots.size());
    for (std::string const& given : options.roots) {
        asked.emplace_back(given, rootOf(given));
    }
    bool wasThere = false;
    __gnu_cxx::stdio_filebuf<char> buffer(fileFor(options, wasThere).release(),
                                          std::ios::out | std::ios::binary);
    std::ostream file(&buffer);
    Kor::Link::ConnectorConfig config = connectorConfig("log record");
    config.mostWait = std::chrono::milliseconds(250);
    int failure = 0; // the first one's errno
    auto const note = [&] { failure = failure == 0 && !file ? errno : failure; };
    auto const mustBeWritten = [&] {
        file.flush();
        note();
        if (!file) {
            errno = failure;
            throw Refused(systemFailure("cannot write", options.file));
        }
    };
    std::optional<RecordingOut> recording; // of the first connection, and no other
    std::string lost;
    bool isLost = false;
    config.setUp = [&](Session&) {
        if (::fchmod(buffer.fd(), S_IRUSR | S_IWUSR) != 0 || ::ftruncate(buffer.fd(), 0) != 0) {
            throw Refused(systemFailure("cannot write", options.file));
        }
        lost.clear(); // of the tries before
        recording.emplace(file, config.session.limits, options.most);
        mustBeWritten();
    };

    Kor::Link::Loop loop;
    config.lost = [&](Kor::String8 const& reason, std::chrono::milliseconds) {
        lost = reason.view();
        isLost = recording.has_value();
        if (isLost) { // before there is another one
            loop.stop();
        }
    };
    std::set<std::string> wanted, here, missing;
    std::set<std::string> told;
    std::string refusal;
    U64 pieces = 0;
    auto const want = [&](Session& session, std::string const& root) {
        if (wanted.insert(root).second) {
            session.want(Kor::Name(Kor::String8(root)),
                         [&, root](RootState state, Kor::Ptr<Kor::Entity> const&, Kor::String8 const& why) {
                             if (state == RootState::refused) {
                                 refusal = root + " is refused: " + std::string(why.view());
                                 loop.stop();
                             } else if (state == RootState::synchronized) {
                                 here.insert(root);
                             }
                         });
        }
    };
    auto const begin = std::chrono::steady_clock::now();
    config.tap = [&](Session const&, bool isSent, std::span<Kor::U8 const> bytes) {
        auto const time = std::chrono::steady_clock::now() - begin;
        recording->write(
            isSent ? Side::connecting : Side::accepting,
            static_cast<U64>(std::chrono::duration_cast<std::chrono::microseconds>(time).count()), bytes);
        note();
        ++pieces;
        if (recording->isCut() || !file) {
            loop.stop();
        }
    };
    config.hooks.offersChanged = [&](Session& session) {
        if (!session.areOffersKnown()) {
            return;
        }
        if (options.roots.empty()) {
            for (auto const& [path, offer] : session.peerOffers()) {
                want(session, std::string(path.view()));
            }
        }
        missing.clear();
        for (auto const& [given, begins] : asked) {
            auto const isOffered = [&](std::string const& name) {
                return session.peerOffers().contains(Kor::Name(Kor::String8(name)));
            };
            std::string const& root = isOffered(given) ? given : begins;
            if (isOffered(root)) {
                want(session, root);
            } else if (!wanted.contains(root)) {
                missing.insert(root);
                if (told.insert(root).second) {
                    context.note(noRootText(root));
                }
            }
        }
    };
    int toldBy = 0;
    endingSignalsAre(loop, [&](int signal) {
        toldBy = signal;
        loop.stop();
    });
    bool isComplete = false;
    {
        Kor::Link::Connector connector = connectorTo(loop, address, config);
        auto const most = options.seconds != 0
                              ? Kor::Link::Loop::Duration(std::chrono::seconds(options.seconds))
                          : options.once ? Kor::Link::Loop::Duration(options.live.timeout)
                                         : Kor::Link::Loop::Duration(std::chrono::hours(24 * 365));
        bool const isThere = loop.runUntil([&] { return recording || toldBy != 0; }, options.live.timeout);
        if (isThere && toldBy == 0 && !isLost) {
            loop.runUntil(
                [&] {
                    isComplete = !(wanted.empty() && missing.empty()) && here == wanted;
                    return isLost || (options.once && isComplete);
                },
                most);
        }
    } // which says goodbye, and that is recorded too
    mustBeWritten();
    if (pieces == 0) {
        buffer.close();
        if (!wasThere) {
            std::filesystem::remove(options.file);
        }
        if (toldBy != 0) {
            context.note("nothing was recorded");
            throw Interrupted(toldBy);
        }
        throw noConnection(options.live.address, lost);
    }
    if (!refusal.empty()) {
        throw Refused(refusal);
    }
    if (options.once && !isComplete && toldBy != 0) {
        throw Interrupted(toldBy);
    }
    if (options.once && !isComplete) {
        std::string const what = "not all that was asked for has come";
        if (!lost.empty() || recording->isCut()) {
            throw Refused(what + (lost.empty() ? "; the recording is full" : ": " + shown(lost)));
        }
        throw TimedOut("within " + std::to_string(options.live.timeout.count()) + " ms " + what);
    }
    if (!lost.empty()) {
        context.note("the connection has ended: " + shown(lost));
    }
    if (recording->isCut()) {
        context.note("the recording is full");
    }
    context.note(std::to_string(recording->bytes()) + " bytes recorded");
    if (!missing.empty()) {
        context.status = notThereStatus;
    }
}

} // namespace

Command const logRecordCommand = Row<LogRecordOptions>{
    .name = "record",
    .does = "Record a connection to a process that serves",
    .takes =
        [](Takes& takes, LogRecordOptions& options) {
            takes.option("file", options.file, "FILE", "The recording, a new file").required();
            takes.flag("--force", options.force, "Write over a file that is there");
            takes.option("roots", options.roots, "ROOT", "What to ask for, such as lifStatus (default: all)");
            takes.positive("--for", options.seconds,
                           "End after so many seconds (default: with SIGINT, or with the connection)");
            takes.flag("--once", options.once, "End when all that is asked for is here");
            takes.number("--most", options.most, "End when the file has so many bytes (default: 1 GiB)");
            takes.live(options.live);
        },
    .run = logRecord,
    .runsUntilTold = [](Context const&, LogRecordOptions const& options) { return !options.once; },
};

} // namespace tool
