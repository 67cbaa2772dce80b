#pragma once

/// Scripts: a line a command, over objects that the script makes (tools/Path.h).
///
///     new LifAppConfigDir lif
///     watch lif
///     set lif.appConfig[vtAppMpls]                                     # a child
///     set lif.appConfig[vtAppMpls].reqCount[AradLifAcMp vsi=100] 3
///     tree lif

#include "forms/Path.h"
#include "tools/Failure.h"

#include <functional>
#include <iosfwd>
#include <map>
#include <memory>
#include <string>
#include <vector>

namespace tool {

/// Runs lines one by one, with the objects and watches that they have made so far.
class Script {
public:
    /// Results and what watches tell go to the stream.
    explicit Script(std::ostream& out) : out_(out) {}

    /// One line; a comment from # on, outside of quotes, and a blank line do nothing. Throws a Refused for
    /// a line that cannot be done.
    void line(std::string_view text);
    /// All lines of a stream. What fails is thrown with "name:line: " before the words, or, to keep going,
    /// given to `report`.
    void run(std::istream& in, std::string const& name,
             std::function<void(std::string const& message)> const& report = nullptr);

    /// What it has made so far.
    Roots const& roots() const { return roots_; }

private:
    struct Command;
    static std::vector<Command> const& commands();
    friend std::string scriptHelp();

    void print(std::vector<std::string> const& lines);

    std::ostream& out_;
    Roots roots_;
    std::map<std::string, std::unique_ptr<Watch>> watches_;
};

/// The commands with what they do, for the help text.
std::string scriptHelp();

} // namespace tool
