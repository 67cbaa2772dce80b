#include "console/Journal.h"

#include <cstdlib>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <unistd.h>

namespace tool {

Journal::Journal(int standardError, std::string path) : path_(std::move(path)) {
    char const* const stream = std::getenv("JOURNAL_STREAM");
    struct stat status {};
    reads_ = stream != nullptr && ::fstat(standardError, &status) == 0 &&
             std::to_string(status.st_dev) + ':' + std::to_string(status.st_ino) == stream;
    if (reads_ && ::stat(path_.c_str(), &status) == 0 && S_ISSOCK(status.st_mode) &&
        path_.size() < sizeof sockaddr_un::sun_path) {
        socket_ = File(::socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC, 0));
    }
}

bool Journal::write(int priority, std::string const& message, JournalFields const& fields) const {
    std::string text =
        "MESSAGE=" + message + "\nPRIORITY=" + std::to_string(priority) + "\nSYSLOG_IDENTIFIER=loamtunnel\n";
    for (auto const& [name, value] : fields) {
        text.append(name).append("=").append(value).append("\n");
    }
    // By its path each time: a journal that was started anew has another socket there.
    sockaddr_un to{};
    to.sun_family = AF_UNIX;
    path_.copy(to.sun_path, sizeof to.sun_path - 1);
    return ::sendto(socket_.fd(), text.data(), text.size(), MSG_DONTWAIT | MSG_NOSIGNAL,
                    reinterpret_cast<sockaddr const*>(&to), sizeof to) == static_cast<ssize_t>(text.size());
}

} // namespace tool
