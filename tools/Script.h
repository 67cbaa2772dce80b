#pragma once

/// Scripts: a line a command, over objects that the script makes (tools/Path.h).
///
///     new LifAppConfigDir lif
///     watch lif
///     set lif.appConfig[vtAppMpls]                                     # a child
///     set lif.appConfig[vtAppMpls].reqCount[AradLifAcMp vsi=100] 3
///     tree lif

#include "console/Failure.h"
#include "console/Results.h"

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
    explicit Script(std::ostream& out, Output const& output = {}) : Script(out, own_, output) {}
    /// Over roots that others have made, such as those of a peer. Called with a path before what is there is
    /// changed, `mayChange` refuses what may not be.
    Script(std::ostream& out, Roots& roots, Output const& output,
           std::function<void(std::string const& path)> mayChange = nullptr)
        : output_(output), roots_(roots), mayChange_(std::move(mayChange)), events_(out, output, &roots) {}

    /// One line; a comment from # on, outside of quotes, and a blank line do nothing. Throws a Refused for
    /// a line that cannot be done.
    void line(std::string_view text);
    /// All lines of a stream. What fails is thrown with "name:line: " before the words, or, to keep going,
    /// given to `report`.
    void run(std::istream& in, std::string const& name,
             std::function<void(std::string const& message)> const& report = nullptr);

    /// What others have that a path may begin with, for `list`.
    void offersAre(std::function<std::vector<std::string>()> offers) { offers_ = std::move(offers); }
    /// What it has made so far.
    Roots const& roots() const { return roots_; }

private:
    struct Command;
    static std::vector<Command> const& commands();
    friend std::string scriptHelp();

    /// The place, which is to be changed.
    Place change(std::string_view path);

    Output output_;
    Roots own_;
    Roots& roots_;
    std::function<void(std::string const& path)> mayChange_;
    std::function<std::vector<std::string>()> offers_;
    Events events_;
    std::map<std::string, std::unique_ptr<Watch>> watches_;
};

/// The commands with what they do, for the help text.
std::string scriptHelp();

} // namespace tool
