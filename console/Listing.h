#pragma once

/// A listing: named columns and rows, printed as an aligned table, as JSON or as CSV.

#include "console/Failure.h"
#include "forms/Json.h"
#include "forms/Values.h"

#include <concepts>
#include <iosfwd>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace tool {

enum class Format { text, table, json, csv };

/// How results are wanted; `text` is a command's own form, and the form where none is asked for.
struct Output {
    Format format = Format::text;
    bool headings = true;
    /// On a terminal.
    bool colour = false;
    /// How values look; in JSON they are JSON all the same.
    Form form = Form::shortForm;
};

/// What stands in a row under a column: nothing, a text, a number, or a value.
class Cell {
public:
    Cell() = default;
    // NOLINTBEGIN(google-explicit-constructor): a row is written as what is in it
    Cell(std::string text) : kind_(Kind::text), text_(std::move(text)) {}
    Cell(std::string_view text) : Cell(std::string(text)) {}
    Cell(char const* text) : Cell(std::string(text)) {}
    template <std::integral Number>
    Cell(Number number) : kind_(Kind::raw), text_(std::to_string(number)) {}
    // NOLINTEND(google-explicit-constructor)
    Cell(bool is) : kind_(Kind::raw), text_(is ? "true" : "false") {}
    /// A JSON document, which stands as it is in any format.
    static Cell raw(std::string json) {
        Cell cell(std::move(json));
        cell.kind_ = Kind::raw;
        return cell;
    }
    /// Nothing for an empty text.
    static Cell orNone(std::string text) { return text.empty() ? Cell() : Cell(std::move(text)); }
    /// A number of 64 bits, which JSON has as a string.
    static Cell wide(U64 number) {
        Cell cell(std::to_string(number));
        cell.kind_ = Kind::wide;
        return cell;
    }

    bool isNone() const { return kind_ == Kind::none; }
    bool isNumber() const { return kind_ == Kind::wide || kind_ == Kind::raw; }
    std::string const& text() const { return text_; }
    void write(JsonWriter& writer) const;
    bool operator==(Cell const&) const = default;

private:
    enum class Kind { none, text, wide, raw };
    Kind kind_ = Kind::none;
    std::string text_;
};

/// Prints rows as they come, however many. A number stands right in a table. A table's columns are as wide as
/// the first thousand rows need, and become wider from one thousand to the next.
class RowPrinter {
public:
    /// How JSON has the rows: in one array, or an object a line where there may be no last one.
    enum class Rows { array, lines };
    /// `Format::text` prints a table.
    RowPrinter(std::ostream& stream, std::vector<std::string> columns, Output const& output,
               Rows rows = Rows::array);

    /// As many cells as there are columns.
    void add(std::vector<Cell> const& cells);
    /// After the last row.
    void end();
    /// Prints the rows of a table that wait for the widths of more.
    void flush();
    void headings();

private:
    std::string line(std::vector<Cell> const& cells) const;

    std::ostream& stream_;
    std::vector<std::string> columns_;
    Output output_;
    Rows rows_;
    std::optional<JsonWriter> json_;
    std::vector<std::vector<Cell>> waiting_;
    std::vector<std::size_t> widths_;
    std::vector<bool> numeric_;
    bool hasBegun_ = false;
};

/// Rows that are all there before the first is printed; see RowPrinter.
class Listing {
public:
    explicit Listing(std::vector<std::string> columns) : columns_(std::move(columns)) {}

    void add(std::vector<Cell> cells) { rows_.push_back(std::move(cells)); }
    void print(std::ostream& stream, Output const& output) const;

private:
    std::vector<std::string> columns_;
    std::vector<std::vector<Cell>> rows_;
};

/// The text in bold on a terminal.
std::string bold(std::string const& text, bool colour);

} // namespace tool
