#pragma once

/// The program `loamtunnel`: one command a file, over descriptions of tables (tables/TableInfos.h) and values
/// (tools/Kind.h), so that a new table needs nothing here and a new value one declaration. Commands read from
/// and write to the streams that they are given. Nothing lives here that the library's users could need.

#include <stdexcept>
#include <string>

namespace tool {

/// Why a command ends without its result: one line that says what was wrong and what would be right, and the
/// exit status of the program.
class Failure : public std::runtime_error {
public:
    Failure(int status, std::string const& message) : std::runtime_error(message), status_(status) {}
    int status() const { return status_; }

private:
    int status_;
};

inline constexpr int refusedStatus = 1;
inline constexpr int wrongUsageStatus = 2;

/// The command line itself is wrong: an option, or the chip, table or variant that it names.
struct WrongUsage : Failure {
    explicit WrongUsage(std::string const& message) : Failure(wrongUsageStatus, message) {}
};

/// The request is refused for its content: an entry, a row in hex, a row number, a file.
struct Refused : Failure {
    explicit Refused(std::string const& message) : Failure(refusedStatus, message) {}
};

} // namespace tool
