#include "tools/Live.h"

#include "forms/Text.h"
#include "model/LoamTunnelTypeList.h"
#include "tools/Files.h"
#include "tools/Listing.h"

#include <algorithm>
#include <cctype>
#include <cerrno>
#include <csignal>
#include <cstdlib>
#include <functional>
#include <malloc.h>
#include <memory>
#include <sys/stat.h>
#include <unistd.h>
#include <vector>

namespace tool {

using namespace Kor::NboAttrLog;

Kor::Link::ConnectorConfig connectOnce(std::string_view name) {
    Kor::Link::ConnectorConfig config;
    config.session = sessionConfig(name);
    config.reconnects = false;
    return config;
}

NoConnection noConnection(std::string const& address, std::string_view reason) {
    return NoConnection("no connection to " + shown(address) + ": " + std::string(reason));
}

SessionConfig sessionConfig(std::string_view name) {
    SessionConfig config = Kor::Link::Peering().session;
    config.name = Kor::Name(Kor::String8(name));
    config.schema = Hardware::LoamTunnel::loamTunnelModule().checksum();
    return config;
}

namespace {

std::string ownFolder() {
    char const* const own = std::getenv("XDG_RUNTIME_DIR");
    return (own != nullptr && own[0] == '/' ? std::string(own) : "/run") + "/loamtunnel";
}

} // namespace

Kor::Link::Address serverAddressOf(std::string const& text) {
    if (text.empty()) {
        std::string const folder = ownFolder();
        constexpr mode_t ownersAlone = S_IRWXU;
        if (::mkdir(folder.c_str(), ownersAlone) != 0 && errno != EEXIST) {
            throw Refused(systemFailure("cannot make", folder) + "; give --socket ADDRESS");
        }
        struct stat status {};
        if (::lstat(folder.c_str(), &status) != 0 || !S_ISDIR(status.st_mode) ||
            status.st_uid != ::geteuid() || (status.st_mode & (S_IWGRP | S_IWOTH)) != 0) {
            throw Refused(shown(folder, folder.size()) +
                          " is no folder of this user's own; give --socket ADDRESS");
        }
    }
    return addressOf(text);
}

void endingSignalsAre(Kor::Link::Loop& loop, std::function<void()> hook) {
    loop.signalsAre({SIGINT, SIGTERM, SIGHUP}, [hook = std::move(hook)](int) { hook(); });
}

Kor::Link::Timer boundMemory(Kor::Link::Loop& loop, unsigned most,
                             std::function<void(std::string const&)> hook) {
    return loop.every(std::chrono::milliseconds(50), [most, hook = std::move(hook)] {
        struct mallinfo2 const held = ::mallinfo2();
        if ((U64{held.uordblks} + U64{held.hblkhd}) >> 20 >= most) {
            hook("what the peer sends takes more than " + std::to_string(most) +
                 " MiB here, which is the limit; --memory sets another one");
        }
    });
}

Kor::Link::Address addressOf(std::string const& text) {
    try {
        return Kor::Link::Address::parse(text.empty() ? ownFolder() + "/socket" : text);
    } catch (Kor::Exception const& exception) {
        throw WrongUsage(exception.what());
    }
}

Live::Live(LiveOptions const& options, std::string_view name)
    : options_(options), connector_(loop_, addressOf(options.address), connectOnce(name)),
      bound_(boundMemory(loop_, options.memory, [this](std::string const& reason) {
          tooMuch_ = reason;
          if (auto const session = connector_.session()) {
              session->close(Kor::String8(reason));
          }
      })) {
    options_.address = options.address.empty() ? connector_.address().path() : options.address;
    roots_.missingIs([this](std::string const& root) { want(root); });
    require([this] { return connector_.isEstablished() && session().areOffersKnown(); }, "a connection");
}

Session& Live::session() {
    Kor::Ptr<Session> const session = connector_.session();
    if (!tooMuch_.empty()) {
        throw Refused(tooMuch_);
    }
    if (!session || !session->isOpen()) {
        throw noConnection(options_.address, connector_.lastReason().view());
    }
    return *session;
}

bool Live::until(std::function<bool()> const& condition) {
    bool const holds = loop_.runUntil([&] { return connector_.isOver() || condition(); }, options_.timeout);
    session(); // throws when it is over
    return holds;
}

void Live::runFor(std::chrono::milliseconds time) {
    loop_.runUntil([&] { return connector_.isOver(); }, time);
    session(); // throws when it is over
}

void Live::require(std::function<bool()> const& condition, std::string const& what) {
    if (!until(condition)) {
        throw TimedOut("no " + what + " from " + shown(options_.address) + " within " +
                       std::to_string(options_.timeout.count()) + " ms");
    }
}

std::vector<std::string> Live::offers() {
    std::vector<std::string> names;
    for (auto const& [path, offer] : session().peerOffers()) {
        names.emplace_back(path.view());
    }
    return names;
}

Place Live::at(std::string const& path) {
    return roots_.at(path);
}

void Live::want(std::string const& root) {
    Kor::Name const name{Kor::String8(root)};
    if (!session().peerOffers().contains(name)) {
        throw NotThere("no root " + shown(root) + " is offered" + suggest(root, offers()));
    }
    // The hooks may be called after this function has given up.
    struct Outcome {
        RootState state{};
        std::string reason;
    };
    auto const outcome = std::make_shared<Outcome>();
    session().want(name, [outcome](RootState now, Kor::Ptr<Kor::Entity> const&, Kor::String8 const& why) {
        *outcome = {now, std::string(why.view())};
    });
    require([&] { return outcome->state >= RootState::synchronized; }, "root " + root);
    Kor::Ptr<Kor::Entity> const entity = session().root(name);
    if (outcome->state == RootState::refused || !entity) {
        throw Refused("root " + root + " is not to be had: " + outcome->reason);
    }
    roots_.add(root, boxOfEntity(entity));
}

void Live::mustBeWritable(std::string const& path) {
    auto const& offers = session().peerOffers();
    auto const found = offers.find(Kor::Name(Kor::String8(rootOf(path))));
    if (found != offers.end() && found->second.access == Access::readOnly) {
        throw Refused("root " + shown(rootOf(path)) + " is offered read-only by " +
                      shown(session().peerName().view()));
    }
}

void Live::deliver() {
    require([this] { return !session().demuxer().hasWork(); }, "room");
    call("sync", "");
}

Json Live::ask(std::string_view verb, std::string_view argument) {
    std::string const answer = call(verb, argument);
    try {
        return parseJson(answer);
    } catch (Refused const& refused) {
        throw Refused(shown(options_.address) + " gives an odd answer to " + std::string(verb) + ": " +
                      refused.what());
    }
}

std::string Live::call(std::string_view verb, std::string_view argument) {
    struct Answer {
        bool isThere = false;
        bool isDone = false;
        std::string text;
    };
    auto const answer = std::make_shared<Answer>();
    // What is asked here does not depend on what is written; deliver() waits for that.
    session().call(
        Kor::Name(Kor::String8(verb)), Kor::String8(argument),
        [answer](bool ok, Kor::String8 const& text) {
            *answer = {true, ok, std::string(text.view())};
        },
        Kor::NboAttrLog::CallOrder::overtakes);
    require([&] { return answer->isThere; }, "answer");
    if (!answer->isDone) {
        throw Refused(Forms::shown(answer->text, 1000));
    }
    return answer->text;
}

} // namespace tool
