#pragma once

/// Runs the built program as a process, as a user's shell would.

#include <cstdlib>
#include <fstream>
#include <gtest/gtest.h>
#include <sstream>
#include <string>
#include <sys/wait.h>
#include <unistd.h>
#include <vector>

namespace support {

struct Outcome {
    int status;
    std::string out;
    std::string err;
};

/// The exit status is 256 and the signal when the program was killed by one.
inline Outcome loamtunnel(std::vector<std::string> const& arguments, std::string const& input = "") {
    std::string const stem = testing::TempDir() + "loamtunnel-" + std::to_string(getpid());
    std::string command = LOAM_PROGRAM;
    for (std::string const& argument : arguments) {
        command += " '";
        for (char const c : argument) {
            command += c == '\'' ? "'\\''" : std::string(1, c);
        }
        command += '\'';
    }
    std::ofstream(stem + ".in") << input;
    command = "exec " + command + " <" + stem + ".in >" + stem + ".out 2>" + stem + ".err";
    int const result = std::system(command.c_str());
    auto const content = [&](char const* end) {
        std::ostringstream text;
        text << std::ifstream(stem + end).rdbuf();
        unlink((stem + end).c_str());
        return text.str();
    };
    Outcome outcome{WIFEXITED(result) ? WEXITSTATUS(result) : 256 + WTERMSIG(result), content(".out"),
                    content(".err")};
    unlink((stem + ".in").c_str());
    return outcome;
}

} // namespace support
