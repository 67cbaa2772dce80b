#pragma once

/// A listing: named columns and rows, printed as an aligned table, as JSON or as CSV.

#include "tools/Failure.h"

#include <iosfwd>
#include <nlohmann/json.hpp>
#include <string>
#include <vector>

namespace tool {

/// Keeps its keys in the order in which they were added.
using Json = nlohmann::ordered_json;

enum class Format { text, table, json, csv };

/// How results are wanted; `text` is a command's own form, and the form where none is asked for.
struct Output {
    Format format = Format::text;
    bool headings = true;
    /// On a terminal.
    bool colour = false;
};

/// Prints rows of strings and numbers as they come, however many. A number stands right in a table; null is
/// empty in a table and in CSV. A table's columns are as wide as the first thousand rows need, and become
/// wider from one thousand to the next.
class RowPrinter {
public:
    /// `Format::text` prints a table. JSON is one array with an object a row, its keys the columns.
    RowPrinter(std::ostream& stream, std::vector<std::string> columns, Output const& output);

    /// As many cells as there are columns.
    void add(std::vector<Json> cells);
    /// After the last row.
    void end();

private:
    void flush();
    std::string line(std::vector<Json> const& cells) const;

    std::ostream& stream_;
    std::vector<std::string> columns_;
    Output output_;
    std::vector<std::vector<Json>> waiting_;
    std::vector<std::size_t> widths_;
    std::vector<bool> numeric_;
    bool hasBegun_ = false;
};

/// Rows that are all there before the first is printed; see RowPrinter.
class Listing {
public:
    explicit Listing(std::vector<std::string> columns) : columns_(std::move(columns)) {}

    void add(std::vector<Json> cells) { rows_.push_back(std::move(cells)); }
    void print(std::ostream& stream, Output const& output) const;

private:
    std::vector<std::string> columns_;
    std::vector<std::vector<Json>> rows_;
};

/// JSON in one line, or indented: plain (runtime/PlainText.h), and never failing on bytes that are no UTF-8.
std::string dumped(Json const& json, int indent = -1);
/// Prints JSON as the commands do: indented.
void printJson(std::ostream& stream, Json const& json);

/// The text in bold on a terminal.
std::string bold(std::string const& text, bool colour);

} // namespace tool
