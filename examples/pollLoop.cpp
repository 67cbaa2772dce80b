/// A link in programs with a poll() of their own: a driver that also has a timer of the system to read, and
/// an application that also reads a pipe. The application is there first, and connects when the driver is.

#include "link/Connector.h"
#include "link/Listener.h"
#include "model/LoamTunnelModel.h"

#include <array>
#include <cstdio>
#include <cstdlib>
#include <poll.h>
#include <string>
#include <sys/timerfd.h>
#include <sys/wait.h>
#include <unistd.h>
#include <utility>

using namespace Hardware::LoamTunnel;
using Kor::Link::Address;
using Kor::Link::Loop;
using Kor::NboAttrLog::RootState;
using Kor::NboAttrLog::Service;
using Kor::NboAttrLog::Session;

namespace {

/// Waits for the link and for a descriptor of the program; whether there is something to read from that. A
/// program with more of its own has them all in this list.
bool wait(Loop& loop, int own) {
    loop.poll(); // what has come is applied, and what the program has changed is sent
    std::array<pollfd, 2> entries{{{loop.descriptor(), POLLIN, 0}, {own, POLLIN, 0}}};
    ::poll(entries.data(), entries.size(), loop.pollTime());
    return entries[1].revents != 0;
}

AradLifAcMp lif() {
    AradLifAcMp lif(lifAcMp);
    lif.vsiIs(100);
    return lif;
}

/// Counts the ticks of its timer in the tree, until the application has left.
int driver(Address const& address) {
    auto const configs = lifAppConfigDirFactory("lifConfig");
    auto const config = configs->appConfigIs(Hardware::Loam::vtAppMpls);
    bool isOver = false;
    Kor::Link::ListenerConfig serving;
    serving.session.name = "driver";
    serving.service = Kor::makePtr<Service>();
    serving.service->offer("lifConfig", configs);
    serving.hooks.closed = [&](Session&, Kor::String8 const& reason) {
        std::printf("driver: %s\n", reason.charPtr());
        isOver = true;
    };
    Loop loop;
    Kor::Link::Listener const listener(loop, address, serving);

    int const timer = ::timerfd_create(CLOCK_MONOTONIC, TFD_CLOEXEC);
    itimerspec const every{{0, 10'000'000}, {0, 10'000'000}};
    ::timerfd_settime(timer, 0, &every, nullptr);
    while (!isOver) {
        Kor::U64 ticks = 0;
        if (wait(loop, timer) && ::read(timer, &ticks, sizeof ticks) == sizeof ticks) {
            config->reqCountInc(lif(), static_cast<Kor::U32>(ticks));
        }
    }
    ::close(timer);
    return 0;
}

struct Counter : LifAppConfig::Notifiee {
    bool hasSeenThree = false;
    void onReqCount(AradLifEntry const& key) override {
        hasSeenThree = hasSeenThree || (notifier() != nullptr && notifier()->reqCount(key) >= 3);
    }
};

/// Waits for three ticks, and writes into its pipe when it tries in vain, as a program's own parts would.
int application(Address const& address) {
    Kor::Ptr<Counter> counter;
    std::array<int, 2> pipe{};
    if (::pipe(pipe.data()) != 0) {
        return 1;
    }
    Kor::Link::ConnectorConfig config;
    config.session.name = "application";
    config.firstWait = std::chrono::milliseconds(1);
    config.lost = [&](auto const&...) { static_cast<void>(!::write(pipe[1], "x", 1)); };
    config.setUp = [&](Session& session) {
        session.want("lifConfig", [&](RootState state, Kor::Ptr<Kor::Entity> const& root, auto const&) {
            if (state == RootState::synchronized) {
                counter = Kor::observe<Counter>(
                    Kor::ptrCast<LifAppConfigDir>(root)->appConfig(Hardware::Loam::vtAppMpls));
            }
        });
    };
    Loop loop;
    Kor::Link::Connector connector(loop, address, config);
    bool hasTried = false;
    while (!counter || !counter->hasSeenThree) {
        char c = 0;
        if (wait(loop, pipe[0]) && ::read(pipe[0], &c, 1) == 1 && !std::exchange(hasTried, true)) {
            std::printf("application: nobody is there yet\n");
        }
    }
    std::printf("application: three ticks have come\n");
    counter = nullptr;
    connector.close("the application has what it needs");
    while (!connector.isOver()) {
        wait(loop, pipe[0]);
    }
    ::close(pipe[0]);
    ::close(pipe[1]);
    return hasTried ? 0 : 1;
}

} // namespace

int main() {
    std::setvbuf(stdout, nullptr, _IOLBF, 0); // line by line, as it happens
    std::string folder = "/tmp/loam-poll-XXXXXX";
    if (::mkdtemp(folder.data()) == nullptr) {
        return 1;
    }
    Address const address = Address::local(folder + "/socket");
    pid_t const child = ::fork();
    if (child == 0) {
        return application(address);
    }
    ::usleep(50'000); // the application tries meanwhile
    int const mine = driver(address);
    int status = 1;
    bool const isWell = ::waitpid(child, &status, 0) == child && status == 0 && mine == 0;
    ::rmdir(folder.c_str());
    return isWell ? 0 : 1;
}
