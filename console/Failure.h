#pragma once

/// The program `loamtunnel`: one command a file, over descriptions of tables (tables/TableInfos.h) and what
/// people write of values and places (forms/). Commands read from and write to the streams that they are
/// given. Nothing lives here that the library's users could need.
///
/// A command that ends without its result throws a Refused (forms/Refused.h), whose class gives the exit
/// status.

#include "forms/Refused.h"
#include "runtime/Types.h"

namespace tool {

namespace Forms = Kor::Forms;
using namespace Kor::Forms;
using Kor::S32;
using Kor::U16;
using Kor::U32;
using Kor::U64;
using Kor::U8;

/// The exit statuses of the program.
enum Status : int {
    doneStatus = 0,
    refusedStatus = 1,
    wrongUsageStatus = 2,
    differsStatus = 3,
    notThereStatus = 4,
    timedOutStatus = 5,
    noConnectionStatus = 6,
};

/// It did not come about in the time given.
struct TimedOut : Refused {
    using Refused::Refused;
};
/// Reading or writing has failed: nothing that follows can be done.
struct Broken : Refused {
    using Refused::Refused;
};
/// There is no connection, or it has ended.
struct NoConnection : Refused {
    using Refused::Refused;
};
/// SIGINT, SIGTERM or SIGHUP has come. A command that runs until it is told to end is told by that, and ends
/// with the status of what it has found. Any other is cut off: its status is 128 and the number of the
/// signal, by which the program then ends (Row::runsUntilTold, main()).
struct Interrupted : Refused {
    explicit Interrupted(int which) : Refused("ended by a signal"), signal(which) {}
    int signal;
};
constexpr int cutOffStatus = 128;

/// Whether it ends all that is being done, not one line of it.
inline bool endsAll(Refused const& refused) {
    return dynamic_cast<Broken const*>(&refused) != nullptr ||
           dynamic_cast<NoConnection const*>(&refused) != nullptr ||
           dynamic_cast<TimedOut const*>(&refused) != nullptr ||
           dynamic_cast<Interrupted const*>(&refused) != nullptr;
}

inline int statusOf(Refused const& refused) {
    if (auto const* const interrupted = dynamic_cast<Interrupted const*>(&refused)) {
        return cutOffStatus + interrupted->signal;
    }
    return dynamic_cast<WrongUsage const*>(&refused) != nullptr     ? wrongUsageStatus
           : dynamic_cast<NotThere const*>(&refused) != nullptr     ? notThereStatus
           : dynamic_cast<TimedOut const*>(&refused) != nullptr     ? timedOutStatus
           : dynamic_cast<NoConnection const*>(&refused) != nullptr ? noConnectionStatus
                                                                    : refusedStatus;
}

} // namespace tool
