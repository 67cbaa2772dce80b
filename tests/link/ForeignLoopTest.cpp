/// A link in programs that have a loop of their own: on their io_context, and behind their poll().

#include "link/Connector.h"
#include "link/Listener.h"
#include "support/Sessions.h"

#include <algorithm>
#include <asio/executor_work_guard.hpp>
#include <asio/io_context.hpp>
#include <asio/post.hpp>
#include <atomic>
#include <cstdlib>
#include <filesystem>
#include <gtest/gtest.h>
#include <memory>
#include <optional>
#include <poll.h>
#include <string>
#include <sys/epoll.h>
#include <thread>
#include <unistd.h>
#include <utility>
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
using support::sameState;

/// How long a program waits at most for something to happen. Nothing here takes as long: whoever sits it out
/// was not woken.
constexpr auto tooLong = 10s;

/// Programs with a link on their loop. until() runs until the condition holds, and gives up when nothing
/// happens.
class OnAsio {
public:
    Loop& loop() { return loop_; }
    bool until(std::function<bool()> const& condition) {
        while (!condition()) {
            if (context_.run_one_for(tooLong) == 0) {
                return false;
            }
        }
        return true;
    }
    /// In a handler of the program's own.
    void later(std::function<void()> todo) { asio::post(context_, std::move(todo)); }

private:
    asio::io_context context_;
    asio::executor_work_guard<asio::io_context::executor_type> busy_{context_.get_executor()};
    Loop loop_{context_};
};

/// Behind one descriptor, for which `Wait` waits so many milliseconds.
template <class Wait>
class OnDescriptor {
public:
    Loop& loop() { return loop_; }
    bool until(std::function<bool()> const& condition) {
        while (loop_.poll(), !condition()) {
            constexpr int most = std::chrono::milliseconds(tooLong).count();
            int const time = loop_.pollTime();
            bool const isWoken = wait_(loop_.descriptor(), time < 0 ? most : std::min(time, most));
            if (!isWoken && (time < 0 || time >= most)) {
                return false;
            }
            if (auto const todo = std::exchange(todo_, nullptr)) {
                todo();
            }
        }
        return true;
    }
    void later(std::function<void()> todo) {
        todo_ = std::move(todo);
        loop_.post([] {}); // another source of events than the link
    }

private:
    Loop loop_;
    Wait wait_;
    std::function<void()> todo_;
};

struct Poll {
    bool operator()(int descriptor, int time) const {
        pollfd entry{descriptor, POLLIN, 0};
        return ::poll(&entry, 1, time) == 1;
    }
};

/// The program's epoll tells of changes alone.
class Epoll {
public:
    ~Epoll() { ::close(epoll_); }
    bool operator()(int descriptor, int time) {
        epoll_event event{};
        event.events = EPOLLIN | EPOLLET;
        if (!std::exchange(isThere_, true)) {
            EXPECT_EQ(::epoll_ctl(epoll_, EPOLL_CTL_ADD, descriptor, &event), 0);
        }
        return ::epoll_wait(epoll_, &event, 1, time) == 1;
    }

private:
    int epoll_ = ::epoll_create1(EPOLL_CLOEXEC);
    bool isThere_ = false;
};

template <class Program>
struct ForeignLoop : testing::Test {
    ForeignLoop() {
        char name[] = "/tmp/loam-loop-XXXXXX";
        folder = ::mkdtemp(name);
        address.emplace(Address::local(folder + "/socket"));
        service->offer("lif", dir);
        service->handlerIs("echo", [](Session&, String8 const& text) { return text; });
    }
    ~ForeignLoop() override {
        connector.reset();
        listener.reset();
        std::filesystem::remove_all(folder);
    }
    void serve() {
        ListenerConfig config;
        config.service = service;
        config.session.name = "driver";
        config.helloTime = 1h; // a timer that comes sooner would hide that nobody was woken
        config.hooks.closed = [this](Session&, String8 const& reason) { closed = reason.view(); };
        listener.emplace(program.loop(), *address, config);
    }
    void connect() {
        ConnectorConfig config;
        config.firstWait = 1ms;
        config.mostWait = 20ms;
        config.helloTime = 1h;
        config.setUp = [this](Session& session) {
            session.want("lif", copy, [this](RootState state, auto const&, auto const&) {
                isThere = state == RootState::synchronized;
            });
        };
        config.lost = [this](auto const&...) {
            isThere = false;
            ++losses;
        };
        connector.emplace(program.loop(), *address, config);
    }
    bool untilSame() {
        return program.until([this] { return sameState(*dir, *copy); });
    }

    std::string folder;
    std::optional<Address> address;
    Program program;
    Ptr<LifAppConfigDir> const dir = lifAppConfigDirFactory("lif");
    Ptr<LifAppConfigDir> const copy = lifAppConfigDirFactory("lif");
    Ptr<Service> const service = makePtr<Service>();
    std::optional<Listener> listener;
    std::optional<Connector> connector;
    bool isThere = false;
    bool isOtherThere = false;
    int losses = 0;
    std::string closed;
};

using Programs = testing::Types<OnAsio, OnDescriptor<Poll>, OnDescriptor<Epoll>>;
TYPED_TEST_SUITE(ForeignLoop, Programs);

TYPED_TEST(ForeignLoop, WhatTheProgramDoesLeavesByItself) {
    this->serve();
    this->connect();
    ASSERT_TRUE(this->program.until([&] { return this->isThere; }));
    // Outside of any handler: a new child, a change of each side, an end of a child.
    auto const config = this->dir->appConfigIs(Loam::vtAppMpls);
    ASSERT_TRUE(this->untilSame());
    config->reqCountIs(lifEntry(1), 7);
    ASSERT_TRUE(this->untilSame());
    this->copy->appConfig(Loam::vtAppMpls)->reqCountIs(lifEntry(2), 3);
    ASSERT_TRUE(this->untilSame());
    EXPECT_EQ(config->reqCount(lifEntry(2)), 3u);
    this->dir->appConfigDel(Loam::vtAppMpls);
    ASSERT_TRUE(this->untilSame());
    EXPECT_FALSE(this->copy->appConfig(Loam::vtAppMpls));

    // In a handler of the program's own, and what is no change of an entity.
    this->program.later([&] { this->dir->appConfigIs(Loam::vtAppMpls)->reqCountIs(lifEntry(3), 1); });
    ASSERT_TRUE(this->program.until([&] { return this->copy->appConfig(Loam::vtAppMpls) != nullptr; }));
    ASSERT_TRUE(this->untilSame());
    std::string answer;
    this->connector->session()->call("echo", "x", [&](bool, String8 const& text) { answer = text.view(); });
    ASSERT_TRUE(this->program.until([&] { return !answer.empty(); }));
    bool isFenced = false;
    this->listener->sessions().front()->fence(FenceLevel::applied, [&](auto const&...) { isFenced = true; });
    ASSERT_TRUE(this->program.until([&] { return isFenced; }));
    this->service->offer("other", lifAppConfigDirFactory("other"));
    ASSERT_TRUE(this->program.until(
        [&] { return this->connector->session()->peerOffers().contains(Kor::Name("other")); }));
    // The wish outlives this body: it hears of the end of the link too.
    this->connector->session()->want("other", [this](RootState state, auto const&, auto const&) {
        this->isOtherThere = state == RootState::synchronized;
    });
    ASSERT_TRUE(this->program.until([&] { return this->isOtherThere; }));
    this->connector->session()->unwant("lif");
    ASSERT_TRUE(this->program.until([&] { return !this->listener->sessions().front()->hasMounted("lif"); }));
}

TYPED_TEST(ForeignLoop, MoreThanFitsAnyBufferComesAcross) {
    auto const config = this->dir->appConfigIs(Loam::vtAppMpls);
    constexpr U32 many = 20'000;
    fill(*config, many);
    this->serve();
    this->connect();
    ASSERT_TRUE(this->program.until([&] { return this->isThere; }));
    EXPECT_TRUE(sameState(*this->dir, *this->copy));
    fill(*config, many, 2);
    ASSERT_TRUE(this->untilSame());
}

TYPED_TEST(ForeignLoop, ItConnectsAgain) {
    this->connect(); // before there is a server
    ASSERT_TRUE(this->program.until([&] { return this->losses > 1; }));
    this->serve();
    ASSERT_TRUE(this->program.until([&] { return this->isThere; }));
    int const before = this->losses;
    this->listener.reset();
    ASSERT_TRUE(this->program.until([&] { return this->losses > before; }));
    ASSERT_TRUE(sameState(*this->dir, *this->copy)); // it stays as it was
    this->dir->appConfigIs(Loam::vtAppMpls)->reqCountIs(lifEntry(1), 1);
    this->copy->appConfigIs(Loam::vtAppVxlan); // which no server has
    this->serve();
    ASSERT_TRUE(this->program.until([&] { return this->isThere; }));
    ASSERT_TRUE(this->untilSame());
    // An end that the program asks for, of either side.
    this->connector->session()->close("enough");
    ASSERT_TRUE(this->program.until([&] { return this->closed == "enough"; }));
    this->connector->close("the program ends");
    ASSERT_TRUE(this->program.until([&] { return this->connector->isOver(); }));
}

TYPED_TEST(ForeignLoop, TimersAndOtherThreadsAreHeard) {
    int ticks = 0;
    auto every = this->program.loop().every(1ms, [&] { ++ticks; });
    bool isCancelled = true;
    auto never = this->program.loop().after(1ms, [&] { isCancelled = false; });
    never.cancel();
    ASSERT_TRUE(this->program.until([&] { return ticks == 3; }));
    every.cancel();
    EXPECT_TRUE(isCancelled);
    std::atomic<bool> isPosted = false;
    std::thread other([&] {
        std::this_thread::sleep_for(20ms); // while the program waits
        this->program.loop().post([&] { isPosted = true; });
    });
    EXPECT_TRUE(this->program.until([&] { return isPosted.load(); }));
    other.join();
}

/// Many peers at once: the system tells of them once, and all of them are let in.
TYPED_TEST(ForeignLoop, NobodyIsLeftWaiting) {
    this->serve();
    std::vector<std::unique_ptr<Connector>> peers;
    for (int i = 0; i < 60; ++i) {
        ConnectorConfig config;
        config.helloTime = 1h;
        config.reconnects = false;
        peers.push_back(std::make_unique<Connector>(this->program.loop(), *this->address, config));
    }
    EXPECT_TRUE(this->program.until(
        [&] { return std::ranges::all_of(peers, [](auto const& each) { return each->isEstablished(); }); }));
}

} // namespace
