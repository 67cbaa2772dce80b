#pragma once

/// Runs the built program as a process, as a user's shell would.

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <gtest/gtest.h>
#include <initializer_list>
#include <iterator>
#include <sstream>
#include <string>
#include <sys/wait.h>
#include <tuple>
#include <unistd.h>
#include <vector>

// The allocator of a sanitizer does not tell what is held, and takes memory of its own.
#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
#define LOAM_OTHER_ALLOCATOR
#elif defined(__has_feature)
#if __has_feature(address_sanitizer) || __has_feature(thread_sanitizer)
#define LOAM_OTHER_ALLOCATOR
#endif
#endif

namespace support {

/// Cases of one test, without a name for each column.
template <class... Column>
using Table = std::initializer_list<std::tuple<Column...>>;

struct Outcome {
    int status;
    std::string out;
    std::string err;
};

/// What wait() gives; 256 and the signal when the program was killed by one.
inline int exitStatus(int result) {
    return WIFEXITED(result) ? WEXITSTATUS(result) : 256 + WTERMSIG(result);
}

/// All that is in a file.
inline std::string contentOf(std::string const& path) {
    std::ostringstream text;
    text << std::ifstream(path, std::ios::binary).rdbuf();
    return text.str();
}

/// The bits of its mode; those of no file are no mode.
inline unsigned modeOf(std::string const& path) {
    return static_cast<unsigned>(std::filesystem::status(path).permissions());
}

inline std::vector<std::string> linesOf(std::string const& text) {
    std::istringstream in(text);
    std::vector<std::string> lines;
    for (std::string line; std::getline(in, line);) {
        lines.push_back(line);
    }
    return lines;
}

inline std::vector<std::string> wordsOf(std::string const& text) {
    std::istringstream in(text);
    return {std::istream_iterator<std::string>(in), {}};
}

/// Runs one command of a shell.
inline Outcome shell(std::string const& command, std::string const& input = "") {
    std::string const stem = testing::TempDir() + "loamtunnel-" + std::to_string(getpid());
    std::string const in = stem + ".in", out = stem + ".out", err = stem + ".err";
    std::ofstream(in) << input;
    int const result = std::system(("exec " + command + " <" + in + " >" + out + " 2>" + err).c_str());
    Outcome outcome{exitStatus(result), contentOf(out), contentOf(err)};
    for (std::string const& each : {in, out, err}) {
        unlink(each.c_str());
    }
    return outcome;
}

/// Variables of the environment may stand before it, `NAME=VALUE` without blanks.
inline Outcome loamtunnel(std::vector<std::string> const& arguments, std::string const& input = "",
                          std::string const& environment = "") {
    std::string command = (environment.empty() ? "" : "env " + environment + ' ') + LOAM_PROGRAM;
    for (std::string const& argument : arguments) {
        command += " '";
        for (char const c : argument) {
            command += c == '\'' ? "'\\''" : std::string(1, c);
        }
        command += '\'';
    }
    return shell(command, input);
}

/// Whether a text has a part; a failure shows the text.
inline testing::AssertionResult has(std::string const& text, std::string const& part) {
    bool const isThere = text.find(part) != text.npos;
    return (isThere ? testing::AssertionSuccess() : testing::AssertionFailure())
           << "'" << part << (isThere ? "' is in " : "' is not in ") << text;
}

/// Whether it ends with that status and those words.
inline testing::AssertionResult ends(Outcome const& outcome, int status, std::string const& words) {
    if (outcome.status == status && has(outcome.err, words)) {
        return testing::AssertionSuccess();
    }
    return testing::AssertionFailure()
           << "status " << outcome.status << ", not " << status << " with '" << words << "': " << outcome.err;
}

struct Refusal {
    std::vector<std::string> arguments;
    std::string message;
};

/// Each is refused with its message in one line, and prints nothing.
inline void expectRefused(int status, std::vector<Refusal> const& all) {
    for (Refusal const& each : all) {
        Outcome const outcome = loamtunnel(each.arguments);
        EXPECT_EQ(outcome.err, "loamtunnel: " + each.message + '\n');
        EXPECT_EQ(outcome.status, status) << each.message;
        EXPECT_EQ(outcome.out, "") << each.message;
    }
}

/// Whether a process has a handler for a signal by now, as the kernel tells it.
inline bool hears(pid_t process, int signal) {
    std::ifstream status("/proc/" + std::to_string(process) + "/status");
    for (std::string line; std::getline(status, line);) {
        if (line.starts_with("SigCgt:")) {
            return (std::stoull(line.substr(7), nullptr, 16) >> (signal - 1) & 1) != 0;
        }
    }
    return false;
}

} // namespace support
