#pragma once

/// A process that is started, watched and killed.
///
///     tool::Child driver({"/proc/self/exe", "driver", ...}, "driver.log");
///     driver.kill(SIGKILL);
///     driver.join();
///
/// Ends with its process, by SIGKILL; and with the process that has started it, however that ends, by
/// SIGTERM.

#include <optional>
#include <string>
#include <sys/types.h>
#include <vector>

namespace tool {

class Child {
public:
    /// The words are the program and its arguments; its output is appended to the log. Throws Refused if it
    /// cannot be started.
    Child(std::vector<std::string> words, std::string log);
    ~Child();
    Child(Child&& other) noexcept;
    Child& operator=(Child&& other) noexcept;

    /// What it has returned, or 128 and the signal that ended it; nothing while it runs.
    std::optional<int> status();
    void kill(int signal);
    int join();
    std::string const& log() const { return log_; }
    pid_t id() const { return id_; }

private:
    std::string log_;
    pid_t id_ = 0;
    std::optional<int> status_;
};

} // namespace tool
