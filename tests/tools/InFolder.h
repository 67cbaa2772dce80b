#pragma once

/// A folder for one test, and processes of the program that work in it.

#include "demo/Child.h"
#include "tests/tools/Process.h"

#include <chrono>
#include <csignal>
#include <functional>
#include <string>
#include <sys/prctl.h>
#include <thread>
#include <utility>
#include <vector>

namespace support {

/// Work in a process of its own, which is killed at the latest when this one ends.
class Forked {
public:
    template <class Work>
    explicit Forked(Work const& work) : id_(::fork()) {
        if (id_ == 0) {
            ::prctl(PR_SET_PDEATHSIG, SIGKILL);
            std::_Exit(work());
        }
    }
    ~Forked() {
        if (id_ > 0) {
            ::kill(id_, SIGKILL);
            join();
        }
    }
    Forked(Forked const&) = delete;
    Forked& operator=(Forked const&) = delete;
    int join() {
        int status = 0;
        ::waitpid(std::exchange(id_, 0), &status, 0);
        return exitStatus(status);
    }

private:
    pid_t id_;
};

class InFolder : public testing::Test {
protected:
    InFolder() : folder_(testing::TempDir() + "loam-" + std::to_string(getpid())) {
        std::filesystem::create_directories(folder_);
    }
    ~InFolder() override {
        std::error_code ignored; // a leftover in the system's folder for such
        std::filesystem::remove_all(folder_, ignored);
    }

    std::string const& folder() const { return folder_; }
    std::string file(std::string const& name) const { return folder_ + '/' + name; }
    std::string socket() const { return file("socket"); }
    std::string content(std::string const& name) const { return contentOf(file(name)); }
    tool::Child start(std::vector<std::string> words, std::string const& log) const {
        words.insert(words.begin(), LOAM_PROGRAM);
        return {std::move(words), file(log)};
    }
    static bool eventually(std::function<bool()> const& condition) {
        for (int i = 0; i < 2'000; ++i) {
            if (condition()) {
                return true;
            }
            std::this_thread::sleep_for(std::chrono::milliseconds(10));
        }
        return false;
    }
    /// Whether that is written to a file of the folder before long.
    testing::AssertionResult says(std::string const& name, std::string const& text) const {
        eventually([&] { return has(content(name), text); });
        return has(content(name), text);
    }
    /// Starts what serves, and waits until it does or has ended.
    tool::Child serving(std::vector<std::string> const& words, std::string const& log = "serve.log") const {
        std::filesystem::remove(file(log));
        tool::Child child = start(words, log);
        serves(child, log);
        return child;
    }
    void serves(tool::Child& child, std::string const& log) const {
        EXPECT_TRUE(eventually([&] { return has(content(log), "serving at") || child.status(); }));
    }
    /// The status with which it ends when it gets the signal.
    static int ended(tool::Child& child, int signal) {
        child.kill(signal);
        return child.join();
    }
    Outcome on(std::string const& command, std::vector<std::string> words) const {
        words.insert(words.begin(), {command, "--socket", socket(), "--timeout", "20000"});
        return loamtunnel(words);
    }

private:
    std::string folder_;
};

} // namespace support
