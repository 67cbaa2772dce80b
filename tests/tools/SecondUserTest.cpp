/// The program between two users of one machine. As root a test becomes the other one in a process of its
/// own; otherwise it is skipped.

#include "link/Listener.h"
#include "tests/tools/InFolder.h"
#include "tools/Program.h"

#include <csignal>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <string>
#include <sys/prctl.h>
#include <sys/stat.h>
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
    /// Becomes the other user; the status of the work.
    static int asOther(auto const& work) {
        bool const isOther = ::setgid(other) == 0 && ::setuid(other) == 0 && ::umask(022) != ~mode_t{0};
        ::prctl(PR_SET_PDEATHSIG, SIGKILL); // which a change of the user has undone
        return isOther ? work() : -1;
    }
    /// What a command says to the other user, and how it ends.
    Outcome toOther(std::vector<std::string> const& words) const {
        Outcome outcome{};
        std::string const said = file("said");
        std::ofstream(said).close();
        fs::permissions(said, fs::perms::all);
        auto const run = [&] {
            std::istringstream in;
            std::ostringstream out;
            std::ofstream err(said);
            return tool::run(words, {in, out, err});
        };
        outcome.status = support::Forked([&] { return asOther(run); }).join();
        outcome.err = content("said");
        fs::remove(said);
        return outcome;
    }
    tool::Child servingAt(std::string const& at) const {
        return serving({"serve", "lif=LifAppConfigDir", "--writable", "--socket", at});
    }
};

TEST_F(SecondUser, IsLetInNowhereWhateverTheModeOfTheSocket) {
    auto const server = servingAt(socket());
    std::vector<std::string> const asking{"tree", "--socket", socket(), "--timeout", "500"};
    EXPECT_TRUE(ends(toOther(asking), 6, "ermission denied"));
    ASSERT_EQ(::chmod(socket().c_str(), 0666), 0); // a careless operator
    for (auto const& words :
         {asking, {"set", "lif.appConfig[vtAppMpls]", "--socket", socket(), "--timeout", "500"}}) {
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
    fs::create_directory(file("shared"));
    ASSERT_EQ(::chmod(file("shared").c_str(), 01777), 0); // as /tmp is
    std::string const at = file("shared/socket");
    auto const serve = [&] {
        Kor::Link::Loop loop;
        Kor::Link::Listener const listener(loop, Kor::Link::Address::parse(at), {});
        ::chmod(at.c_str(), 0666);
        loop.run();
        return 0;
    };
    support::Forked const impostor([&] { return asOther(serve); });
    ASSERT_TRUE(eventually([&] { return support::modeOf(at) == 0666u; }));
    EXPECT_TRUE(ends(loamtunnel({"tree", "--socket", at, "--timeout", "500"}), 6,
                     "runs for user 65533, and this side talks to user 0 alone"));
}

TEST_F(SecondUser, OwnsNoDefaultFolder) {
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
