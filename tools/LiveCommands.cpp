#include "tools/LiveCommands.h"

#include "attrlog/session/Diagnostics.h"
#include "link/Listener.h"
#include "tools/Messages.h"
#include "tools/Script.h"

#include <fstream>
#include <optional>
#include <ostream>
#include <string>
#include <vector>

namespace tool {

using namespace Kor::NboAttrLog;

namespace {

void print(Context& context, std::vector<std::string> const& lines) {
    for (std::string const& line : lines) {
        context.out << Kor::plainText(line) << '\n';
    }
}

/// False for a key that its attribute does not have, which reads as a default.
bool isThere(Place const& place) {
    using Op = Kor::GenericIf::AttributeOp;
    return place.attribute == nullptr || !place.key ||
           place.object->attributeOp({place.attribute->attributeId(), Op::contains}, place.key, nullptr)
                   ->strRep() == "True";
}

} // namespace

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
        std::ifstream file(options.file);
        if (!file) {
            throw Refused("cannot read " + shown(options.file));
        }
        script.run(file, options.file);
    }
    for (std::string const& root : options.roots) {
        std::size_t const sign = root.find('=');
        if (sign == root.npos) {
            throw WrongUsage("'" + shown(root) + "' is not NAME=TYPE, such as lif=LifAppConfigDir");
        }
        script.line("new " + root.substr(sign + 1) + ' ' + root.substr(0, sign));
    }
    auto const service = Kor::makePtr<Service>();
    diagnosticsAre(*service, {.setsTrace = options.writable});
    for (auto const& [name, box] : script.roots().all()) {
        if (auto const entity = entityIn(box)) {
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
        messages.note(shown(peer.peerName().view()) + " is there");
    };
    config.hooks.closed = [&](Session& peer, Kor::String8 const& reason) {
        messages.note(shown(peer.peerName().view()) + " has left: " + shown(reason.view()));
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

void tree(Context& context, LiveOptions const& options, std::string const& path, unsigned depth) {
    Live live(options, "tree");
    if (!path.empty()) {
        return print(context, Forms::tree(live.at(path), depth));
    }
    for (std::string const& root : live.offers()) {
        print(context, Forms::tree(live.at(root), depth));
    }
}

void get(Context& context, LiveOptions const& options, std::string const& path) {
    Live live(options, "get");
    print(context, Forms::get(live.at(path)));
}

void set(Context& context, LiveOptions const& options, std::string const& path, std::string const& value) {
    Live live(options, "set");
    live.mustBeWritable(path);
    Forms::set(live.at(path), value, live.roots());
    live.deliver();
    static_cast<void>(context);
}

void del(Context& context, LiveOptions const& options, std::string const& path) {
    Live live(options, "del");
    live.mustBeWritable(path);
    print(context, {Forms::del(live.at(path))});
    live.deliver();
}

void wait(Context& context, LiveOptions const& options, WaitOptions const& wait) {
    Live live(options, "wait");
    auto const [path, value] = parseWait(wait.condition);
    live.at(rootOf(path));
    std::string last = "it is not there";
    auto const holds = [&, path = path, value = value] {
        try {
            Place const place = live.roots().at(path);
            Box const box = isThere(place) ? valueAt(place) : nullptr;
            if (!box) {
                last = "it is not there";
                return wait.gone;
            }
            last = "it is " + textOf(box);
            return !wait.gone &&
                   (!value || textOf(box) == textOf(readValue(*box->type(), *value, live.roots().find())));
        } catch (Refused const& refused) {
            // Something on the way is not there yet.
            last = refused.what();
            return wait.gone;
        }
    };
    if (!live.until(holds)) {
        throw Refused("within " + std::to_string(options.timeout.count()) + " ms " + shown(path) +
                      (wait.gone ? " did not go: " : " was not so: ") + last);
    }
    print(context, {path + (wait.gone ? " deleted" : " = " + textOf(valueAt(live.roots().at(path))))});
}

void stats(Context& context, LiveOptions const& options, Output const& output) {
    Listing listing({"peer", "counter", "value"});
    auto const addCounters = [&](std::string const& peer, Json const& of) {
        for (auto const& [name, value] : of.items()) {
            if (value.is_number()) {
                listing.add({peer, name, value});
            }
        }
    };
    try {
        Json const answer = Live(options, "stats").ask("stats", "");
        for (Json const& peer : answer.at("peers")) {
            addCounters(peer.at("peer").get<std::string>(), peer);
        }
        addCounters("", answer); // of the whole process
    } catch (Json::exception const&) {
        throw Refused("the process answers what are no counters");
    }
    listing.print(context.out, output);
}

} // namespace tool
