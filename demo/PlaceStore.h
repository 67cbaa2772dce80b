#pragma once

/// The places of what a chip holds as they survive their driver: a database of SQLite in one file.
///
///     tool::PlaceStore store("chip.img.db", Hardware::jerichoChip8, tool::Sync::full);
///     for (tool::PlaceStep const& each : store.all()) { ... }
///     store.write(steps); // all of them, or none
///
/// The database belongs to one process as long as it is open. It takes part in nothing but its own directory:
/// a copy of the closed file is a database like the first. Its table `place` can be read with the program
/// sqlite3: the family (lif, outAc or evec), the index, the number of the application, and the entry's text.
/// A database of version 1, which has LIFs alone, becomes one of this version when it is opened.
///
/// Everything throws Refused: for a file that is none of ours, of another chip or damaged, which is left as
/// it is; for one that another process has; and when the system cannot read or write. One thread.

#include "console/Files.h"
#include "platform/Hardware/Loam/VtAppId.h"
#include "values/AradLifEntry.h"
#include "values/EvecEntry.h"
#include "values/OutAcEntry.h"

#include <memory>
#include <span>
#include <string>
#include <variant>
#include <vector>

struct sqlite3;
struct sqlite3_stmt;

namespace tool {

/// What a commit waits for: for the disk; for the disk at checkpoints alone, so that the last steps are lost
/// with the machine, but not with the process; for nothing, so that a machine that fails may leave a damaged
/// file.
enum class Sync { full, normal, off };

/// What can have a place, or nothing.
using Placed = std::variant<std::monostate, Hardware::LoamTunnel::AradLifEntry,
                            Hardware::LoamTunnel::OutAcKey, Hardware::LoamTunnel::EvecEntry>;
inline bool isPlaced(Placed const& placed) {
    return placed.index() != 0;
}

/// Its text, empty for nothing.
std::string placedText(Placed const& placed);

/// What is in one place changes.
struct PlaceStep {
    Hardware::Loam::VtAppId app{};
    Kor::U32 index = 0;
    Placed before{};
    Placed after{};

    /// Which of the alternatives of Placed it is about.
    std::size_t family() const { return after.index() != 0 ? after.index() : before.index(); }
};

class PlaceStore {
public:
    /// Opens the database, or makes an empty one.
    PlaceStore(std::string path, Hardware::ChipType chip, Sync sync);
    ~PlaceStore();
    PlaceStore(PlaceStore const&) = delete;
    PlaceStore& operator=(PlaceStore const&) = delete;

    /// The places, by family and index. Each index is there once; whether the chip has it, and whether an
    /// entry has a place twice, is not looked at.
    std::vector<PlaceStep> all() const;
    /// Takes the steps in their order, as one transaction: when this returns they are kept, and when it
    /// throws none of them is.
    void write(std::span<PlaceStep const> steps);

private:
    class Statement;
    struct Close {
        void operator()(sqlite3* database) const noexcept;
    };

    void mustBeOurs() const;
    void mustBeIts(std::string const& path, bool isLog) const;
    void open(Sync sync);
    void make(Hardware::ChipType chip);
    void run(char const* sql) const;
    Kor::U64 number(char const* sql) const;
    [[noreturn]] void fail(int result) const;

    std::string path_;
    /// Open for as long as the database is: closing any descriptor of a file drops the locks that SQLite has
    /// on it. So it stands before the database, and ends after it.
    File file_;
    std::unique_ptr<sqlite3, Close> database_;
};

} // namespace tool
