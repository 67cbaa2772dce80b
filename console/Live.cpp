#include "console/Live.h"

#include "console/Files.h"
#include "console/Listing.h"
#include "console/Terminal.h"
#include "forms/Text.h"
#include "model/LoamTunnelModule.h"

#include <algorithm>
#include <cctype>
#include <cerrno>
#include <csignal>
#include <cstdlib>
#include <functional>
#include <malloc.h>
#include <memory>
#include <poll.h>
#include <sys/stat.h>
#include <unistd.h>
#include <vector>

namespace tool {

using namespace Kor::NboAttrLog;

Kor::Ptr<Service> makeService() {
    auto service = Kor::makePtr<Service>();
    service->fenceHookIs([](Session&, Kor::Ptr<Fence> const& fence) { fence->doneIs(); });
    return service;
}

Kor::Link::ConnectorConfig connectorConfig(std::string_view name) {
    Kor::Link::ConnectorConfig config;
    config.session = sessionConfig(name);
    config.service = makeService();
    return config;
}

Kor::Link::ConnectorConfig connectOnce(std::string_view name) {
    Kor::Link::ConnectorConfig config = connectorConfig(name);
    config.reconnects = false;
    return config;
}

namespace {

std::string addressText(std::string const& address) {
    return shown(address.empty() ? addressOf("").path() : address);
}

} // namespace

NoConnection noConnection(std::string const& address, std::string_view reason) {
    return NoConnection("no connection to " + addressText(address) + ": " +
                        (reason.empty() ? "no answer in time" : std::string(reason)));
}

void throwNoConnection(LiveOptions const& options, bool hasAnswered, std::string_view reason) {
    if (!hasAnswered || !reason.empty()) {
        throw noConnection(options.address, reason);
    }
    throw TimedOut("no connection from " + addressText(options.address) + " within " +
                   std::to_string(options.timeout.count()) + " ms");
}

Kor::Link::Connector connectorTo(Kor::Link::Loop& loop, Kor::Link::Address const& address,
                                 Kor::Link::ConnectorConfig const& config) {
    try {
        return Kor::Link::Connector(loop, address, config);
    } catch (Kor::RangeException const& unknown) { // a host that there is not
        throw NoConnection(std::string("no connection to ") + unknown.what());
    }
}

SessionConfig sessionConfig(std::string_view name) {
    SessionConfig config = Kor::Link::Peering().session;
    config.name = Kor::Name(Kor::String8(name));
    config.schema = Hardware::LoamTunnel::loamTunnelModule().checksum();
    config.limits.marks = 1'000'000; // 80 MB
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

void endingSignalsAre(Kor::Link::Loop& loop, std::function<void(int signal)> hook) {
    static bool const outlivesTerminal = [] { // before it is first changed
        struct sigaction before {};
        return ::sigaction(SIGHUP, nullptr, &before) == 0 && before.sa_handler == SIG_IGN;
    }();
    outlivesTerminal ? loop.signalsAre({SIGINT, SIGTERM}, std::move(hook))
                     : loop.signalsAre({SIGINT, SIGTERM, SIGHUP}, std::move(hook));
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

std::chrono::milliseconds LiveOptions::left() const {
    using namespace std::chrono;
    return !end ? timeout : std::max(duration_cast<milliseconds>(*end - steady_clock::now()), 0ms);
}

Kor::Link::ConnectorConfig Live::config(std::string_view name) {
    Kor::Link::ConnectorConfig config = connectorConfig(name);
    config.mostWait = std::chrono::milliseconds(250);
    config.reconnects = !options_.end;
    config.setUp = [this](Session&) { wasConnected_ = true; };
    config.lost = [this](Kor::String8 const&, std::chrono::milliseconds) { isLost_ = wasConnected_; };
    return config;
}

Live::Live(LiveOptions const& options, std::string_view name, Context* terminal)
    : options_(options), connector_(connectorTo(loop_, addressOf(options.address), config(name))),
      bound_(boundMemory(loop_, options.memory, [this](std::string const& reason) {
          tooMuch_ = reason;
          if (auto const session = connector_.session()) {
              session->close(Kor::String8(reason));
          }
      })) {
    options_.address = options.address.empty() ? connector_.address().path() : options.address;
    if (terminal != nullptr && terminal->runsUntilTold) {
        endingSignalsAre(loop_, [this](int signal) { signal_ = signal; });
    }
    roots_.missingIs([this](std::string const& root) { want(root); });
    std::optional<Progress> progress;
    if (terminal != nullptr) {
        progress.emplace(*terminal);
    }
    bool const isThere = loop_.runUntil(
        [&] {
            if (progress) {
                progress->step([&] { return "waits for " + options_.address + ": " + reason(); });
            }
            return isOver() || signal_ != 0 || (connector_.isEstablished() && session().areOffersKnown());
        },
        options_.left());
    progress.reset();
    mustGoOn();
    if (!isThere && !wasConnected_) {
        throwNoConnection(options_, false, reason());
    }
    session(); // throws when it is over
    if (!isThere) {
        throwNoConnection(options_, true, "");
    }
}

bool Live::isOver() const {
    return isLost_ || connector_.isOver() || !tooMuch_.empty();
}

std::string Live::reason() const {
    return !tooMuch_.empty() ? tooMuch_ : std::string(connector_.lastReason().view());
}

bool Live::isReadable(int descriptor, bool alsoIfOver) {
    for (;;) {
        loop_.poll();
        if (signal_ != 0 || (isOver() && !alsoIfOver)) {
            return false;
        }
        pollfd entries[] = {{loop_.descriptor(), POLLIN, 0}, {descriptor, POLLIN, 0}};
        ::poll(entries, 2, loop_.pollTime());
        if (entries[1].revents != 0) {
            loop_.poll(); // a signal that came before goes first
            return signal_ == 0;
        }
    }
}

Session& Live::session() {
    Kor::Ptr<Session> const session = connector_.session();
    if (!tooMuch_.empty()) {
        throw Refused(tooMuch_);
    }
    if (isLost_ || !session || !session->isOpen()) {
        throw noConnection(options_.address, connector_.lastReason().view());
    }
    return *session;
}

bool Live::until(std::function<bool()> const& condition) {
    bool holds = false;
    loop_.runUntil([&] { return isOver() || signal_ != 0 || (holds = condition()); }, options_.left());
    session(); // throws when it is over
    if (!holds) {
        mustGoOn();
    }
    return holds;
}

void Live::mustGoOn() const {
    if (signal_ != 0) {
        throw Interrupted(signal_);
    }
}

void Live::runFor(std::chrono::milliseconds time) {
    loop_.runUntil([&] { return isOver() || signal_ != 0; }, time);
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
    for (auto const& [root, outcome] : wanted_) { // what is no longer offered is wanted anew
        if (outcome->state != RootState::synchronized && roots_.all().contains(root)) {
            roots_.del(root);
        }
    }
    return roots_.at(path);
}

void Live::want(std::string const& root) {
    Kor::Name const name{Kor::String8(root)};
    if (!session().peerOffers().contains(name)) {
        std::vector<std::string> known = offers();
        std::ranges::transform(known, known.begin(), rootText);
        throw NotThere(noRootText(root) + suggest(rootText(root), known));
    }
    auto const outcome = std::make_shared<Outcome>();
    wanted_[root] = outcome;
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

namespace {

Live& shared(Live& live, LiveOptions const& options) {
    live.session(); // throws when it is over
    live.timeoutIs(options.timeout);
    return live;
}

} // namespace

Connection::Connection(Context& context, LiveOptions const& options, std::string_view name)
    : live_(context.live != nullptr ? shared(*context.live, options)
                                    : own_.emplace(options, name, &context)) {}

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

} // namespace tool
