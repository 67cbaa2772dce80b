#pragma once

/// The bits of a row laid out for drawing: 32 bits a line, and fields that share bits in lanes.

#include "console/Failure.h"
#include "console/Listing.h"
#include "forms/Rows.h"

#include <string>
#include <vector>

namespace tool {

/// The part of a field, or of a hole, that lies in one word.
struct Piece {
    /// Null in a hole.
    Hardware::FieldInfo const* field;
    /// Within the word.
    U32 hi;
    U32 lo;

    U32 width() const { return hi - lo + 1; }
};

class Diagram {
public:
    /// A lane is as many fields as can stand side by side. The first covers the most bits, and with equal
    /// bits has the most fields; the next is made likewise from those left over.
    explicit Diagram(RowForm const& form);

    RowForm const& form() const { return form_; }
    std::vector<std::vector<Hardware::FieldPlace>> const& lanes() const { return lanes_; }

    /// The pieces of a lane in a word, from bit 31 down, holes among them; none when the word has no field of
    /// this lane, except in lane 0.
    std::vector<Piece> pieces(std::size_t lane, U32 word) const;

    /// "LifTable variant 1 on chip 8, 128 bits".
    std::string title() const;

    /// For a terminal. A field whose name does not fit its box has a letter there, told below.
    std::string text() const;
    /// A picture that stands alone.
    std::string svg() const;
    /// The input of WaveDrom's bit field renderer. It knows no overlap, so a field of the second lane and
    /// above is told under the field of the first that it begins in.
    void wavedrom(std::ostream& out) const;

private:
    RowForm form_;
    std::vector<std::vector<Hardware::FieldPlace>> lanes_;
};

} // namespace tool
