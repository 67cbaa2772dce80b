// How long a driver takes for many requests at once: an application asks for all of them in one go, and has
// an answer to each. The driver is a program's, this build's or another one, in turns if there are two.

#include "Process.h"
#include "link/Connector.h"
#include "model/LoamTunnelModel.h"

#include <algorithm>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <memory>
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
using Kor::U16;
using Kor::U32;
using Kor::U64;

struct Options {
    std::vector<std::string> programs{LOAM_PROGRAM};
    /// Under which name each driver takes requests.
    std::vector<std::string> roots{"lifConfig"};
    std::vector<std::string> sync{"full", "normal", "off"};
    U32 lifs = 20'000;
    U32 turns = 5;
};

[[noreturn]] void fail(std::string const& why) {
    std::fprintf(stderr, "RequestBench: %s\n", why.c_str());
    std::exit(1);
}

/// A driver in a new folder, and what is needed to end it.
class Driver {
public:
    Driver(std::string const& program, std::string const& sync) {
        std::string pattern = (std::filesystem::temp_directory_path() / "requests-XXXXXX").string();
        if (::mkdtemp(pattern.data()) == nullptr) {
            fail("cannot make a folder");
        }
        folder_ = pattern;
        id_ = ::fork();
        if (id_ == 0) {
            ::prctl(PR_SET_PDEATHSIG, SIGKILL);
            std::string const at = socket(), image = folder_ + "/chip.img";
            std::vector<char const*> words{program.c_str(), "driver", "--socket", at.c_str(),
                                           "--chip",        "8",      "--image",  image.c_str()};
            if (!sync.empty()) {
                words.insert(words.end(), {"--sync", sync.c_str()});
            }
            words.push_back(nullptr);
            if (std::freopen("/dev/null", "w", stderr) != nullptr) {
                ::execv(program.c_str(), const_cast<char* const*>(words.data()));
            }
            std::_Exit(127);
        }
    }
    ~Driver() {
        ::kill(id_, SIGTERM);
        ::waitpid(id_, nullptr, 0);
        std::filesystem::remove_all(folder_);
    }
    Driver(Driver const&) = delete;
    Driver& operator=(Driver const&) = delete;
    std::string socket() const { return folder_ + "/socket"; }

private:
    std::string folder_;
    pid_t id_;
};

/// Each has that many indexes.
constexpr U32 lifsOfOne = 4'096;
constexpr Loam::VtAppId applications[]{Loam::vtAppBridging, Loam::vtAppSubinterface,    Loam::vtAppPseudowire,
                                       Loam::vtAppMpls,     Loam::vtAppVlanTranslation, Loam::vtAppVxlan};

/// One of those who ask, each over a connection of its own.
class Application {
public:
    Application(Kor::Link::Loop& loop, std::string const& socket, Loam::VtAppId app, U32 lifs)
        : app_(app), lifs_(lifs), config_(lifAppConfigFactory(app)),
          statuses_(lifAppStatusDirFactory("lifStatus")),
          connector_(loop, Kor::Link::Address::parse(socket), how()) {
        for (U32 i = 0; i < lifs; ++i) {
            AradLifAcMp entry(lifAcMp);
            entry.vsiIs(static_cast<U16>(i));
            entry.vlanEditVid1Is(static_cast<U16>(app));
            config_->reqCountIs(entry, 1);
        }
    }
    bool isReady() const { return isReady_; }
    void ask(std::string const& root) {
        connector_.session()->push(Kor::Name(Kor::String8(root)), config_, Access::writable,
                                   [](bool isAccepted, Kor::String8 const& why) {
                                       if (!isAccepted) {
                                           fail("requests are not accepted: " + std::string(why.view()));
                                       }
                                   });
    }
    bool isAnswered() const {
        auto const status = std::as_const(*statuses_).appStatus(app_);
        return status && status->lifEntryMap().count() == lifs_;
    }

private:
    Kor::Link::ConnectorConfig how() {
        Kor::Link::ConnectorConfig config;
        config.setUp = [this](Session& session) {
            session.want("lifStatus", statuses_,
                         [this](RootState state, Kor::Ptr<Kor::Entity> const&, Kor::String8 const&) {
                             isReady_ = isReady_ || state == RootState::synchronized;
                         });
        };
        return config;
    }

    Loam::VtAppId app_;
    U32 lifs_;
    bool isReady_ = false;
    Kor::Ptr<LifAppConfig> config_;
    Kor::Ptr<LifAppStatusDir> statuses_;
    Kor::Link::Connector connector_;
};

/// From the first request to the last answer.
std::chrono::duration<double> run(std::string const& program, std::string const& root,
                                  std::string const& sync, U32 lifs) {
    Driver const driver(program, sync);
    Kor::Link::Loop loop;
    std::vector<std::unique_ptr<Application>> asking;
    for (U32 left = lifs; left != 0; left -= std::min(left, lifsOfOne)) {
        asking.push_back(std::make_unique<Application>(loop, driver.socket(), applications[asking.size()],
                                                       std::min(left, lifsOfOne)));
    }
    constexpr std::chrono::seconds most(60);
    auto const all = [&](bool (Application::*is)() const) {
        return loop.runUntil(
            [&] {
                return std::ranges::all_of(asking, [&](auto const& each) { return (each.get()->*is)(); });
            },
            most);
    };
    if (!all(&Application::isReady)) {
        fail("no connection to " + program);
    }
    auto const begin = Clock::now();
    for (auto const& each : asking) {
        each->ask(root);
    }
    if (!all(&Application::isAnswered)) {
        fail(program + " has not answered all");
    }
    return Clock::now() - begin;
}

} // namespace

int main(int argc, char** argv) {
    Options options;
    CLI::App app("How long a driver takes for many requests at once", "RequestBench");
    app.add_option("--program", options.programs, "Whose driver; several take turns")->delimiter(',');
    app.add_option("--root", options.roots, "Under which name each of them takes requests")->delimiter(',');
    app.add_option("--sync", options.sync, "How the first one keeps places")->delimiter(',');
    bench::addNumber(app, "--lifs", options.lifs, 1u, 24'000u, "How many LIFs");
    bench::addNumber(app, "--turns", options.turns, 1u, 100u, "How often");
    if (auto const status = bench::read(app, argc, argv)) {
        return *status;
    }
    if (options.programs.size() != options.roots.size()) {
        fail("each --program wants a --root");
    }
    struct Kind {
        std::string program, root, sync;
        std::vector<double> times{};
    };
    std::vector<Kind> kinds;
    for (std::string const& sync : options.sync) {
        kinds.push_back({options.programs[0], options.roots[0], sync});
    }
    for (std::size_t i = 1; i < options.programs.size(); ++i) {
        kinds.push_back({options.programs[i], options.roots[i], ""});
    }
    for (U32 turn = 0; turn < options.turns; ++turn) {
        for (Kind& each : kinds) {
            each.times.push_back(run(each.program, each.root, each.sync, options.lifs).count());
        }
    }
    for (Kind& each : kinds) {
        std::ranges::sort(each.times);
        std::printf("%u LIFs at once, %s %s: %.3f s (%.3f to %.3f)\n", options.lifs, each.program.c_str(),
                    each.sync.c_str(), each.times[each.times.size() / 2], each.times.front(),
                    each.times.back());
    }
}
