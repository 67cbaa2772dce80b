#pragma once

/// A folder for one test, and processes of the program that work in it.

#include "demo/Child.h"
#include "tests/tools/Process.h"

#include <chrono>
#include <filesystem>
#include <functional>
#include <sstream>
#include <string>
#include <thread>
#include <vector>

namespace support {

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
    std::string content(std::string const& name) const {
        std::ostringstream text;
        text << std::ifstream(file(name)).rdbuf();
        return text.str();
    }
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
    Outcome on(std::string const& command, std::vector<std::string> words) const {
        words.insert(words.begin(), {command, "--socket", socket(), "--timeout", "20000"});
        return loamtunnel(words);
    }

private:
    std::string folder_;
};

} // namespace support
