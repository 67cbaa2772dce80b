#pragma once

/// The commands that show LIFs, out-ACs and VLAN edits on their way from applications to a chip: `loamtunnel
/// driver`, `application` and `demo`, which runs the first two as processes. Each runs until it is done or a
/// signal ends it; what they throw and print is as in tools/Commands.h.

#include "demo/PlaceStore.h"
#include "platform/Hardware/Loam/VtAppId.h"
#include "tools/Commands.h"

#include <chrono>
#include <string>
#include <vector>

namespace tool {

struct DriverOptions {
    std::string address;
    std::string chip;
    /// Which of the switch's chips it is, 0 to 127.
    U32 fap = 0;
    std::string image;
    Sync sync = Sync::full;
};
/// Owns the tables of a chip, and places what applications ask for (demo/ChipDriver.h).
void driver(Context& context, DriverOptions const& options);

struct ApplicationOptions {
    std::string address;
    Hardware::Loam::VtAppId app{};
    /// For which of the switch's chips.
    U32 fap = 0;
    std::vector<std::string> files;
    /// Kinds of entries to take from the files; all when empty.
    std::vector<std::string> kinds;
    /// How many of the requests are taken back at the end.
    U64 withdraw = 0;
    /// The time between two requests.
    std::chrono::milliseconds pace{0};
    std::chrono::milliseconds timeout{60'000};
    /// Whether it takes the place of another process that pushes the application's requests.
    bool takesOver = false;
};
/// Asks a driver for what the entries of files say: a LIF each, or two out-ACs or VLAN edits.
void application(Context& context, ApplicationOptions const& options);

struct DemoOptions {
    std::string chip = "8";
    /// Where empty, the examples of the source or of the installed program.
    std::vector<std::string> files{};
    std::string folder;
    std::vector<std::string> kill;
    Output output;
};
/// Runs a driver and applications, and compares what is in the chip with what was asked for.
void demo(Context& context, DemoOptions options);

} // namespace tool
