#include "demo/Child.h"

#include "tools/Failure.h"

#include <cerrno>
#include <csignal>
#include <fcntl.h>
#include <spawn.h>
#include <sys/wait.h>
#include <system_error>
#include <unistd.h>
#include <utility>

namespace tool {

Child::Child(std::vector<std::string> words, std::string log) : log_(std::move(log)) {
    std::vector<char*> arguments;
    arguments.reserve(words.size() + 1);
    for (std::string& word : words) {
        arguments.push_back(word.data());
    }
    arguments.push_back(nullptr);
    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    posix_spawn_file_actions_addopen(&actions, 0, "/dev/null", O_RDONLY, 0);
    posix_spawn_file_actions_addopen(&actions, 1, log_.c_str(), O_WRONLY | O_CREAT | O_APPEND, 0666);
    posix_spawn_file_actions_adddup2(&actions, 1, 2);
    int const error = posix_spawn(&id_, words[0].c_str(), &actions, nullptr, arguments.data(), environ);
    posix_spawn_file_actions_destroy(&actions);
    if (error != 0) {
        throw Refused("cannot start " + words[0] + ": " + std::generic_category().message(error));
    }
}

Child::~Child() {
    if (id_ != 0 && !status()) {
        kill(SIGKILL);
        join();
    }
}

Child::Child(Child&& other) noexcept
    : log_(std::move(other.log_)), id_(std::exchange(other.id_, 0)), status_(other.status_) {}

Child& Child::operator=(Child&& other) noexcept {
    std::swap(log_, other.log_);
    std::swap(id_, other.id_);
    std::swap(status_, other.status_);
    return *this;
}

std::optional<int> Child::status() {
    int word = 0;
    if (id_ != 0 && !status_ && ::waitpid(id_, &word, WNOHANG) == id_) {
        status_ = WIFEXITED(word) ? WEXITSTATUS(word) : 128 + WTERMSIG(word);
    }
    return status_;
}

void Child::kill(int signal) {
    if (!status()) {
        ::kill(id_, signal);
    }
}

int Child::join() {
    int word = 0;
    while (!status_ && (::waitpid(id_, &word, 0) == id_ || errno != EINTR)) {
        status_ = WIFEXITED(word) ? WEXITSTATUS(word) : 128 + WTERMSIG(word);
    }
    return status_.value_or(-1);
}

} // namespace tool
