#pragma once

/// The LIF table of one chip as a file, for want of a chip: all rows as they would lie in it, one after the
/// other, behind a header that says which chip it is.
///
///     tool::ChipImage image("chip.img", Hardware::jerichoChip8, tool::ChipImage::create);
///     image.make(); // looked at until now, and no more
///     image.write(places.at(index), words); // owner/LifPlace.h
///     image.publish(); // now it is at its path, in place of the one before
///     image.write(...);
///
/// Rows that were never written are zero. The space for all rows is taken at once, so that a disk that fills
/// up later keeps no row from being written. What is written after publish() is there for other processes at
/// once, and after this one is killed. Everything throws Refused for a file that cannot be used; one that is
/// no image, or of another chip, is left as it is. One thread.

#include "forms/Rows.h"
#include "owner/LifPlace.h"
#include "tools/Files.h"

#include <string>

namespace tool {

using Hardware::LoamTunnel::LifPlace;

class ChipImage {
public:
    enum Mode { create, readOnly };

    /// Opens the image of that path. With `create` there may be none, and it is looked at only.
    ChipImage(std::string path, Hardware::ChipType chip, Mode mode);
    ~ChipImage();
    ChipImage(ChipImage const&) = delete;
    ChipImage& operator=(ChipImage const&) = delete;

    /// Makes an empty one beside it, of one that was opened with `create`.
    void make();
    /// Puts what was made in its place.
    void publish();
    void write(LifPlace const& place, Words const& words);
    Words read(LifPlace const& place) const;
    /// How many rows are not zero.
    U64 usedRows() const;

private:
    [[noreturn]] void refuse(std::string const& why) const;
    U64 at(LifPlace const& place) const;

    std::string path_;
    Hardware::ChipType chip_;
    Hardware::layout::GeometryRow const& geometry_;
    U32 words_;
    File file_;
    /// Where it lies until it is published.
    std::string fresh_;
};

} // namespace tool
