#include "tools/LiveCommands.h"

#include "forms/Diagnostics.h"
#include "link/Listener.h"
#include "tools/Messages.h"
#include "tools/Results.h"
#include "tools/Script.h"
#include "tools/Streams.h"

#include <algorithm>
#include <csignal>
#include <exception>
#include <optional>
#include <ostream>
#include <string>
#include <vector>

namespace tool {

using namespace Kor::NboAttrLog;

std::pair<std::string, std::optional<std::string>> parseWait(std::string const& text) {
    Nesting nesting;
    for (std::size_t i = 0; i < text.size(); ++i) {
        if (nesting.step(text[i]) && text[i] == '=') {
            return {std::string(trimmed(std::string_view(text).substr(0, i))),
                    std::string(trimmed(std::string_view(text).substr(i + 1)))};
        }
    }
    return {text, std::nullopt};
}

void serve(Context& context, ServeOptions const& options) {
    Script script(context.out);
    if (!options.file.empty()) {
        InputFile file(options.file);
        script.run(file.stream(), options.file);
    }
    for (std::string const& root : options.roots) {
        std::size_t const sign = root.find('=');
        if (sign == root.npos) {
            throw WrongUsage("'" + shown(root) + "' is not NAME=TYPE, such as lif=LifAppConfigDir");
        }
        script.line("new " + root.substr(sign + 1) + ' ' + rootText(root.substr(0, sign)));
    }
    auto const service = Kor::makePtr<Service>();
    diagnosticsAre(*service, {.setsTrace = options.writable});
    for (auto const& [name, box] : script.roots().all()) {
        auto const entity = entityIn(box);
        if (!entity && std::ranges::any_of(options.roots, [&, name = name](std::string const& root) {
                return root.starts_with(name + '=');
            })) {
            throw WrongUsage("cannot serve " + name + ": " + shortName(*box->type()) +
                             " is no type of entities");
        }
        if (entity) {
            refusing("cannot serve " + name, [&, name = name] {
                service->offer(Kor::Name(Kor::String8(name)), entity,
                               options.writable ? Access::writable : Access::readOnly);
            });
        }
    }
    if (service->offers().empty()) {
        throw WrongUsage(
            "there is nothing to serve; give NAME=TYPE, or --run FILE with a script that makes entities");
    }
    // What is served here has nothing behind it: it is done when it is applied.
    service->fenceHookIs([](Session&, Kor::Ptr<Fence> const& fence) { fence->doneIs(); });
    Kor::Link::Loop loop;
    endingSignalsAre(loop, [&] { loop.stop(); });
    Messages messages(context);
    auto const ticking = loop.every(std::chrono::seconds(1), [&] {
        messages.tick();
        service->count("messagesLost") = messages.lost();
    });
    Kor::Link::ListenerConfig config;
    config.service = service;
    config.session = sessionConfig("serve");
    config.hooks.established = [&](Session& peer) {
        std::string const name = shown(peer.peerName().view());
        messages.note(name + " is there", {{"LOAM_PEER", name}});
    };
    config.hooks.closed = [&](Session& peer, Kor::String8 const& reason) {
        std::string const name = shown(peer.peerName().view());
        messages.note(name + " has left: " + shown(reason.view()), {{"LOAM_PEER", name}});
    };
    config.refused = [&](Kor::String8 const& reason) {
        messages.warn("refused: " + shown(reason.view(), 200));
    };
    refusing("cannot serve", [&] {
        Kor::Link::Listener listener(loop, serverAddressOf(options.live.address), config);
        messages.note("serving at " + listener.address().text());
        loop.run();
        listener.close("the server ends");
    });
}

void tree(Context& context, LivePlace const& options) {
    Connection connection(context, options.live, "tree");
    Live& live = connection.live();
    Values values(context.out, options.output, &live.roots());
    if (!options.path.empty()) {
        values.tree(live.at(options.path), options.depth, options.filter);
    } else {
        for (std::string const& root : live.offers()) {
            values.tree(live.at(rootText(root)), options.depth, options.filter);
        }
    }
    values.end();
}

void get(Context& context, LivePlace const& options) {
    Connection connection(context, options.live, "get");
    Live& live = connection.live();
    Values values(context.out, options.output, &live.roots());
    values.items(live.at(options.path));
    values.end();
}

void set(Context& context, SetOptions const& options) {
    Connection connection(context, options.live, "set");
    Live& live = connection.live();
    auto const setOne = [&](std::string const& path, std::string_view value) {
        live.mustBeWritable(path);
        Forms::set(live.at(path), value, live.roots());
    };
    if (options.file.empty()) {
        setOne(options.path, options.value);
    } else {
        if (options.file == "-" && context.live != nullptr) {
            throw WrongUsage("the shell's input is its commands; -f takes a file here");
        }
        eachLine(context, options.file, [&](std::string const& line, std::string const&) {
            std::string_view const text = trimmed(line);
            std::string_view const path = words(text).front();
            setOne(std::string(path), text.substr(path.size()));
        });
    }
    live.deliver();
}

void del(Context& context, LivePlace const& options) {
    Connection connection(context, options.live, "del");
    Live& live = connection.live();
    live.mustBeWritable(options.path);
    Place const place = live.at(options.path);
    Values values(context.out, options.output, &live.roots());
    values.item({place.path, Forms::del(place)}, true);
    live.deliver();
    values.end();
}

void wait(Context& context, WaitOptions const& options) {
    Connection connection(context, options.live, "wait");
    Live& live = connection.live();
    auto const [path, value] = parseWait(options.condition);
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

namespace {

/// The counters of an answer to `stats` in rows, of peers by name.
std::vector<std::vector<Cell>> counterRows(Json const& answer, StatsOptions const& options) {
    auto const cellOf = [](Json const& json) {
        return json.kind == Json::Kind::number
                   ? Cell::raw(json.text)
                   : Cell(json.isObject() || json.isArray() ? json.shown() : json.text);
    };
    std::vector<std::vector<Cell>> rows;
    auto const add = [&](std::string const& peer, std::string const& counter, Json const& value) {
        if (fits(options.peer, peer) && fits(options.counter, counter)) {
            rows.push_back({peer, counter, cellOf(value)});
        }
    };
    std::vector<Json const*> peers;
    for (auto const& [none, peer] : answer.at("peers").members) {
        peers.push_back(&peer);
    }
    std::ranges::stable_sort(peers, {}, [](Json const* peer) { return peer->at("peer").text; });
    for (Json const* const peer : peers) {
        for (auto const& [name, value] : peer->members) {
            if (name != "peer") {
                add(peer->at("peer").text, name, value);
            }
        }
    }
    for (auto const& [name, value] : answer.members) { // of the whole process
        if (value.kind == Json::Kind::number) {
            add("", name, value);
        }
    }
    return rows;
}

} // namespace

void stats(Context& context, StatsOptions const& options) {
    Connection connection(context, options.live, "stats");
    Live& live = connection.live();
    std::vector<std::string> columns{"peer", "counter", "value"};
    if (options.watch == 0) {
        Listing listing(columns);
        for (auto& row : counterRows(live.ask("stats", ""), options)) {
            listing.add(std::move(row));
        }
        return listing.print(context.out, options.output);
    }
    columns.insert(columns.begin(), "time");
    RowPrinter printer(context.out, columns, options.output, RowPrinter::Rows::lines);
    live.signalsEndWaiting();
    while (live.signal() == 0) {
        std::string const time = timeNow();
        for (auto& row : counterRows(live.ask("stats", ""), options)) {
            row.insert(row.begin(), time);
            printer.add(row);
        }
        printer.end();
        context.out.flush();
        live.runFor(std::chrono::seconds(options.watch));
    }
}

} // namespace tool
