/// `loamtunnel wait` and `sync`: until something is there, or done.

#include "console/Command.h"
#include "console/Live.h"
#include "console/Results.h"
#include "console/Terminal.h"
#include "tools/Audit.h"
#include "tools/Commands.h"

#include <algorithm>
#include <chrono>
#include <exception>
#include <memory>
#include <optional>
#include <ostream>
#include <string>
#include <utility>
#include <vector>

namespace tool {

using namespace Kor::NboAttrLog;
using namespace std::chrono_literals;

namespace {

struct WaitOptions {
    LiveOptions live;
    std::string condition;
    bool gone = false;
    Output output;
};

/// Refuses what can never be: a value that is none of the type. An object is another one, by its path, or
/// none.
void mustBePossible(Live& live, std::string const& path, std::string const& value) {
    Kor::KorType const* const type = live.roots().typeAt(path);
    bool const isRoot = trimmed(path) == rootText(rootOf(path));
    if ((isRoot || (type != nullptr && type->isEntity())) && value != "None" &&
        std::ranges::count(live.offers(), rootOf(value)) == 0) {
        throw Refused(path + " is an object, which is another one by its path or None, not " + shown(value));
    }
    try {
        if (type != nullptr) { // also where the way there is not yet
            readValue(*type, value, live.roots().find(), path);
        }
    } catch (NotThere const&) { // what the value refers to may come, too
    }
}

void wait(Context& context, WaitOptions const& options) {
    auto const [path, value] = parseWait(options.condition);
    if (options.gone && value) {
        throw WrongUsage("--gone takes a path without a value");
    }
    Connection connection(context, options.live, "wait");
    Live& live = connection.live();
    std::string last = "it is not there";
    std::exception_ptr wrong;
    Box box;
    std::string at = path;
    auto const holds = [&, path = path, value = value] {
        try {
            Place const place = live.roots().at(path);
            at = place.path;
            if (value && place.attribute != nullptr) { // what is no value of the type never comes
                readValue(*place.attribute->type(), *value, live.roots().find(), path);
            }
            box = isThere(place) ? valueAt(place) : nullptr;
            last = box ? "it is " + valueText(options.output.form, box, &live.roots()) : "it is not there";
            return options.gone
                       ? !box
                       : box && (!value ||
                                 textOf(box) == textOf(readValue(*box->type(), *value, live.roots().find())));
        } catch (NotThere const& notThere) { // something on the way, which may come
            last = notThere.what();
            return options.gone;
        } catch (Refused const&) {
            wrong = std::current_exception();
            return true;
        }
    };
    live.at(rootText(rootOf(path)));
    if (value) {
        mustBePossible(live, path, *value);
    }
    bool const isSo = live.until(holds);
    if (wrong) {
        std::rethrow_exception(wrong);
    }
    if (!isSo) {
        throw TimedOut("within " + std::to_string(options.live.timeout.count()) + " ms " + shown(path) +
                       (options.gone ? " did not go: " : " was not so: ") + last);
    }
    if (options.gone && options.output.format == Format::text) {
        context.out << at << " deleted\n";
        return;
    }
    Values values(context.out, options.output, &live.roots());
    if (!options.gone) {
        values.item({at, box});
    }
    values.end();
}

/// Asks how far what has been written is.
struct SyncOptions {
    LiveOptions live;
    Output output;
    FenceLevel level = FenceLevel::applied;
    bool all = false;
};

/// What has come when this command waits no more goes on living.
struct Awaited {
    std::optional<FenceResult> result{};
    /// Those of its peers of whom the process waits for a fence, as it told last, and how many have something
    /// of it at all. A process of an older version tells nothing.
    std::vector<std::string> peers{};
    std::size_t asked = 0;
    bool isAsking = false;

    void take(Json const& stats) {
        peers.clear();
        asked = 0;
        for (auto const& [none, peer] : stats.at("peers").members) {
            Json const* const open = peer.find("openFences");
            Json const* const detail = peer.find("detail");
            asked += open != nullptr && numberAt(peer, "entities") != 0 ? 1 : 0;
            if (open != nullptr && numberAt(peer, "openFences") != 0) {
                peers.push_back(shown(peer.at("peer").text) +
                                (detail != nullptr ? " (" + shown(detail->text) + ')' : ""));
            }
        }
    }
};

/// Asks who has not answered, beside what is written: a process that is not done can tell that, too.
void askWho(Session& session, std::shared_ptr<Awaited> const& awaited) {
    if (!session.isOpen() || std::exchange(awaited->isAsking, true)) {
        return;
    }
    session.call(
        "stats", "",
        [awaited](bool ok, Kor::String8 const& answer) {
            awaited->isAsking = false;
            try {
                if (ok) {
                    awaited->take(parseJson(answer.view()));
                }
            } catch (Refused const&) { // then nobody can be named, and the process itself is
                awaited->peers.clear();
            }
        },
        CallOrder::overtakes);
}

void sync(Context& context, SyncOptions const& options) {
    auto const awaited = std::make_shared<Awaited>();
    Connection connection(context, options.live, "sync");
    Live& live = connection.live();
    live.session().fence(
        options.level, [awaited](FenceResult const& result) { awaited->result = result; },
        options.all ? FenceExtent::all : FenceExtent::peer);
    Progress progress(context);
    std::string const who = shown(live.session().peerName().view());
    constexpr std::chrono::milliseconds betweenLooks{250};
    Kor::Link::Timer const asking = live.every(
        std::clamp(options.live.timeout / 4, 1ms, betweenLooks), [&live, &options, &progress, &who, awaited] {
            if (options.all && !live.isOver()) {
                askWho(live.session(), awaited);
            }
            progress.step([&] {
                return awaited->peers.empty()
                           ? "waits for " + who
                           : "waits for " + std::to_string(awaited->peers.size()) + " of " +
                                 std::to_string(std::max(awaited->asked, awaited->peers.size())) +
                                 " peers of " + who + ": " + join(awaited->peers, ", ");
            });
        });
    bool const isAnswered = live.until([&] { return awaited->result.has_value(); });
    progress.end();
    if (!isAnswered) {
        throw TimedOut("within " + std::to_string(options.live.timeout.count()) +
                       " ms not all that was written has been " +
                       (options.level == FenceLevel::done ? "done" : "applied") + ": no answer from " +
                       (awaited->peers.empty() ? who : enumerate(awaited->peers)));
    }
    FenceResult const& result = *awaited->result;
    Listing listing({"outcome", "peers", "gone", "why"});
    listing.add({fenceOutcomeName(result.outcome), Cell::raw(std::to_string(result.peers)),
                 Cell::raw(std::to_string(result.gone)), std::string(result.why.view())});
    listing.print(context.out, options.output);
    if (!result.isReached(options.level)) {
        context.status = refusedStatus;
    }
}

} // namespace

Command const waitCommand = Row<WaitOptions>{
    .name = "wait",
    .does = "Wait until a place of a live tree has a value",
    .takes =
        [](Takes& takes, WaitOptions& options) {
            takes
                .option("condition", options.condition, "",
                        "PATH=VALUE, or PATH alone for any value, such as 'lif.appConfig[vtAppMpls]'")
                .required();
            takes.flag("--gone", options.gone, "Wait until there is nothing at the path");
            takes.live(options.live);
            takes.output(options.output, "; without it, a line");
            takes.form(options.output);
        },
    .run = wait,
    .more = "The exit status is 5 when it did not come about in time.\n\n"
            "  loamtunnel wait --timeout 60000 'lif.appConfig[vtAppMpls].reqCount[AradLifAcMp vsi=1]=3'",
    .isInShell = true,
};

Command const syncCommand = Row<SyncOptions>{
    .name = "sync",
    .does = "Wait until what has been written to a process is there, or done",
    .takes =
        [](Takes& takes, SyncOptions& options) {
            takes.choice<FenceLevel>(
                "--wait", options.level, {{"applied", FenceLevel::applied}, {"done", FenceLevel::done}},
                "LEVEL", "no level", "How far: applied, or done as the process says (default: applied)");
            takes.flag("--all", options.all, "Also ask the peers to which the process tells what it has");
            takes.live(options.live);
            takes.output(options.output, " (default: table)");
        },
    .run = sync,
    .more =
        "The exit status is 1 when a process cannot do it, or has gone before it was done, and 5 when\n"
        "there is no answer in time; those who have not answered are named then. A process that only looks\n"
        "or asks, such as monitor, top, shell and application, is done as soon as it has applied what it\n"
        "gets; a driver is when it has placed all, and kept it.\n\n"
        "  loamtunnel sync --wait done --all --timeout 60000",
    .isInShell = true,
};

} // namespace tool
