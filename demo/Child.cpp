#include "demo/Child.h"

#include "console/Failure.h"
#include "console/Files.h"

#include <cerrno>
#include <csignal>
#include <fcntl.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <system_error>
#include <unistd.h>
#include <utility>

namespace tool {

namespace {

/// In the child; returns only if it fails. It ends with this process, even if that is killed.
void become(char* const* arguments, char const* log, pid_t parent) {
    int const in = ::open("/dev/null", O_RDONLY | O_CLOEXEC);
    int const out = ::open(log, O_WRONLY | O_CREAT | O_APPEND | O_CLOEXEC, 0666);
    if (::prctl(PR_SET_PDEATHSIG, SIGTERM) == 0 && ::getppid() == parent && in >= 0 && out >= 0 &&
        ::dup2(in, 0) == 0 && ::dup2(out, 1) == 1 && ::dup2(out, 2) == 2) {
        ::execv(arguments[0], arguments);
    }
}

} // namespace

Child::Child(std::vector<std::string> words, std::string log) : log_(std::move(log)) {
    std::vector<char*> arguments;
    arguments.reserve(words.size() + 1);
    for (std::string& word : words) {
        arguments.push_back(word.data());
    }
    arguments.push_back(nullptr);
    int report[2];
    if (::pipe2(report, O_CLOEXEC) != 0) {
        throw Refused(systemFailure("cannot start", words[0]));
    }
    File const told(report[0]);
    File telling(report[1]);
    pid_t const parent = ::getpid();
    id_ = ::fork();
    if (id_ == 0) {
        become(arguments.data(), log_.c_str(), parent);
        int const error = errno;
        static_cast<void>(!::write(report[1], &error, sizeof error));
        ::_exit(127);
    }
    int error = id_ < 0 ? errno : 0;
    telling = File();
    if (id_ > 0 &&
        ::read(report[0], &error, sizeof error) == sizeof error) { // else it has become the program
        join();
        id_ = 0;
    }
    if (error != 0) {
        id_ = 0;
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
