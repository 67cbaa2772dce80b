/// The program between two users of one machine. As root a test becomes the other one in a process of its
/// own; otherwise it is skipped.

#include "link/Listener.h"
#include "tests/tools/InFolder.h"
#include "tools/Program.h"

#include <array>
#include <csignal>
#include <fcntl.h>
#include <filesystem>
#include <fstream>
#include <functional>
#include <sstream>
#include <string>
#include <sys/file.h>
#include <sys/prctl.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>
#include <vector>

namespace {

using namespace std::chrono_literals;
using support::ends;
using support::has;
using support::loamtunnel;
using support::Outcome;
namespace fs = std::filesystem;

constexpr uid_t other = 65533;

class SecondUser : public support::InFolder {
protected:
    void SetUp() override {
        if (::geteuid() != 0) {
            GTEST_SKIP() << "only root can become another user";
        }
    }
    /// Runs as the other user; its status.
    static int asOther(std::function<int()> const& work) {
        pid_t const id = startAsOther(work);
        int status = 0;
        ::waitpid(id, &status, 0);
        return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
    }
    static pid_t startAsOther(std::function<int()> const& work) {
        pid_t const id = ::fork();
        if (id == 0) {
            bool const isOther = ::setgid(other) == 0 && ::setuid(other) == 0 && ::umask(022) != ~mode_t{0};
            ::prctl(PR_SET_PDEATHSIG, SIGKILL);
            std::_Exit(isOther ? work() : -1);
        }
        return id;
    }
    /// What a command says to the other user, and how it ends.
    Outcome toOther(std::vector<std::string> const& words) const {
        Outcome outcome{};
        std::string const said = file("said");
        std::ofstream(said).close();
        fs::permissions(said, fs::perms::all);
        outcome.status = asOther([&] {
            std::istringstream in;
            std::ostringstream out;
            std::ofstream err(said);
            return tool::run(words, {in, out, err});
        });
        outcome.err = content("said");
        fs::remove(said);
        return outcome;
    }
    /// A folder that all may write to, as /tmp is.
    std::string shared() const {
        std::string path = file("shared");
        fs::create_directory(path);
        EXPECT_EQ(::chmod(path.c_str(), 01777), 0);
        return path;
    }
    tool::Child servingAt(std::string const& at) const {
        return serving({"serve", "lif=LifAppConfigDir", "--writable", "--socket", at});
    }
};

TEST_F(SecondUser, IsLetInNowhereWhateverTheModeOfTheSocket) {
    auto const server = servingAt(socket());
    std::vector<std::string> const asking{"tree", "--socket", socket(), "--timeout", "5000"};
    EXPECT_TRUE(ends(toOther(asking), 6, "ermission denied"));
    ASSERT_EQ(::chmod(socket().c_str(), 0666), 0); // a careless operator
    for (auto const& words : {asking, {"set", "lif.appConfig[vtAppMpls]", "--socket", socket()}}) {
        Outcome const outcome = toOther(words); // whose own side refuses, too
        EXPECT_TRUE(ends(outcome, 6, "runs for user 0, and this side talks to user 65533 alone")) << words[0];
    }
    EXPECT_TRUE(eventually([&] {
        return content("serve.log").find("runs for user 65533, and this side talks to user 0 alone") !=
               std::string::npos;
    })) << content("serve.log");
    EXPECT_EQ(loamtunnel(asking).out, "lif: LifAppConfigDir\n");
}

TEST_F(SecondUser, IsNoServerForThisOne) {
    std::string const at = shared() + "/socket";
    pid_t const impostor = startAsOther([&] {
        Kor::Link::Loop loop;
        Kor::Link::Listener const listener(loop, Kor::Link::Address::parse(at), {});
        ::chmod(at.c_str(), 0666);
        loop.run();
        return 0;
    });
    ASSERT_TRUE(eventually([&] {
        struct stat status {};
        return ::stat(at.c_str(), &status) == 0 && (status.st_mode & 0666u) == 0666u;
    }));
    EXPECT_TRUE(ends(loamtunnel({"tree", "--socket", at, "--timeout", "5000"}), 6,
                     "runs for user 65533, and this side talks to user 0 alone"));
    ::kill(impostor, SIGKILL);
    ::waitpid(impostor, nullptr, 0);
}

TEST_F(SecondUser, KeepsNobodyFromServingInASharedFolder) {
    std::string const folder = shared();
    std::array<int, 2> ready{};
    ASSERT_EQ(::pipe2(ready.data(), O_CLOEXEC), 0);
    pid_t const neighbour = startAsOther([&] {
        int const held = ::open(folder.c_str(), O_RDONLY | O_DIRECTORY);
        std::ofstream(folder + "/taken") << "mine";
        std::ofstream(folder + "/locked.lock") << "mine";
        bool const isLocked = ::flock(held, LOCK_EX | LOCK_NB) == 0;
        static_cast<void>(!::write(ready[1], "r", 1));
        ::pause();
        return isLocked ? 0 : 1;
    });
    char heard = 0;
    ASSERT_EQ(::read(ready[0], &heard, 1), 1);
    { // What is the neighbour's is named, and stays.
        for (char const* const name : {"/taken", "/locked"}) {
            auto refused = servingAt(folder + name);
            EXPECT_EQ(refused.join(), 1) << name;
            EXPECT_TRUE(has(content("serve.log"), folder + name));
        }
        EXPECT_EQ(content("shared/taken"), "mine");
        EXPECT_EQ(content("shared/locked.lock"), "mine");
        auto server = servingAt(folder + "/free");
        EXPECT_EQ(loamtunnel({"tree", "--socket", folder + "/free"}).out, "lif: LifAppConfigDir\n");
        // The socket in such a folder is not the neighbour's to take away.
        EXPECT_EQ(asOther([&] { return ::unlink((folder + "/free").c_str()) == 0 ? 0 : 1; }), 1);
        EXPECT_EQ(ended(server, SIGTERM), 0);
    }
    ::kill(neighbour, SIGKILL);
    ::waitpid(neighbour, nullptr, 0);
    ::close(ready[0]);
    ::close(ready[1]);
}

TEST_F(SecondUser, ReadsNoFileAndOwnsNoDefaultFolder) {
    auto const driver = serving({"driver", "--socket", socket(), "--chip", "8", "--image", file("chip.img")});
    EXPECT_EQ(loamtunnel({"log", "record", file("recording"), "--once", "--socket", socket()}).status, 0);
    for (char const* const name : {"chip.img", "chip.img.db", "chip.img.lock", "recording"}) {
        EXPECT_TRUE(fs::exists(file(name))) << name;
        EXPECT_EQ(asOther([&] { return ::open(file(name).c_str(), O_RDONLY) < 0 ? 0 : 1; }), 0) << name;
    }
    fs::create_directory(file("loamtunnel"));
    ASSERT_EQ(::chmod(file("loamtunnel").c_str(), 0700), 0);
    ASSERT_EQ(::chown(file("loamtunnel").c_str(), other, other), 0);
    ::setenv("XDG_RUNTIME_DIR", folder().c_str(), 1);
    Outcome const theirs = loamtunnel({"serve", "lif=LifAppConfigDir"});
    ::unsetenv("XDG_RUNTIME_DIR");
    EXPECT_TRUE(ends(theirs, 1, "is no folder of this user's own"));
    EXPECT_TRUE(fs::is_empty(file("loamtunnel")));
}

} // namespace
