#pragma once

/// The options of `loamtunnel driver` and `loamtunnel application`.

#include "platform/Hardware/Loam/VtAppId.h"
#include "runtime/Types.h"

#include <chrono>
#include <string>
#include <vector>

namespace tool {

struct DriverOptions {
    std::string address;
    std::string chip;
    std::string image;
};

struct ApplicationOptions {
    std::string address;
    Hardware::Loam::VtAppId app{};
    std::string file;
    /// Kinds of entries to take from the file; all when empty.
    std::vector<std::string> kinds;
    /// How many of the requests are taken back at the end.
    Kor::U64 withdraw = 0;
    /// The time between two requests.
    std::chrono::milliseconds pace{0};
    std::chrono::milliseconds timeout{60'000};
};

} // namespace tool
