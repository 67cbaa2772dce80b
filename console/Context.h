#pragma once

/// What commands share and no command is: their streams and messages, listings, what a command line takes,
/// the connection to a live process. Nothing here may know one of the commands, which stand in tools/ and
/// demo/.
///
/// What a command works with: the streams of its results and messages, and its exit status. A command prints
/// results to `Context::out`, reports what it could not do, and throws a Refused where nothing can be done.

#include "console/Failure.h"

#include <functional>
#include <iosfwd>
#include <string>
#include <vector>

namespace tool {

class Live;

struct Context {
    std::istream& in;
    std::ostream& out;
    std::ostream& err;
    bool colourOut = false;
    bool colourErr = false;
    int status = 0;
    /// What `err` writes to; -1 for none of the system's.
    int errDescriptor = -1;
    /// The same of `in` and `out`.
    int inDescriptor = -1, outDescriptor = -1;
    /// The connection of a shell, over which its commands go; null for one of each command's own.
    Live* live = nullptr;
    /// Whether the command is one that runs until a signal tells it to end (Row::runsUntilTold).
    bool runsUntilTold = false;
    /// Called before a message is written: what stands in the last line of a terminal gives way.
    std::function<void()> giveWay{};
    /// Stands before each message: the line of a script.
    std::string where{};

    /// Reports a failure and goes on; the exit status will be 1.
    void report(std::string const& message);
    /// Says something that is no failure.
    void note(std::string const& message);
    /// A message with what stands before it.
    std::string prefixed(std::string const& message) const;
};

/// A line up to its comment, which begins with a # outside of quotes.
std::string_view withoutComment(std::string_view text);

/// Calls `visit(text, where)` for each line of a file ("-": the input stream) that is not blank, comments
/// from # on cut off, or where the text may have a # only those that fill a line; `where` is "file:line".
/// What `visit` throws as a Refused is reported with it, and the next line follows. Refused when the file
/// cannot be read.
void eachLine(Context& context, std::string const& file,
              std::function<void(std::string const& text, std::string const& where)> const& visit,
              bool onlyWholeLineComments = false);

/// Opens a file for reading ("-": the input stream) and calls `read(stream, name)`. Refused when it cannot be
/// read.
void withInput(Context& context, std::string const& file,
               std::function<void(std::istream& stream, std::string const& name)> const& read);

} // namespace tool
