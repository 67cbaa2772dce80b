#pragma once

/// The LIF table of one chip as a file, for want of a chip: all rows as they would lie in it, one after the
/// other, behind a header that says which chip it is.
///
///     tool::ChipImage image("chip.img", Hardware::jerichoChip8, tool::ChipImage::create);
///     image.write(tool::rowOf(Hardware::jerichoChip8, *properties, index), words);
///
/// Rows that were never written are zero and take no space. What is written is there for other processes
/// at once, and after this one is killed. Everything throws Refused for a file that cannot be used.

#include "model/FapTypeProperties.h"
#include "tools/Rows.h"

#include <string>

namespace tool {

/// How many LIFs the two managed logical banks of a chip take.
U32 managedLifs(Hardware::ChipType chip, Hardware::LoamTunnel::FapTypeProperties const& properties);

/// Where a LIF lies: what the family's arithmetic says, and the row of the table. Banks are counted as the
/// arithmetic does, and where a chip's table has no room for those below the managed ones, it begins with
/// them.
struct LifPlace {
    U8 bank;
    U32 offset;
    U32 array;
    U32 entry;
};
LifPlace placeOf(Hardware::ChipType chip, Hardware::LoamTunnel::FapTypeProperties const& properties,
                 Hardware::LoamTunnel::AradLifIndex const& index);

class ChipImage {
public:
    enum Mode { create, readOnly };

    /// Creates an empty image in place of what is there, or opens one.
    ChipImage(std::string path, Hardware::ChipType chip, Mode mode);
    ~ChipImage();
    ChipImage(ChipImage const&) = delete;
    ChipImage& operator=(ChipImage const&) = delete;

    void write(LifPlace const& place, Words const& words);
    Words read(LifPlace const& place) const;
    /// How many rows are not zero.
    U64 usedRows() const;

private:
    U64 at(LifPlace const& place) const;

    std::string path_;
    Hardware::layout::GeometryRow const& geometry_;
    U32 words_;
    int file_;
};

} // namespace tool
