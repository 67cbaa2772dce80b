// How long a peer waits for an answer beside others that write as fast as they can, and how soon a server
// under such load hears a signal: one process for the server, and one for each peer.

#include "Process.h"
#include "attrlog/session/Diagnostics.h"
#include "link/Connector.h"
#include "link/Listener.h"
#include "model/LoamTunnelModel.h"

#include <algorithm>
#include <array>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>
#include <vector>

namespace {

using namespace Hardware;
using namespace Hardware::LoamTunnel;
using namespace Kor::NboAttrLog;
using Clock = std::chrono::steady_clock;
using Kor::U32;
using Kor::Link::Address;
using Kor::Link::Connector;
using Kor::Link::ConnectorConfig;
using Kor::Link::Listener;
using Kor::Link::ListenerConfig;
using Kor::Link::Loop;

/// Runs in a process of its own, which ends with this one.
template <class Work>
pid_t start(Work const& work) {
    pid_t const id = fork();
    if (id == 0) {
        prctl(PR_SET_PDEATHSIG, SIGKILL);
        work();
        std::_Exit(0);
    }
    return id;
}

void serve(Address const& address, int signals) {
    Loop loop;
    auto const service = Kor::makePtr<Service>();
    service->offer("lif", lifAppConfigDirFactory("lif"));
    diagnosticsAre(*service);
    ListenerConfig config;
    config.service = service;
    Listener const listener(loop, address, config);
    loop.signalsAre({SIGUSR1}, [&](int) {
        if (write(signals, "s", 1) != 1) {
            std::_Exit(1);
        }
    });
    loop.run();
}

ConnectorConfig wanting(Kor::Ptr<LifAppConfigDir> const& copy) {
    ConnectorConfig config;
    config.firstWait = std::chrono::milliseconds(5);
    config.setUp = [copy](Session& session) { session.want("lif", copy); };
    return config;
}
bool isThere(Connector const& connector) {
    auto const session = connector.session();
    return session && session->rootState("lif") == RootState::synchronized;
}

/// Writes the counts of an application of its own, again and again.
void flood(Address const& address, unsigned number) {
    Loop loop;
    auto const copy = lifAppConfigDirFactory("copy");
    Connector const connector(loop, address, wanting(copy));
    loop.runUntil([&] { return isThere(connector); }, std::chrono::seconds(60));
    auto const config = copy->appConfigIs(static_cast<Loam::VtAppId>(number % 16));
    AradLifAcMp lif;
    for (U32 count = 1; connector.isEstablished(); ++count) {
        for (U32 i = 0; i < 4096; ++i) {
            lif.vsiIs(static_cast<Kor::U16>(i));
            config->reqCountIs(lif, count);
        }
        loop.poll();
    }
}

double milliseconds(Clock::duration time) {
    return std::chrono::duration<double, std::milli>(time).count();
}

void report(char const* what, std::vector<double> times) {
    std::sort(times.begin(), times.end());
    auto const at = [&](double part) {
        return times[std::min(times.size() - 1,
                              static_cast<std::size_t>(part * static_cast<double>(times.size())))];
    };
    std::printf("%-24s median %8.3f ms, 99%% %8.3f ms, longest %8.3f ms (%zu times)\n", what, at(0.5),
                at(0.99), times.back(), times.size());
    std::fflush(stdout);
}

/// Asks a number of times; empty if the server does not answer.
std::vector<double> syncTimes(Address const& address, unsigned times) {
    Loop loop;
    Connector const connector(loop, address, wanting(lifAppConfigDirFactory("copy")));
    std::vector<double> took;
    if (!loop.runUntil([&] { return connector.isEstablished(); }, std::chrono::seconds(60))) {
        return {};
    }
    for (unsigned i = 0; i < times; ++i) {
        bool isAnswered = false;
        auto const begin = Clock::now();
        connector.session()->call("sync", "", [&](bool, Kor::String8 const&) { isAnswered = true; });
        if (!loop.runUntil([&] { return isAnswered; }, std::chrono::seconds(60))) {
            return {};
        }
        took.push_back(milliseconds(Clock::now() - begin));
        loop.runFor(std::chrono::milliseconds(2));
    }
    return took;
}

std::vector<double> signalTimes(pid_t server, int signals, unsigned times) {
    std::vector<double> took;
    for (unsigned i = 0; i < times; ++i) {
        auto const begin = Clock::now();
        char heard = 0;
        if (kill(server, SIGUSR1) != 0 || read(signals, &heard, 1) != 1) {
            return {};
        }
        took.push_back(milliseconds(Clock::now() - begin));
        usleep(2000);
    }
    return took;
}

} // namespace

int main(int argc, char** argv) {
    unsigned peers = 10;
    unsigned times = 1000;
    CLI::App options("How long a peer waits beside others that write as fast as they can", "TurnBench");
    bench::addNumber(options, "--peers", peers, 0u, 200u, "How many write");
    bench::addNumber(options, "--times", times, 10u, 100'000u, "How often the one asks");
    if (auto const status = bench::read(options, argc, argv)) {
        return *status;
    }
    std::string folder = "/tmp/loam-turns-XXXXXX";
    std::array<int, 2> signals{};
    if (mkdtemp(folder.data()) == nullptr || pipe(signals.data()) != 0) {
        std::perror("TurnBench");
        return 1;
    }
    Address const address = Address::local(folder + "/socket");
    std::vector<pid_t> children{start([&] { serve(address, signals[1]); })};
    std::vector<double> const alone = syncTimes(address, times);
    for (unsigned i = 0; i < peers; ++i) {
        children.push_back(start([&] { flood(address, i); }));
    }
    sleep(1);
    std::vector<double> const beside = syncTimes(address, times);
    std::vector<double> const heard = signalTimes(children.front(), signals[0], times);
    for (pid_t const child : children) {
        kill(child, SIGKILL);
        waitpid(child, nullptr, 0);
    }
    unlink(address.path().c_str());
    rmdir(folder.c_str());
    if (alone.empty() || beside.empty() || heard.empty()) {
        std::fprintf(stderr, "TurnBench: the server does not answer\n");
        return 1;
    }
    report("sync, alone", alone);
    report(("sync, beside " + std::to_string(peers)).c_str(), beside);
    report(("signal, beside " + std::to_string(peers)).c_str(), heard);
    return 0;
}
