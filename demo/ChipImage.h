#pragma once

/// The tables of one chip that a driver owns as a file, for want of a chip: all rows as they would lie in it,
/// one after the other and table after table, behind a header that says which chip it is.
///
///     tool::ChipImage image("chip.img", Hardware::jerichoChip8, tool::ChipImage::create);
///     image.make(); // looked at until now, and no more
///     image.write(tool::lifTable, row, words);
///     image.publish(); // now it is at its path, in place of the one before
///     image.write(...);
///
/// A row of a table is its number over all array elements: `array * entries + entry`.
///
/// Rows that were never written are zero. The space for all rows is taken at once, so that a disk that fills
/// up later keeps no row from being written. What is written after publish() is there for other processes at
/// once, and after this one is killed. Everything throws Refused for a file that cannot be used; one that is
/// no image, or of another chip, is left as it is. One thread.

#include "console/Files.h"
#include "forms/Rows.h"

#include <array>
#include <optional>
#include <string>

namespace tool {

/// The tables of an image, in its order.
enum ChipTable : std::size_t { lifTable, outAcTable, evecTable };
inline constexpr std::size_t chipTables = 3;
/// The row that a table of an image begins with; its variant says where rows lie, not what is in each.
RowForm chipTableForm(ChipTable table, Hardware::ChipType chip);

class ChipImage {
public:
    enum Mode { create, readOnly, readWrite };

    /// Opens the image of that path. With `create` there may be none, and it is looked at only; with the
    /// others there must be one.
    ChipImage(std::string path, Hardware::ChipType chip, Mode mode);
    ~ChipImage();
    ChipImage(ChipImage const&) = delete;
    ChipImage& operator=(ChipImage const&) = delete;

    /// Makes an empty one beside it, of one that was opened with `create`.
    void make();
    /// Puts what was made in its place.
    void publish();
    void write(ChipTable table, U32 row, Words const& words);
    Words read(ChipTable table, U32 row) const;
    /// The first row that is not zero, of `count` rows from that one on.
    std::optional<U32> nextUsed(ChipTable table, U32 from, U32 count) const;
    /// How many rows of a table are not zero.
    U64 usedRows(ChipTable table) const;
    /// The same of all tables.
    U64 usedRows() const;

    U32 rows(ChipTable table) const { return sections_[table].rows; }
    U32 entries(ChipTable table) const { return sections_[table].entries; }

private:
    /// Where a table lies in the file.
    struct Section {
        U32 entries;
        U32 rows;
        U32 words;
        U64 at;
    };

    [[noreturn]] void refuse(std::string const& why) const;
    Words readRows(ChipTable table, U32 from, U32 count) const;

    std::string path_;
    Hardware::ChipType chip_;
    std::array<Section, chipTables> sections_{};
    U64 size_ = 0;
    File file_;
    /// Where it lies until it is published.
    std::string fresh_;
};

} // namespace tool
