#include "console/Streams.h"
#include "tools/Program.h"

#include <cerrno>
#include <csignal>
#include <cstdlib>
#include <fcntl.h>
#include <iostream>
#include <new>
#include <unistd.h>

namespace {

int failed(char const* why) noexcept {
    static_cast<void>(std::fprintf(stderr, "loamtunnel: %s\n", why));
    return tool::refusedStatus;
}

/// In place of a standard stream that was closed at the start comes one that refuses: else the next file that
/// is opened would be read or written as that stream.
void fillStandardStreams() noexcept {
    for (int const fd : {STDIN_FILENO, STDOUT_FILENO, STDERR_FILENO}) {
        if (::fcntl(fd, F_GETFD) == -1 && errno == EBADF) {
            static_cast<void>(
                ::open("/dev/null", fd == STDIN_FILENO ? O_WRONLY : O_RDONLY)); // gets this number
        }
    }
}

} // namespace

int main(int count, char** arguments) {
    fillStandardStreams();
    // A reader that has gone, and a file that may not grow, are errors like others.
    std::signal(SIGPIPE, SIG_IGN);
    std::signal(SIGXFSZ, SIG_IGN);
    try {
        bool const plain = std::getenv("NO_COLOR") != nullptr;
        tool::FdIn in(STDIN_FILENO, "the standard input");
        tool::FdOut out(STDOUT_FILENO, "the results");
        int const status =
            tool::run({arguments + 1, arguments + count},
                      {in, out, std::cerr, !plain && isatty(STDOUT_FILENO) == 1,
                       !plain && isatty(STDERR_FILENO) == 1, 0, STDERR_FILENO, STDIN_FILENO, STDOUT_FILENO});
        if (status >
            tool::cutOffStatus) { // as if there had been nothing to clean up: a shell's loop ends, too
            std::signal(status - tool::cutOffStatus, SIG_DFL);
            std::raise(status - tool::cutOffStatus);
        }
        return status;
    } catch (std::bad_alloc const&) {
        return failed("there is not enough memory");
    } catch (std::exception const& exception) {
        return failed(exception.what());
    }
}
