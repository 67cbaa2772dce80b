/// Sessions over real sockets, between loops and processes: what is served, what is refused, and what becomes
/// of it when one side dies.

#include "link/Connector.h"
#include "link/Listener.h"
#include "support/Refusal.h"
#include "support/Sessions.h"

#include <algorithm>
#include <array>
#include <csignal>
#include <cstdlib>
#include <fcntl.h>
#include <filesystem>
#include <fstream>
#include <gtest/gtest.h>
#include <memory>
#include <optional>
#include <sched.h>
#include <set>
#include <string>
#include <sys/file.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <sys/wait.h>
#include <thread>
#include <unistd.h>
#include <vector>

namespace {

using namespace Kor;
using namespace Kor::NboAttrLog;
using namespace Hardware;
using namespace Hardware::LoamTunnel;
using namespace std::chrono_literals;
using Kor::Link::Address;
using Kor::Link::Connector;
using Kor::Link::ConnectorConfig;
using Kor::Link::Listener;
using Kor::Link::ListenerConfig;
using Kor::Link::Loop;
using support::fill;
using support::lifEntry;
using support::refusal;
using support::sameState;

constexpr auto enough = 60s;

/// A folder of the test's own.
struct Folder {
    Folder() {
        char name[] = "/tmp/loam-link-XXXXXX";
        path = ::mkdtemp(name);
    }
    ~Folder() { std::filesystem::remove_all(path); }
    Folder(Folder const&) = delete;
    Folder& operator=(Folder const&) = delete;
    std::string path;
};

struct Links : testing::Test {
    ListenerConfig serving() const {
        ListenerConfig config;
        config.service = service;
        config.session.name = "driver";
        return config;
    }
    /// One that wants the directory, tries quickly, and is told how it went.
    ConnectorConfig wanting(Ptr<LifAppConfigDir> const& copy) {
        ConnectorConfig config;
        config.session.name = "application";
        config.firstWait = 1ms;
        config.mostWait = 20ms;
        config.setUp = [copy](Session& session) { session.want("lif", copy); };
        config.lost = [this](String8 const& reason, auto) { losses.emplace_back(reason.view()); };
        return config;
    }
    /// What a client is told that tries once.
    std::string refusalOf(ConnectorConfig client) {
        client.reconnects = false;
        Connector const connector(loop, address, client);
        EXPECT_TRUE(until([&] { return connector.isOver(); }));
        return std::string(connector.lastReason().view());
    }
    std::string refusalToListen() {
        return refusal([this] { Listener(loop, address, serving()); });
    }
    template <class Condition>
    bool until(Condition const& condition) {
        return loop.runUntil(condition, enough);
    }
    /// While another loop runs, and this one beside it.
    template <class Condition>
    bool until(Loop& other, Condition const& condition) {
        return other.runUntil([&] { return (loop.poll(), condition()); }, enough);
    }
    static bool isThere(Connector const& connector) {
        auto const session = connector.session();
        return session && session->rootState("lif") == RootState::synchronized;
    }

    Folder folder;
    Address const address = Address::parse("unix:" + folder.path + "/socket");
    Loop loop;
    Ptr<LifAppConfigDir> const dir = lifAppConfigDirFactory("lif");
    Ptr<LifAppConfigDir> const mine = lifAppConfigDirFactory("mine");
    Ptr<Service> const service = [this] {
        auto made = makePtr<Service>();
        made->offer("lif", dir);
        made->handlerIs("echo", [](Session&, String8 const& text) { return text; });
        return made;
    }();
    std::vector<std::string> losses;
};

TEST(Address, IsReadAndWritten) {
    for (char const* const text : {"unix:/run/x", "unix:relative", "tcp:localhost:5", "tcp:10.0.0.1:0",
                                   "tcp:[::1]:65535", "tcp:*:9"}) {
        EXPECT_EQ(Address::parse(text).text(), text);
    }
    EXPECT_EQ(Address::parse("/run/x"), Address::parse("unix:/run/x"));
    EXPECT_EQ(Address::parse("tcp:99"), Address::tcp("localhost", 99));
    EXPECT_EQ(Address::parse("tcp:[::1]:7").host(), "::1");
    struct {
        std::string text, why;
    } const refused[] = {
        {"", "it does not say of what kind"},
        {"x", "it does not say of what kind"},
        {"unix:", "a path has 1 to 107 bytes"},
        {"/" + std::string(107, 'x'), "a path has 1 to 107 bytes"},
        {"tcp:", "a port is a number from 0 to 65535"},
        {"tcp:host", "a port is a number from 0 to 65535"},
        {"tcp:host:65536", "a port is a number from 0 to 65535"},
        {"tcp:host:-1", "a port is a number from 0 to 65535"},
        {"tcp:host:1x", "a port is a number from 0 to 65535"},
        {"tcp::1", "the host is empty"},
        {"tcp:::1:5", "an IPv6 address stands in brackets"},
    };
    for (auto const& [text, why] : refused) {
        EXPECT_NE(refusal([&, text = text] { Address::parse(text); }).find(": " + why + "; write unix:/path"),
                  std::string::npos)
            << text;
    }
}

TEST_F(Links, CarrySessionsOverUnixSocketsAndTcpAndLeaveNothingBehind) {
    dir->appConfigIs(Loam::vtAppMpls)->reqCountIs(lifEntry(1), 1);
    for (auto const& at : {address, Address::parse("tcp:0"), Address::parse("tcp:127.0.0.1:0")}) {
        SCOPED_TRACE(at.text());
        Ptr<Session> theirs;
        std::string goodbye;
        std::optional<Connector> connector;
        {
            ListenerConfig config = serving();
            config.hooks.established = [&](Session& session) { theirs = &session; };
            Listener listener(loop, at, config);
            if (at.kind() == Address::Kind::local) {
                EXPECT_EQ(std::filesystem::status(at.path()).permissions(), std::filesystem::perms(0600));
            } else {
                EXPECT_NE(listener.address().port(), 0);
            }
            ConnectorConfig client = wanting(mine);
            client.hooks.closed = [&](Session&, String8 const& reason) { goodbye = reason.view(); };
            client.reconnects = false;
            connector.emplace(loop, listener.address(), client);
            ASSERT_TRUE(until([&] { return isThere(*connector); })) << connector->lastReason();
            EXPECT_TRUE(sameState(*dir, *mine));
            EXPECT_EQ(theirs->peerName(), "application");
            EXPECT_EQ(listener.sessions().size(), 1u);
            // What is changed beside the loop is sent before it waits again, much of it as well as little.
            mine->appConfigIs(Loam::vtAppVxlan)->reqCountIs(lifEntry(2), 2);
            fill(*dir->appConfigIs(Loam::vtAppMpls), 30'000, 2);
            std::string answer;
            std::string const question(50'000, '?');
            connector->session()->call("echo", question,
                                       [&](bool, String8 const& text) { answer = text.view(); });
            ASSERT_TRUE(until(
                [&] { return !answer.empty() && !theirs->demuxer().hasWork() && sameState(*dir, *mine); }));
            EXPECT_EQ(answer, question);
            dir->appConfigDel(Loam::vtAppMpls);
            if (at.kind() == Address::Kind::tcp && at.host() != "localhost") {
                listener.close("for today");
                ASSERT_TRUE(until([&] { return connector->isOver(); }));
                EXPECT_EQ(goodbye, "for today");
                continue;
            }
        }
        ASSERT_TRUE(until([&] { return connector->isOver(); }));
        EXPECT_EQ(goodbye, "the server ends");
        EXPECT_EQ(losses.back(), "the server ends");
        EXPECT_FALSE(std::filesystem::exists(address.path()));
    }
    EXPECT_TRUE(service->sessions().empty());
    EXPECT_EQ(dir->references(), 2u);
}

TEST_F(Links, WhatAConditionChangesIsSentBeforeTheLoopWaits) {
    Listener const listener(loop, address, serving());
    Connector const connector(loop, address, wanting(mine));
    ASSERT_TRUE(until([&] { return isThere(connector); }));
    U32 asked = 0;
    auto const here = mine->appConfigIs(Loam::vtAppMpls);
    EXPECT_TRUE(until([&] {
        auto const there = std::as_const(*dir).appConfig(Loam::vtAppMpls);
        if (there && there->reqCount(lifEntry(1)) == asked) {
            here->reqCountIs(lifEntry(1), ++asked);
        }
        return asked == 50;
    })) << "stuck at "
        << asked;
}

TEST_F(Links, WaitLongerFromLossToLossUpToTheMost) {
    ConnectorConfig config = wanting(mine);
    config.firstWait = 2ms;
    config.mostWait = 16ms;
    std::vector<std::chrono::milliseconds> waits;
    config.lost = [&](String8 const& why, auto wait) {
        EXPECT_NE(why.view().find("No such file"), std::string_view::npos) << why;
        waits.push_back(wait);
    };
    Connector const connector(loop, address, config); // where there is no server
    ASSERT_TRUE(until([&] { return waits.size() == 6; }));
    auto most = config.firstWait;
    for (auto const wait : waits) { // each somewhere in the upper half of the doubled one
        EXPECT_GE(wait, most / 2);
        EXPECT_LE(wait, most);
        most = std::min(most * 2, config.mostWait);
    }
}

/// What happens in a process of its own that has become another one; skipped where that is not allowed.
template <class Work>
int statusOf(Work const& work) {
    pid_t const id = ::fork();
    if (id == 0) {
        std::_Exit(work());
    }
    int status = 0;
    ::waitpid(id, &status, 0);
    return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
}
constexpr int skipped = 77;

TEST_F(Links, ListenOnlyWhereNobodyDoesAndNoFileIsLost) {
    {
        Listener const first(loop, address, serving());
        EXPECT_EQ(refusalToListen(),
                  "cannot listen on " + address.text() + ": a server is listening there already");
    }
    std::ofstream(address.path()) << "dear";
    EXPECT_EQ(refusalToListen(),
              "cannot listen on " + address.text() + ": there is a file of that name, which is no socket");
    EXPECT_EQ(std::filesystem::file_size(address.path()), 4u);
    std::filesystem::remove(address.path());
    EXPECT_NE(refusal([&] {
                  Listener(loop, Address::local("/none/socket"), serving());
              }).find("/none/socket.lock: No such file"),
              std::string::npos);
    EXPECT_NE(refusal([&] { Listener(loop, Address::parse("tcp:nowhere.invalid:0"), serving()); }),
              std::string("accepted"));
    // One that is killed leaves its file, which is nobody's then.
    statusOf([&] {
        Loop inner;
        static_cast<void>(std::make_unique<Listener>(inner, address, serving()).release());
        std::_Exit(0);
        return 0;
    });
    EXPECT_TRUE(std::filesystem::exists(address.path()));
    // It removes its own file alone.
    auto listener = std::make_unique<Listener>(loop, address, serving());
    std::filesystem::remove(address.path());
    Listener const other(loop, address, serving());
    listener.reset();
    EXPECT_TRUE(std::filesystem::exists(address.path()));
}

TEST_F(Links, RefusePeersOfAnotherUserAndMoreThanThereIsRoomForAndSayWhy) {
    std::vector<std::string> refused;
    ListenerConfig config = serving();
    config.sessions = 1;
    config.peerUid = ::geteuid() + 1;
    config.refused = [&](String8 const& reason) { refused.emplace_back(reason.view()); };
    std::string const other = "the peer runs for user " + std::to_string(::geteuid()) +
                              ", and this side talks to user " + std::to_string(::geteuid() + 1) + " alone";
    {
        Listener const listener(loop, address, config);
        EXPECT_EQ(refusalOf(wanting(mine)), other);
        EXPECT_EQ(refused, std::vector{other});
        EXPECT_TRUE(mine->appConfigMap().empty());
    }
    config.peerUid = {};
    Listener const listener(loop, address, config);
    ConnectorConfig client = wanting(mine);
    client.peerUid = ::geteuid() + 1; // a server can be an impostor, too
    EXPECT_EQ(refusalOf(client), other);
    Connector const first(loop, address, wanting(mine));
    ASSERT_TRUE(until([&] { return first.isEstablished(); }));
    EXPECT_EQ(refusalOf(wanting(mine)), "there are 1 sessions already, which is the limit");
    EXPECT_TRUE(first.isEstablished());
}

TEST_F(Links, ANeighbourWhoLocksTheFolderKeepsNobodyFromListening) {
    int const held = ::open(folder.path.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    ASSERT_EQ(::flock(held, LOCK_EX | LOCK_NB), 0);
    { Listener const listener(loop, address, serving()); }
    ::close(held);
    EXPECT_TRUE(std::filesystem::is_empty(folder.path));
    // What is in the way of the lock is named, and stays.
    std::string const lock = address.path() + ".lock";
    std::ofstream(lock) << "dear";
    EXPECT_NE(refusalToListen().find("cannot lock " + lock + ": it is in the way"), std::string::npos)
        << refusalToListen();
    std::filesystem::remove(lock);
    std::filesystem::create_symlink("elsewhere", lock);
    EXPECT_NE(refusalToListen().find("symbolic link"), std::string::npos) << refusalToListen();
    std::filesystem::remove(lock);
    ASSERT_EQ(::mkfifo(lock.c_str(), 0600), 0);
    EXPECT_NE(refusalToListen().find("it is in the way"), std::string::npos) << refusalToListen();
    std::filesystem::remove(lock);
    std::ofstream(lock).close(); // of a server that was killed
    { Listener const listener(loop, address, serving()); }
    EXPECT_TRUE(std::filesystem::is_empty(folder.path));
}

TEST_F(Links, AreRefusedWhereTheUmaskOrTheNamespaceWouldSpoilThem) {
    mode_t const before = ::umask(0700);
    std::string const why = refusalToListen();
    ::umask(before);
    EXPECT_NE(why.find("the umask takes away its owner's right to connect"), std::string::npos) << why;
    EXPECT_FALSE(std::filesystem::exists(address.path()));
    int const status = statusOf([&] {
        if (::unshare(CLONE_NEWUSER) != 0 || ::geteuid() != 65534) {
            return skipped;
        }
        std::string const refused = refusal([] {
            Loop inner;
            Listener(inner, Address::parse("/tmp/none"), {});
        });
        return refused.find("user 65534 stands here for every user") == std::string::npos ? 1 : 0;
    });
    EXPECT_TRUE(status == 0 || status == skipped) << status;
}

TEST_F(Links, KeepRoomForOtherUsersOnTcp) {
    ListenerConfig config = serving();
    config.sessions = 4;
    Listener const listener(loop, Address::parse("tcp:0"), config);
    ConnectorConfig client = wanting(mine);
    client.reconnects = false;
    client.setUp = {};
    std::vector<std::unique_ptr<Connector>> greedy;
    for (int i = 0; i < 3; ++i) {
        greedy.push_back(std::make_unique<Connector>(loop, listener.address(), client));
        ASSERT_TRUE(until([&] { return greedy.back()->isEstablished() || greedy.back()->isOver(); }));
    }
    EXPECT_TRUE(greedy[1]->isEstablished());
    EXPECT_TRUE(greedy[2]->isOver());
    EXPECT_NE(greedy[2]->lastReason().view().find("has 2 sessions already; the other half"),
              std::string_view::npos)
        << greedy[2]->lastReason();
    EXPECT_EQ(service->count("connectionsRefused"), 1u);
    // Somebody else is let in.
    pid_t const other = ::fork();
    if (other == 0) {
        if (::geteuid() != 0 || ::setuid(65533) != 0) {
            std::_Exit(skipped);
        }
        Loop inner;
        Connector const connector(inner, listener.address(), client);
        inner.runUntil([&] { return connector.isEstablished() || connector.isOver(); }, enough);
        std::_Exit(connector.isEstablished() ? 0 : 1);
    }
    int status = 0;
    auto const asking = loop.every(5ms, [] {});
    ASSERT_TRUE(until([&] { return ::waitpid(other, &status, WNOHANG) == other; }));
    EXPECT_TRUE(WIFEXITED(status) && (WEXITSTATUS(status) == 0 || WEXITSTATUS(status) == skipped)) << status;
}

TEST_F(Links, EveryInterfaceIsThatOfBothFamilies) {
    Listener const listener(loop, Address::parse("tcp:*:0"), serving());
    std::string const port = std::to_string(listener.address().port());
    for (std::string const& host : {std::string("127.0.0.1"), std::string("[::1]")}) {
        if (listener.address().host() != "*" && host == "[::1]") {
            continue; // a machine without IPv6, and the address says so
        }
        ConnectorConfig client = wanting(mine);
        Connector const connector(loop, Address::parse("tcp:" + host + ":" + port), client);
        EXPECT_TRUE(loop.runUntil([&] { return connector.isEstablished(); }, 10s)) << host;
    }
}

/// A peer that does as it likes.
struct RawPeer {
    explicit RawPeer(Address const& address) {
        sockaddr_un to{};
        to.sun_family = AF_UNIX;
        address.path().copy(to.sun_path, sizeof to.sun_path - 1);
        EXPECT_EQ(::connect(fd, reinterpret_cast<sockaddr*>(&to), sizeof to), 0);
    }
    ~RawPeer() { ::close(fd); }
    RawPeer(RawPeer const&) = delete;
    RawPeer& operator=(RawPeer const&) = delete;
    void say(std::string_view bytes) const {
        EXPECT_EQ(::send(fd, bytes.data(), bytes.size(), MSG_NOSIGNAL), static_cast<ssize_t>(bytes.size()));
    }
    std::string heard() const {
        std::array<char, 65536> bytes;
        ssize_t const n = ::recv(fd, bytes.data(), bytes.size(), MSG_DONTWAIT);
        return n > 0 ? std::string(bytes.data(), static_cast<std::size_t>(n)) : std::string();
    }
    int fd = ::socket(AF_UNIX, SOCK_STREAM, 0);
};

TEST_F(Links, ServeTheOthersWhileSomePeersAreSilentOrStuckOrMad) {
    fill(*dir->appConfigIs(Loam::vtAppMpls), 100'000);
    ListenerConfig config = serving();
    config.helloTime = 200ms;
    config.goodbyeTime = 50ms;
    Listener const listener(loop, address, config);
    RawPeer const silent(address), mad(address), half(address);
    mad.say("GET / HTTP/1.1\r\n\r\n");
    half.say("\x89Loam");
    Loop still; // it stands once it has asked for more than a socket takes
    Connector const stuck(still, address, wanting(lifAppConfigDirFactory("stuck")));
    ASSERT_TRUE(until(
        still, [&] { return stuck.session() && stuck.session()->rootState("lif") == RootState::requested; }));
    still.poll();
    Connector const connector(loop, address, wanting(mine));
    ASSERT_TRUE(until([&] { return isThere(connector); }));
    EXPECT_TRUE(sameState(*dir, *mine));
    // Those without a hello are told so, and those with one may be as slow as they like.
    ASSERT_TRUE(until([&] { return listener.sessions().size() == 2; }));
    EXPECT_NE(silent.heard().find("there was no hello within 200 ms"), std::string::npos);
    EXPECT_NE(half.heard().find("there was no hello within 200 ms"), std::string::npos);
    EXPECT_NE(mad.heard().find("peer does not speak the attribute log: it began with 47"), std::string::npos);
}

TEST_F(Links, GiveEachPeerItsTurn) {
    ListenerConfig config = serving();
    std::vector<std::pair<std::string, std::size_t>> turns; // who was read, and how much
    bool isCounting = false;
    config.tap = [&](Session const& peer, bool isSent, std::span<U8 const> bytes) {
        std::string const name(peer.peerName().view());
        if (!isSent && isCounting) {
            if (turns.empty() || turns.back().first != name) {
                turns.emplace_back(name, 0);
            }
            turns.back().second += bytes.size();
            if (name == "good") {
                isCounting = false;
                loop.stop();
            }
        }
    };
    Listener const listener(loop, address, config);
    Loop theirs;
    std::vector<Ptr<LifAppConfigDir>> copies;
    std::vector<std::unique_ptr<Connector>> peers;
    constexpr std::size_t others = 4;
    auto const isThere = [](auto const& each) { return Links::isThere(*each); };
    for (std::size_t i = 0; i <= others; ++i) {
        copies.push_back(lifAppConfigDirFactory("copy"));
        ConnectorConfig client = wanting(copies.back());
        client.session.name = Name(i == others ? String8("good") : format("flood %zu", i));
        peers.push_back(std::make_unique<Connector>(theirs, address, client));
        ASSERT_TRUE(until(theirs, [&] { return std::ranges::all_of(peers, isThere); }));
    }
    for (U32 const round : {0u, 2048u}) { // without a bound, and with one
        SCOPED_TRACE(round);
        loop.roundIs(round);
        turns.clear();
        // The sockets are full of what others have sent before the good one asks.
        for (std::size_t i = 0; i < others; ++i) {
            auto const written = copies[i]->appConfigIs(static_cast<Loam::VtAppId>(i + 1));
            fill(*written, 20'000, 1 + round);
        }
        while (theirs.poll()) {
        }
        std::string answer;
        peers.back()->session()->call("echo", "there?",
                                      [&](bool, String8 const& text) { answer = text.view(); });
        while (theirs.poll()) {
        }
        isCounting = true;
        loop.run();
        // Each of the others has had one turn at most, and none of them could send all that it had.
        ASSERT_LE(turns.size(), others + 1);
        EXPECT_EQ(turns.back().first, "good");
        std::set<std::string> names;
        for (auto const& [name, bytes] : turns) {
            EXPECT_TRUE(names.insert(name).second) << name << " twice";
            EXPECT_LT(bytes, 100'000u) << name;
            EXPECT_TRUE(round == 0 || bytes <= round) << name << ' ' << bytes;
        }
        ASSERT_TRUE(until(theirs, [&] { return answer == "there?"; }));
        for (bool hasMore = true; hasMore;) { // until nobody has anything left
            hasMore = loop.poll();
            hasMore = theirs.poll() || hasMore;
        }
    }
}

TEST(Loop, RunsTimersPostsAndSignalsInTurn) {
    Loop loop;
    std::vector<std::string> done;
    auto const note = [&](char const* what) { return [&done, what] { done.emplace_back(what); }; };
    auto const never = loop.after(1h, note("never"));
    { auto const gone = loop.after(0s, note("gone")); }
    int ticks = 0;
    Kor::Link::Timer ticking;
    ticking = loop.every(1ms, [&] {
        if (++ticks == 3) {
            ticking.cancel();
            loop.post([&] {
                done.emplace_back("post");
                loop.post(note("inner"));
                std::raise(SIGUSR1);
            });
        }
    });
    loop.signalsAre({SIGUSR1, SIGUSR2}, [&](int signal) {
        done.emplace_back(signal == SIGUSR1 ? "usr1" : "usr2");
        signal == SIGUSR1 ? static_cast<void>(std::raise(SIGUSR2)) : loop.stop();
    });
    EXPECT_TRUE(ticking.isActive());
    loop.run();
    EXPECT_FALSE(ticking.isActive());
    EXPECT_EQ(ticks, 3);
    EXPECT_EQ(done, (std::vector<std::string>{"post", "inner", "usr1", "usr2"}));
    EXPECT_FALSE(loop.poll());
    EXPECT_FALSE(loop.runFor(1ms));
    EXPECT_FALSE(loop.runUntil([] { return false; }, 1ms));
    loop.stop();
    EXPECT_TRUE(loop.runFor(1h));
    // From another thread, and what is thrown.
    std::thread other([&] { loop.post([] { throw std::runtime_error("thrown"); }); });
    EXPECT_THROW(loop.run(), std::runtime_error);
    other.join();
    auto const stop = loop.after(0s, [&] { loop.stop(); });
    loop.run();
    EXPECT_FALSE(stop.isActive());
}

} // namespace
