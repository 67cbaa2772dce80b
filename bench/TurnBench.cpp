// How long a peer waits for an answer beside others that write as fast as they can, and how soon a server
// under such load hears a signal: one process for the server, one for all that write, since more would
// measure who gets a processor, and one for the peer that asks.

#include "Process.h"
#include "forms/Diagnostics.h"
#include "link/Connector.h"
#include "link/Listener.h"
#include "model/LoamTunnelModel.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <memory>
#include <poll.h>
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
            auto const bytes = session->out()->readable();
            std::size_t const n = bytes.empty() ? 0 : offer(bytes);
            sent.insert(sent.end(), bytes.begin(), bytes.begin() + static_cast<std::ptrdiff_t>(n));
            session->out()->nextBytes(n);
            session->flow();
            if (n == 0 && !condition()) {
                bool const hasMore = !session->out()->readable().empty();
                pollfd entry{fd_, static_cast<short>(hasMore ? POLLIN | POLLOUT : POLLIN), 0};
                poll(&entry, 1, -1);
            }
            ssize_t const heard = recv(fd_, buffer_.data(), buffer_.size(), MSG_DONTWAIT);
            if (heard == 0) {
                std::fprintf(stderr, "TurnBench: the server has left a peer\n");
                std::_Exit(1);
            }
            session->in()->feed({buffer_.data(), static_cast<std::size_t>(heard > 0 ? heard : 0)});
            session->receive();
        }
        return sent;
    }
    /// As much as there is room for.
    std::size_t offer(std::span<Kor::U8 const> bytes) const {
        ssize_t const n = send(fd_, bytes.data(), bytes.size(), MSG_NOSIGNAL | MSG_DONTWAIT);
        if (n == 0 || (n < 0 && errno != EAGAIN)) {
            std::_Exit(1);
        }
        return static_cast<std::size_t>(n > 0 ? n : 0);
    }
    /// What the server has to say from now on is not listened to.
    void drop() const {
        while (recv(fd_, buffer_.data(), buffer_.size(), MSG_DONTWAIT) > 0) {
        }
    }
    int fd() const { return fd_; }

    Kor::Ptr<Session> const session = Kor::makePtr<Session>(Side::connecting, SessionConfig{.name = "flood"});

private:
    int fd_ = socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
    std::vector<Kor::U8> mutable buffer_ = std::vector<Kor::U8>(1 << 16);
};

/// Writes the counts of an application of its own, again and again.
class Flood {
public:
    Flood(Address const& address, unsigned number, unsigned roots) : peer_(address) {
        auto const copy = lifAppConfigDirFactory("copy");
        Kor::Name const root = nameOf(number % roots);
        peer_.session->want(root, copy);
        peer_.carry([&] { return peer_.session->rootState(root) == RootState::synchronized; });
        auto const config = copy->appConfigIs(static_cast<Loam::VtAppId>(number % 16));
        // What is said once, to begin with, is not in the blocks that are sent again and again.
        carryAll();
        for (std::size_t block = 0; block < blocks_.size(); ++block) {
            AradLifAcMp lif;
            for (U32 i = 0; i < 4096; ++i) {
                lif.vsiIs(static_cast<Kor::U16>(i));
                config->reqCountIs(lif, static_cast<U32>(block) + 1);
            }
            blocks_[block] = carryAll();
        }
    }
    void write() {
        peer_.drop();
        std::span<Kor::U8 const> const block = blocks_[at_ % blocks_.size()];
        done_ += peer_.offer(block.subspan(done_));
        if (done_ == block.size()) {
            ++at_;
            done_ = 0;
        }
    }
    int fd() const { return peer_.fd(); }

private:
    std::vector<Kor::U8> carryAll() const {
        bool isFirst = true; // once round
        return peer_.carry([&] {
            return !std::exchange(isFirst, false) && !peer_.session->demuxer().hasWork() &&
                   peer_.session->out()->readable().empty();
        });
    }

    RawPeer peer_;
    std::array<std::vector<Kor::U8>, 2> blocks_;
    std::size_t at_ = 0, done_ = 0;
};

[[noreturn]] void flood(Address const& address, unsigned first, unsigned count, unsigned roots, int ready) {
    std::vector<std::unique_ptr<Flood>> floods;
    std::vector<pollfd> entries;
    for (unsigned i = 0; i < count; ++i) {
        floods.push_back(std::make_unique<Flood>(address, first + i, roots));
        entries.push_back({floods.back()->fd(), POLLOUT, 0});
    }
    if (write(ready, "r", 1) != 1) {
        std::_Exit(1);
    }
    for (;;) {
        if (poll(entries.data(), entries.size(), -1) < 0) {
            std::_Exit(1);
        }
        for (unsigned i = 0; i < count; ++i) {
            if (entries[i].revents != 0) {
                floods[i]->write();
            }
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
    unsigned processes = 0;
    CLI::App options("How long a peer waits beside others that write as fast as they can", "TurnBench");
    bench::addNumber(options, "--peers", peers, 0u, 200u, "How many write");
    bench::addNumber(options, "--processes", processes, 0u, 1u, "1: each of them is a process of its own");
    bench::addNumber(options, "--times", times, 10u, 100'000u, "How often the one asks");
    if (auto const status = bench::read(options, argc, argv)) {
        return *status;
    }
    std::string folder = "/tmp/loam-turns-XXXXXX";
    std::array<int, 2> signals{}, ready{};
    if (mkdtemp(folder.data()) == nullptr || pipe(signals.data()) != 0 || pipe(ready.data()) != 0) {
        std::perror("TurnBench");
        return 1;
    }
    Address const address = Address::local(folder + "/socket");
    unsigned const roots = std::max(peers, 1u);
    std::vector<pid_t> children{start([&] { serve(address, signals[1], roots); })};
    std::vector<double> const alone = syncTimes(address, times);
    bool const isEachOne = processes != 0 && peers != 0;
    for (unsigned i = 0; i < peers; i += isEachOne ? 1 : peers) {
        children.push_back(start([&] { flood(address, i, isEachOne ? 1 : peers, roots, ready[1]); }));
    }
    close(ready[1]); // so that there is an end if they are gone
    for (std::size_t i = 1; i < children.size(); ++i) {
        char each = 0;
        if (read(ready[0], &each, 1) != 1) {
            std::fprintf(stderr, "TurnBench: a peer has ended\n");
            return 1;
        }
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
