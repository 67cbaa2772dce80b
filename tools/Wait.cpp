/// `loamtunnel wait` and `sync`: until something is there, or done.

#include "console/Command.h"
#include "console/Live.h"
#include "console/Results.h"
#include "tools/Commands.h"

#include <exception>
#include <memory>
#include <optional>
#include <ostream>
#include <string>

namespace tool {

using namespace Kor::NboAttrLog;

namespace {

struct WaitOptions {
    LiveOptions live;
    std::string condition;
    bool gone = false;
    Output output;
};

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
    auto const holds = [&, path = path, value = value] {
        try {
            Place const place = live.roots().at(path);
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
    bool const isSo = live.until(holds);
    if (wrong) {
        std::rethrow_exception(wrong);
    }
    if (!isSo) {
        throw TimedOut("within " + std::to_string(options.live.timeout.count()) + " ms " + shown(path) +
                       (options.gone ? " did not go: " : " was not so: ") + last);
    }
    if (options.gone && options.output.format == Format::text) {
        context.out << path << " deleted\n";
        return;
    }
    Values values(context.out, options.output, &live.roots());
    if (!options.gone) {
        values.item({path, box});
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

void sync(Context& context, SyncOptions const& options) {
    struct Answer {
        std::optional<FenceResult> result;
    };
    auto const answer = std::make_shared<Answer>();
    Connection connection(context, options.live, "sync");
    Live& live = connection.live();
    live.session().fence(
        options.level, [answer](FenceResult const& result) { answer->result = result; },
        options.all ? FenceExtent::all : FenceExtent::peer);
    if (!live.until([&] { return answer->result.has_value(); })) {
        throw TimedOut("within " + std::to_string(options.live.timeout.count()) +
                       " ms not all that was written has been " +
                       (options.level == FenceLevel::done ? "done" : "applied"));
    }
    FenceResult const& result = *answer->result;
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
    .more = "The exit status is 1 when a process cannot do it, or has gone before it was done, and 5 when\n"
            "there is no answer in time.\n\n"
            "  loamtunnel sync --wait done --all --timeout 60000",
    .isInShell = true,
};

} // namespace tool
