#pragma once

/// What commands on places print: values, trees and changes, as lines or in columns.

#include "console/Listing.h"
#include "forms/Path.h"

#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace tool {

/// Whether the text fits the pattern of the shell, or is it; any does where it is empty.
bool fits(std::string const& pattern, std::string const& text);
/// NotThere, in the words of those filters that are given: "WHAT fits --peer mpls".
[[noreturn]] void noneFits(std::string what, std::vector<std::pair<std::string, std::string>> const& filters);
/// The local time, with milliseconds.
std::string timeNow();

/// Which changes are shown; what is empty takes all.
struct ChangeFilter {
    struct Parts {
        std::string_view entity, attribute, key;
    };
    /// The parts of a path: `lif.appConfig[a].reqCount[k]` is of the entity `lif.appConfig[a]`.
    static Parts partsOf(std::string_view path);

    bool takes(Watch::Change const& change) const;
    /// Of a state the values, not the objects that are taken apart.
    bool takes(Node const& node) const {
        return !node.isOpened && takes(Watch::Change{node.path, node.value, false, ""});
    }
    bool takesAll() const { return entity.empty() && attribute.empty() && kind.empty(); }

    /// A pattern of the shell for the entity's path.
    std::string entity{};
    std::string attribute{};
    /// "set" or "del".
    std::string kind{};
};

/// Values at paths. Columns are path, type and value.
class Values {
public:
    Values(std::ostream& out, Output const& output, Roots const* roots)
        : out_(out), output_(output), roots_(roots), rows_(out, {"path", "type", "value"}, output) {}

    /// A value with its path or, as a line, alone.
    void item(Item const& item, bool isAlone = false);
    /// All that is at the place.
    void items(Place const& place);
    /// A filter takes some of the values, each with its path, without what is between them.
    void tree(Place const& place, unsigned depth, ChangeFilter const& filter = {});
    void end();
    /// Whether nothing has been printed.
    bool isEmpty() const { return isEmpty_; }

private:
    bool isEmpty_ = true;
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
    void tree(std::string const& event, Place const& place, unsigned depth, ChangeFilter const& filter = {});
    /// A line begins with the mark.
    void change(std::string const& mark, std::string const& time, Watch::Change const& change);
    /// What is at a path, of which a line tells in its own way.
    void listed(std::string const& line, std::string const& path, Kor::KorType const* type);
    void note(std::string const& mark, std::string const& text);

private:
    void row(std::string const& time, std::string const& event, std::string const& path, Box const& value,
             bool isOpened, std::string const& note);
    void show();

    std::ostream& out_;
    Output output_;
    Roots const* roots_;
    RowPrinter rows_;
};

} // namespace tool
