/// `loamtunnel serve`

#include "console/Command.h"
#include "console/Live.h"
#include "console/Messages.h"
#include "console/Streams.h"
#include "forms/Diagnostics.h"
#include "link/Listener.h"
#include "tools/Commands.h"
#include "tools/Script.h"

#include <algorithm>
#include <string>
#include <vector>

namespace tool {

using namespace Kor::NboAttrLog;

namespace {

struct ServeOptions {
    std::string address;
    std::vector<std::string> roots;
    std::string file;
    bool writable = false;
};

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
    auto const service = makeService();
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
    Kor::Link::Loop loop;
    endingSignalsAre(loop, [&](int) { loop.stop(); });
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
        std::string const named = shown(peer.peerName().view());
        std::string const name = named.empty() ? "a connection" : named; // which never said who it is
        messages.note(name + " has left: " + shown(reason.view()), {{"LOAM_PEER", name}});
    };
    config.refused = [&](Kor::String8 const& reason) {
        messages.warn("refused: " + shown(reason.view(), 200));
    };
    refusing("cannot serve", [&] {
        Kor::Link::Listener listener(loop, serverAddressOf(options.address), config);
        messages.note("serving at " + listener.address().text());
        loop.run();
        listener.close("the server ends");
    });
}

} // namespace

Command const serveCommand = Row<ServeOptions>{
    .name = "serve",
    .does = "Serve entities to other processes",
    .takes =
        [](Takes& takes, ServeOptions& options) {
            takes.option("roots", options.roots, "NAME=TYPE",
                         "New entities to serve, such as lif=LifAppConfigDir");
            takes.option("--run", options.file, "FILE", "Serve what a script has made; see loamtunnel run");
            takes.flag("-w,--writable", options.writable, "Let peers write");
            takes.socket(options.address);
        },
    .run = serve,
    .more = "SIGINT, SIGTERM or SIGHUP ends it, with status 0.\n\n"
            "  loamtunnel serve lif=LifAppConfigDir --writable &\n"
            "  loamtunnel set 'lif.appConfig[vtAppMpls]'\n"
            "  loamtunnel monitor",
    .runsUntilTold = [](Context const&, ServeOptions const&) { return true; },
};

} // namespace tool
