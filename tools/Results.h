#pragma once

/// What commands on places print: values, trees and changes, as lines or in columns.

#include "forms/Path.h"
#include "tools/Listing.h"

namespace tool {

/// Values at paths. Columns are path, type and value.
class Values {
public:
    Values(std::ostream& out, Output const& output, Roots const* roots)
        : out_(out), output_(output), roots_(roots), rows_(out, {"path", "type", "value"}, output) {}

    /// A value with its path or, as a line, alone.
    void item(Item const& item, bool isAlone = false);
    /// All that is at the place.
    void items(Place const& place);
    void tree(Place const& place, unsigned depth);
    void end();

private:
    std::ostream& out_;
    Output output_;
    Roots const* roots_;
    RowPrinter rows_;
};

/// What happens, as it comes. Columns are time, event, path, type, value and note; JSON has an object a line.
class Events {
public:
    Events(std::ostream& out, Output const& output, Roots const* roots)
        : out_(out), output_(output), roots_(roots),
          rows_(out, {"time", "event", "path", "type", "value", "note"}, output, RowPrinter::Rows::lines) {}

    void item(std::string const& event, Item const& item, bool isAlone);
    void tree(std::string const& event, Place const& place, unsigned depth);
    /// A line begins with the mark.
    void change(std::string const& mark, std::string const& time, Watch::Change const& change);
    void note(std::string const& mark, std::string const& text);
    void end();

private:
    void row(std::string const& time, std::string const& event, std::string const& path, Box const& value,
             bool isOpened, std::string const& note);

    std::ostream& out_;
    Output output_;
    Roots const* roots_;
    RowPrinter rows_;
};

} // namespace tool
