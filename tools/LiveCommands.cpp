#include "tools/LiveCommands.h"

#include "attrlog/session/Diagnostics.h"
#include "link/Listener.h"
#include "tools/Script.h"

#include <csignal>
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
        context.out << line << '\n';
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
    loop.signalsAre({SIGINT, SIGTERM}, [&](int) { loop.stop(); });
    Kor::Link::ListenerConfig config;
    config.service = service;
    config.session = sessionConfig("serve");
    config.hooks.established = [&](Session& peer) {
        context.note(shown(peer.peerName().view()) + " is there");
    };
    config.hooks.closed = [&](Session& peer, Kor::String8 const& reason) {
        context.note(shown(peer.peerName().view()) + " has left: " + shown(reason.view()));
    };
    refusing("cannot serve", [&] {
        Kor::Link::Listener listener(loop, addressOf(options.live.address), config);
        context.note("serving at " + listener.address().text());
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
    context.out << Forms::del(live.at(path)) << '\n';
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
    context.out << path << (wait.gone ? " deleted" : " = " + textOf(valueAt(live.roots().at(path)))) << '\n';
}

void stats(Context& context, LiveOptions const& options, Output const& output) {
    Json const answer = Json::parse(Live(options, "stats").call("stats", ""));
    Listing listing({"peer", "counter", "value"});
    for (Json const& peer : answer.at("peers")) {
        for (auto const& [name, value] : peer.items()) {
            if (name != "peer") {
                listing.add({peer.at("peer"), name, value});
            }
        }
    }
    for (auto const& [name, value] : answer.items()) { // of the whole process
        if (value.is_number()) {
            listing.add({"", name, value});
        }
    }
    listing.print(context.out, output);
}

} // namespace tool
