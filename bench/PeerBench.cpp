// The two implementations of a peer beside each other: how long an application in C++ and one in Python take
// for the whole state of a driver, and until a change that they have written is there. The driver is a
// process of its own, in C++; the application in Python is bench/peer.py.

#include "Process.h"
#include "link/Connector.h"
#include "link/Listener.h"
#include "model/LifApps.h"

#include <algorithm>
#include <array>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <fcntl.h>
#include <filesystem>
#include <fstream>
#include <string>
#include <sys/prctl.h>
#include <sys/resource.h>
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

AradLifEntry entry(U32 number) {
    return {lifAcMp, 0, number};
}

/// A driver with so many counts, until it is killed.
void serve(Address const& address, U32 counts) {
    prctl(PR_SET_PDEATHSIG, SIGKILL);
    Loop loop;
    auto const dir = lifAppConfigDirFactory("lifConfig");
    auto const config = dir->appConfigIs(Loam::vtAppMpls);
    for (U32 i = 0; i < counts; ++i) {
        config->reqCountIs(entry(i), i + 1);
    }
    ListenerConfig serving;
    serving.service = Kor::makePtr<Service>();
    serving.service->offer("lifConfig", dir);
    Listener const listener(loop, address, serving);
    loop.run();
}

[[noreturn]] void fail(char const* what) {
    std::fprintf(stderr, "PeerBench: %s\n", what);
    std::exit(1);
}

struct Figures {
    double pass = 0;   // seconds, of the whole state
    double memory = 0; // MB at most, when it is there
    double median = 0; // microseconds, of a change and the answer that it is there
    double centile99 = 0;
};

/// An application in C++.
Figures application(Address const& address, unsigned changes) {
    Loop loop;
    auto const begun = Clock::now();
    Kor::Ptr<LifAppConfigDir> copy;
    ConnectorConfig config;
    config.setUp = [&](Session& session) {
        session.want("lifConfig", [&](RootState state, Kor::Ptr<Kor::Entity> const& root, auto const&) {
            if (state == RootState::synchronized) {
                copy = Kor::ptrCast<LifAppConfigDir>(root);
            }
        });
    };
    Connector connector(loop, address, config);
    if (!loop.runUntil([&] { return copy != nullptr; }, std::chrono::seconds(60))) {
        fail("the state of the driver did not come");
    }
    Figures made;
    made.pass = std::chrono::duration<double>(Clock::now() - begun).count();
    rusage used{};
    getrusage(RUSAGE_SELF, &used);
    made.memory = static_cast<double>(used.ru_maxrss) / 1024;

    auto const counts = copy->appConfig(Loam::vtAppMpls);
    std::vector<double> times;
    for (U32 i = 0; i < changes; ++i) {
        auto const written = Clock::now();
        counts->reqCountIs(entry(0), 1'000'000 + i);
        bool isThere = false;
        connector.session()->fence(FenceLevel::applied, [&](auto const&...) { isThere = true; });
        if (!loop.runUntil([&] { return isThere; }, std::chrono::seconds(10))) {
            fail("a fence was not answered");
        }
        times.push_back(std::chrono::duration<double, std::micro>(Clock::now() - written).count());
    }
    std::ranges::sort(times);
    made.median = times.at(times.size() / 2);
    made.centile99 = times.at(times.size() * 99 / 100);
    return made;
}

/// Of the process that the work runs in, what it says: so each has memory of its own.
template <class Work>
Figures said(Work const& work) {
    std::array<int, 2> pipe{};
    if (::pipe2(pipe.data(), O_CLOEXEC) != 0) {
        fail("there is no pipe");
    }
    pid_t const id = fork();
    if (id == 0) {
        dup2(pipe[1], STDOUT_FILENO);
        work();
        std::fflush(stdout);
        std::_Exit(0);
    }
    close(pipe[1]);
    FILE* const from = fdopen(pipe[0], "r");
    Figures made;
    int const read =
        std::fscanf(from, "%lf %lf %lf %lf", &made.pass, &made.memory, &made.median, &made.centile99);
    std::fclose(from);
    int status = 0;
    waitpid(id, &status, 0);
    if (read != 4 || status != 0) {
        fail("an application has said nothing");
    }
    return made;
}

} // namespace

int main(int argc, char** argv) {
    CLI::App options("PeerBench: an application in C++ and one in Python beside each other", "PeerBench");
    U32 counts = 100'000;
    unsigned changes = 2000;
    unsigned turns = 3;
    bench::addNumber(options, "--counts", counts, 1U, 1'000'000U, "of the driver");
    bench::addNumber(options, "--changes", changes, 100U, 1'000'000U,
                     "that an application writes, one by one");
    bench::addNumber(options, "--turns", turns, 1U, 100U, "of each; the best one counts");
    if (auto const status = bench::read(options, argc, argv)) {
        return *status;
    }
    char folder[] = "/tmp/loam-peers-XXXXXX";
    if (mkdtemp(folder) == nullptr) {
        fail("there is no folder");
    }
    std::string const path = std::string(folder) + "/socket";
    Address const address = Address::local(path);
    pid_t const driver = fork();
    if (driver == 0) {
        serve(address, counts);
        std::_Exit(0);
    }
    while (!std::filesystem::exists(path)) {
        usleep(1000);
    }
    auto const better = [](Figures const& one, Figures const& other) {
        return Figures{std::min(one.pass, other.pass), std::max(one.memory, other.memory),
                       std::min(one.median, other.median), std::min(one.centile99, other.centile99)};
    };
    Figures compiled, python;
    for (unsigned i = 0; i < turns; ++i) {
        auto const mine = said([&] {
            Figures const made = application(address, changes);
            std::printf("%f %f %f %f\n", made.pass, made.memory, made.median, made.centile99);
        });
        auto const theirs = said([&] {
            std::string const number = std::to_string(changes);
            execl("/usr/bin/python3", "python3", LOAM_SOURCES "/bench/peer.py", path.c_str(), number.c_str(),
                  static_cast<char*>(nullptr));
            std::_Exit(1);
        });
        compiled = i == 0 ? mine : better(compiled, mine);
        python = i == 0 ? theirs : better(python, theirs);
    }
    kill(driver, SIGKILL);
    waitpid(driver, nullptr, 0);
    std::filesystem::remove_all(folder);
    std::printf("an application beside a driver with %u counts         C++     Python\n", counts);
    std::printf("  the whole state, connecting included, s      %13.3f %10.3f\n", compiled.pass, python.pass);
    std::printf("  memory of the process then, MB               %13.1f %10.1f\n", compiled.memory,
                python.memory);
    std::printf("  a change until it is known to be there, us   %13.0f %10.0f\n", compiled.median,
                python.median);
    std::printf("  the same, 99 of 100                          %13.0f %10.0f\n", compiled.centile99,
                python.centile99);
    return 0;
}
