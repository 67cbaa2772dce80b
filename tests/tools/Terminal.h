#pragma once

/// The built program in a pseudo-terminal of its own, as a person has it.

#include "runtime/Types.h"

#include <chrono>
#include <csignal>
#include <cstdlib>
#include <functional>
#include <gtest/gtest.h>
#include <poll.h>
#include <pty.h>
#include <string>
#include <sys/wait.h>
#include <termios.h>
#include <unistd.h>
#include <vector>

namespace support {

class Terminal {
public:
    /// Of another program, if the first word is its path; in that folder, if one is given.
    explicit Terminal(std::vector<std::string> words, unsigned short columns = 120, unsigned short rows = 40,
                      std::string const& folder = ".") {
        if (!words[0].starts_with('/')) {
            words.insert(words.begin(), LOAM_PROGRAM);
        }
        winsize const size{rows, columns, 0, 0};
        id_ = ::forkpty(&fd_, nullptr, nullptr, &size);
        if (id_ == 0) {
            std::vector<char*> arguments;
            for (std::string& word : words) {
                arguments.push_back(word.data());
            }
            arguments.push_back(nullptr);
            ::setenv("TERM", "xterm", 1);
            if (::chdir(folder.c_str()) == 0) {
                ::execv(arguments[0], arguments.data());
            }
            std::_Exit(127);
        }
    }
    ~Terminal() {
        if (id_ > 0) {
            ::kill(id_, SIGKILL);
            ::waitpid(id_, nullptr, 0);
        }
        ::close(fd_);
    }
    Terminal(Terminal const&) = delete;
    Terminal& operator=(Terminal const&) = delete;

    void type(std::string const& text) const {
        EXPECT_EQ(::write(fd_, text.data(), text.size()), static_cast<ssize_t>(text.size()));
    }
    /// How the terminal treats what is typed.
    tcflag_t modes() const {
        termios now{};
        EXPECT_EQ(::tcgetattr(fd_, &now), 0);
        return now.c_lflag & (ICANON | ECHO | ISIG);
    }
    /// Whether that comes, after what was waited for before.
    bool shows(std::string const& text, std::chrono::milliseconds most = std::chrono::seconds(20)) {
        return until(
            [&] {
                std::size_t const at = all_.find(text, seen_);
                if (at != all_.npos) {
                    seen_ = at + text.size();
                }
                return at != all_.npos;
            },
            most);
    }
    /// All that came.
    std::string const& all() const { return all_; }
    /// The exit status, or 256 and the signal; -1 if it does not end.
    int join() {
        int result = 0;
        bool const isOver =
            until([&] { return ::waitpid(id_, &result, WNOHANG) == id_; }, std::chrono::seconds(20));
        until([] { return false; }, std::chrono::milliseconds(50)); // what is still on its way
        if (!isOver) {
            return -1;
        }
        id_ = 0;
        return WIFEXITED(result) ? WEXITSTATUS(result) : 256 + WTERMSIG(result);
    }
    void kill(int signal) const { ::kill(id_, signal); }

private:
    bool until(std::function<bool()> const& condition, std::chrono::milliseconds most) {
        auto const end = std::chrono::steady_clock::now() + most;
        for (;;) {
            if (condition()) {
                return true;
            }
            if (std::chrono::steady_clock::now() > end) {
                return false;
            }
            pollfd input{fd_, POLLIN, 0};
            ::poll(&input, 1, 20);
            char bytes[4096];
            if ((input.revents & POLLIN) != 0) {
                ssize_t const n = ::read(fd_, bytes, sizeof bytes);
                all_.append(bytes, static_cast<std::size_t>(n > 0 ? n : 0));
            } else if (input.revents != 0) {
                ::usleep(10'000); // it has been closed
            }
        }
    }

    pid_t id_ = 0;
    int fd_ = -1;
    std::string all_;
    std::size_t seen_ = 0;
};

} // namespace support
