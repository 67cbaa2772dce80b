#pragma once

/// A debugging aid: which counted objects are alive.
///
///     Kor::PtrTrack::trackingIs(true);
///     ...
///     Kor::PtrTrack::report(std::cerr);      // also by itself, to stderr, when the process exits
///
/// Objects made while tracking is off are not known. For one thread; switched off, it costs a test at the
/// construction and at the end of an object.

#include "runtime/Types.h"

#include <cstddef>
#include <iosfwd>

namespace Kor {

class PtrInterface;

/// True while objects are tracked.
[[gnu::visibility("default")]] extern bool ptrifTrackOn_;

class [[gnu::visibility("default")]] PtrTrack {
public:
    /// Switching on also arranges for the report at exit.
    static void trackingIs(bool on);

    static void ptrifAdd(PtrInterface const* object);
    /// Forgets an object: at its end, or because it is meant to live as long as the process.
    static void ptrifDel(void const* object);

    static std::size_t live();
    /// One line for each class: how many are alive, and how many references they have together.
    static void report(std::ostream & stream);
};

} // namespace Kor
