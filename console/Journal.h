#pragma once

/// Messages with fields, to the journal of systemd.
///
///     tool::Journal const journal(STDERR_FILENO);
///     if (journal.reads()) {
///         journal.write(6, "mpls is there", {{"LOAM_PEER", "mpls"}});
///     }
///
/// So `journalctl SYSLOG_IDENTIFIER=loamtunnel LOAM_PEER=mpls -p warning` finds them. Writing never waits.
/// One thread.

#include "console/Files.h"

#include <initializer_list>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace tool {

/// Names in capitals, and texts of one line each.
using JournalFields = std::vector<std::pair<std::string, std::string>>;

class Journal {
public:
    static constexpr char const* usualPath = "/run/systemd/journal/socket";

    /// The standard error is looked at, and the socket where the journal takes fields.
    explicit Journal(int standardError, std::string path = usualPath);

    /// Whether the journal reads the standard error, as systemd says in the environment.
    bool reads() const noexcept { return reads_; }
    /// Whether it takes fields, too.
    bool takesFields() const noexcept { return !!socket_; }
    /// Priorities are those of syslog. Whether the journal had room.
    bool write(int priority, std::string const& message, JournalFields const& fields) const;

private:
    std::string path_;
    bool reads_ = false;
    File socket_;
};

} // namespace tool
