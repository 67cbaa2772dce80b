#pragma once

/// A debugging aid: which counted objects are alive?
///
///     Kor::ptrifTrackOn_ = 1;                  // first thing in main(): knows objects made from now on
///     ...
///     Kor::PtrTrack::liveObjects();            // while running
///
/// When the process ends, the objects still alive are listed on stderr, one a line, with class and count:
///
///     Kor::PtrTrack: 1 counted object still alive
///     Kor::PtrTrack: 0x55d0c0a0 LifAppConfig, references 2
///
/// Objects made immortal by referencesLeak() are not listed. An object for which there was no memory to note
/// it is not known, and a listing ends with the number of those, on a line of its own. While tracking is on,
/// each object costs a lock and an allocation; while it is off, one test. The tracking functions may be
/// called from any thread, but a listing looks into the objects, so it must not run while another thread ends
/// one.

#include "runtime/Types.h"

#include <cstddef>
#include <cstdio>

namespace Kor {

class PtrInterface;

/// Non-zero: counted objects are tracked. Switching it off forgets nothing but stops the report at exit.
KOR_EXPORT extern U8 ptrifTrackOn_;

class KOR_EXPORT PtrTrack {
public:
    /// Notes an object. Without memory for that it counts it as missed.
    static void ptrifAdd(PtrInterface const* object) noexcept;
    /// Takes an object out; one that is not known is ignored.
    static void ptrifDel(void const* object) noexcept;

    /// Number of tracked objects that are alive.
    static std::size_t liveObjects() noexcept;

    /// Number of objects that could not be tracked, alive or not.
    static std::size_t missedObjects() noexcept;

    /// Lists the tracked objects that are alive. Writes nothing when there is none, and none was missed.
    static void report(std::FILE* out);
};

} // namespace Kor
