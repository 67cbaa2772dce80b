// How long a peer waits for an answer beside others that write as fast as they can, and how soon a server
// under such load hears a signal: one process for the server, and one for each peer.

#include "Process.h"
#include "forms/Diagnostics.h"
#include "link/Connector.h"
#include "link/Listener.h"
#include "model/LoamTunnelModel.h"

#include <algorithm>
#include <array>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <span>
#include <string>
#include <sys/prctl.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <sys/wait.h>
#include <unistd.h>
#include <utility>
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

Kor::Name nameOf(unsigned root) {
    return Kor::Name(Kor::format("lif%u", root));
}

void serve(Address const& address, int signals, unsigned roots) {
    Loop loop;
    auto const service = Kor::makePtr<Service>();
    for (unsigned i = 0; i < roots; ++i) {
        Kor::Name const name = nameOf(i);
        service->offer(name, lifAppConfigDirFactory(name));
    }
    Kor::Forms::diagnosticsAre(*service);
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

/// A connection whose bytes are written as they are: to make them takes so little that the server is what is
/// busy.
class RawPeer {
public:
    explicit RawPeer(Address const& address) {
        sockaddr_un to{};
        to.sun_family = AF_UNIX;
        address.path().copy(to.sun_path, sizeof to.sun_path - 1);
        if (connect(fd_, reinterpret_cast<sockaddr*>(&to), sizeof to) != 0) {
            std::_Exit(1);
        }
    }
    /// Until the condition holds; what was sent.
    template <class Condition>
    std::vector<Kor::U8> carry(Condition const& condition) const {
        std::vector<Kor::U8> sent;
        while (!condition()) {
            session->flow();
            for (auto bytes = session->out()->readable(); !bytes.empty();
                 bytes = session->out()->readable()) {
                write(bytes);
                sent.insert(sent.end(), bytes.begin(), bytes.end());
                session->out()->nextBytes(bytes.size());
                session->flow();
            }
            if (!condition()) {
                ssize_t const n = recv(fd_, buffer_.data(), buffer_.size(), 0);
                session->in()->feed({buffer_.data(), static_cast<std::size_t>(n > 0 ? n : 0)});
                session->receive();
            }
        }
        return sent;
    }
    void write(std::span<Kor::U8 const> bytes) const {
        while (!bytes.empty()) {
            while (recv(fd_, buffer_.data(), buffer_.size(), MSG_DONTWAIT) > 0) {
                // what the server has to say is not listened to
            }
            ssize_t const n = send(fd_, bytes.data(), bytes.size(), MSG_NOSIGNAL);
            if (n <= 0) {
                std::_Exit(1);
            }
            bytes = bytes.subspan(static_cast<std::size_t>(n));
        }
    }

    Kor::Ptr<Session> const session = Kor::makePtr<Session>(Side::connecting, SessionConfig{.name = "flood"});

private:
    int fd_ = socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
    std::vector<Kor::U8> mutable buffer_ = std::vector<Kor::U8>(1 << 16);
};

/// Writes the counts of an application of its own, again and again.
void flood(Address const& address, unsigned number, unsigned roots) {
    RawPeer const peer(address);
    auto const copy = lifAppConfigDirFactory("copy");
    Kor::Name const root = nameOf(number % roots);
    peer.session->want(root, copy);
    peer.carry([&] { return peer.session->rootState(root) == RootState::synchronized; });
    auto const config = copy->appConfigIs(static_cast<Loam::VtAppId>(number % 16));
    std::vector<std::vector<Kor::U8>> blocks;
    for (U32 const count : {1, 2}) {
        AradLifAcMp lif;
        for (U32 i = 0; i < 4096; ++i) {
            lif.vsiIs(static_cast<Kor::U16>(i));
            config->reqCountIs(lif, count);
        }
        bool isFirst = true; // once round
        blocks.push_back(
            peer.carry([&] { return !std::exchange(isFirst, false) && !peer.session->demuxer().hasWork(); }));
    }
    for (;;) {
        for (auto const& block : blocks) {
            peer.write(block);
        }
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
    ConnectorConfig how;
    how.firstWait = std::chrono::milliseconds(5);
    Connector const connector(loop, address, how);
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
    unsigned const roots = std::max(peers, 1u);
    std::vector<pid_t> children{start([&] { serve(address, signals[1], roots); })};
    std::vector<double> const alone = syncTimes(address, times);
    for (unsigned i = 0; i < peers; ++i) {
        children.push_back(start([&] { flood(address, i, roots); }));
    }
    sleep(1);
    std::vector<double> const beside = syncTimes(address, times);
    std::vector<double> const heard = signalTimes(children.front(), signals[0], times);
    bool const areAllThere = std::all_of(children.begin(), children.end(),
                                         [](pid_t child) { return waitpid(child, nullptr, WNOHANG) == 0; });
    std::for_each(children.rbegin(), children.rend(), [](pid_t child) {
        kill(child, SIGKILL);
        waitpid(child, nullptr, 0);
    });
    unlink(address.path().c_str());
    rmdir(folder.c_str());
    if (alone.empty() || beside.empty() || heard.empty() || !areAllThere) {
        std::fprintf(stderr, "TurnBench: the server does not answer, or a peer has ended\n");
        return 1;
    }
    report("sync, alone", alone);
    report(("sync, beside " + std::to_string(peers)).c_str(), beside);
    report(("signal, beside " + std::to_string(peers)).c_str(), heard);
    return 0;
}
