#pragma once

/// What the commands on a live tree share: a connection to a process that serves roots, and those of its
/// roots that are asked for, which are then here as they are there.
///
///     tool::Live live({"/run/loam/driver"}, "get");
///     tool::Place const place = live.at("lifStatus.appStatus[vtAppMpls]");
///     ... itemsAt(place), or Forms::set(place, text, live.roots()); live.deliver(); ...
///
/// Everything throws TimedOut when it does not come about in the time given, and NoConnection without one.

#include "console/Context.h"
#include "console/Failure.h"
#include "console/Listing.h"
#include "forms/Json.h"
#include "forms/Path.h"
#include "link/Connector.h"

#include <chrono>
#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <utility>
#include <vector>

namespace tool {

struct LiveOptions {
    std::string address;
    std::chrono::milliseconds timeout{5'000};
    /// How many MiB this process may hold.
    unsigned memory = 1024;
    /// In place of `timeout`: when all is over, however often is waited. There is no second try to connect.
    std::optional<std::chrono::steady_clock::time_point> end{};
    std::chrono::milliseconds left() const;
};

/// The name and the checksum that this program tells its peers.
Kor::NboAttrLog::SessionConfig sessionConfig(std::string_view name);

/// Where to connect; WrongUsage for what is no address. An empty one stands for the user's own place: the
/// file loamtunnel/socket in XDG_RUNTIME_DIR or, without that, in /run.
Kor::Link::Address addressOf(std::string const& text);
/// The same to listen. The folder of the user's own place is made; Refused if others can write to it.
Kor::Link::Address serverAddressOf(std::string const& text);

/// Calls the hook for SIGINT, SIGTERM and SIGHUP, in place of their own actions, but not for one that this
/// process was started to pass over, as nohup does.
void endingSignalsAre(Kor::Link::Loop& loop, std::function<void(int signal)> hook);

/// Calls the hook with the reason once this process holds more memory than so many MiB: what a peer sends may
/// have no end.
[[nodiscard]] Kor::Link::Timer boundMemory(Kor::Link::Loop& loop, unsigned most,
                                           std::function<void(std::string const&)> hook);

/// What a process of this program has for its peers, at first nothing. With nothing behind what it applies,
/// it is done as soon as it has applied it; a process of which that is not true has a fence hook of its own.
Kor::Ptr<Kor::NboAttrLog::Service> makeService();
/// How a process of this program connects, with a service of its own.
Kor::Link::ConnectorConfig connectorConfig(std::string_view name);
/// How to connect once, without a second try.
Kor::Link::ConnectorConfig connectOnce(std::string_view name);
/// Why there is no connection.
NoConnection noConnection(std::string const& address, std::string_view reason);
/// Why there is none within the time: TimedOut where something has taken connections, and said nothing.
[[noreturn]] void throwNoConnection(LiveOptions const& options, bool hasAnswered, std::string_view reason);
/// NoConnection for a host that is not known.
Kor::Link::Connector connectorTo(Kor::Link::Loop& loop, Kor::Link::Address const& address,
                                 Kor::Link::ConnectorConfig const& config);

class Live {
public:
    /// Connects, waits for what is offered, and before that for a server that is not there yet, of which a
    /// terminal is told. Where the command runs until it is told to end, signals end what is waited for.
    Live(LiveOptions const& options, std::string_view name, Context* terminal = nullptr);

    /// Gets the root of the path, if it is not there yet.
    Place at(std::string const& path);
    /// Refused unless the root of the path may be written.
    void mustBeWritable(std::string const& path);
    /// Waits until the peer has taken in what was written here.
    void deliver();
    /// The peer's answer as JSON; Refused for what is none.
    Json ask(std::string_view verb, std::string_view argument);
    /// The peer's answer.
    std::string call(std::string_view verb, std::string_view argument);
    /// Runs until the condition holds; false when the time is over.
    bool until(std::function<bool()> const& condition);
    /// Calls the function again and again while this runs.
    [[nodiscard]] Kor::Link::Timer every(std::chrono::milliseconds period, std::function<void()> function) {
        return loop_.every(period, std::move(function));
    }
    /// Runs that long, unless the connection ends or a signal comes.
    void runFor(std::chrono::milliseconds time);

    /// The signal that has come since the last call, or 0.
    int takeSignal() { return std::exchange(signal_, 0); }
    int signal() const { return signal_; }
    /// Runs until there is something to read from the descriptor; false if a signal has come or, unless that
    /// is to be passed over, the connection has ended before.
    bool isReadable(int descriptor, bool alsoIfOver);
    bool isOver() const;
    std::string reason() const;
    std::string const& address() const { return options_.address; }
    LiveOptions const& options() const { return options_; }
    void timeoutIs(std::chrono::milliseconds timeout) { options_.timeout = timeout; }

    Roots& roots() { return roots_; }
    Kor::NboAttrLog::Session& session();
    /// The names of what is offered.
    std::vector<std::string> offers();

private:
    /// What the hooks of a session say, which may outlive who has asked.
    struct Outcome {
        Kor::NboAttrLog::RootState state{};
        std::string reason{};
    };

    void want(std::string const& root);
    /// Interrupted if a signal has come.
    void mustGoOn() const;
    void require(std::function<bool()> const& condition, std::string const& what);
    Kor::Link::ConnectorConfig config(std::string_view name);

    LiveOptions options_;
    Kor::Link::Loop loop_;
    int signal_ = 0;
    /// Whether there has been a connection; only before that is there a second try.
    bool wasConnected_ = false;
    bool isLost_ = false;
    std::map<std::string, std::shared_ptr<Outcome>> wanted_;
    Kor::Link::Connector connector_;
    /// Why no more is taken from the peer; empty while it is.
    std::string tooMuch_;
    Kor::Link::Timer bound_;
    Roots roots_;
};

/// The connection that a command uses: the shell's, or one of its own.
class Connection {
public:
    Connection(Context& context, LiveOptions const& options, std::string_view name);
    Live& live() { return live_; }

private:
    std::optional<Live> own_;
    Live& live_;
};

/// `PATH=VALUE`, cut at the first = outside of quotes and brackets.
std::pair<std::string, std::optional<std::string>> parseWait(std::string const& text);

} // namespace tool
