#include "console/Results.h"

#include "forms/Text.h"
#include "runtime/PlainText.h"

#include <array>
#include <chrono>
#include <ctime>
#include <fnmatch.h>
#include <ostream>

namespace tool {

bool fits(std::string const& pattern, std::string const& text) {
    return pattern.empty() || pattern == text || ::fnmatch(pattern.c_str(), text.c_str(), 0) == 0;
}

void noneFits(std::string what, std::vector<std::pair<std::string, std::string>> const& filters) {
    what += " fits";
    for (auto const& [option, pattern] : filters) {
        what += pattern.empty() ? "" : ' ' + option + ' ' + shown(pattern);
    }
    throw NotThere(what);
}

std::string timeNow() {
    auto const time = std::chrono::system_clock::now();
    std::time_t const seconds = std::chrono::system_clock::to_time_t(time);
    auto const milliseconds =
        std::chrono::duration_cast<std::chrono::milliseconds>(time.time_since_epoch()).count() % 1000;
    std::tm local{};
    localtime_r(&seconds, &local);
    std::array<char, 64> text{};
    std::size_t const n = std::strftime(text.data(), text.size(), "%Y-%m-%dT%H:%M:%S", &local);
    std::snprintf(text.data() + n, text.size() - n, ".%03d", static_cast<int>(milliseconds));
    return text.data();
}

ChangeFilter::Parts ChangeFilter::partsOf(std::string_view path) {
    Nesting nesting;
    std::size_t dot = path.npos;
    std::size_t bracket = path.npos;
    for (std::size_t i = 0; i < path.size(); ++i) {
        bool const isOutside = nesting.step(path[i]);
        if (isOutside && path[i] == '.') {
            dot = i;
            bracket = path.npos;
        } else if (isOutside && path[i] == '[' && dot != path.npos) {
            bracket = i;
        }
    }
    if (dot == path.npos) {
        return {path, {}, {}};
    }
    std::size_t const end = bracket == path.npos ? path.size() : bracket;
    return {path.substr(0, dot), path.substr(dot + 1, end - dot - 1), path.substr(end)};
}

bool ChangeFilter::takes(Watch::Change const& change) const {
    Parts const parts = partsOf(change.path);
    bool const isOfEntity = fits(entity, std::string(parts.entity)) ||
                            (change.isGone && fits(entity, change.path)); // as which it was shown
    return isOfEntity && (attribute.empty() || parts.attribute == attribute) &&
           (kind.empty() || (kind == "set") != change.isGone);
}

namespace {

bool isText(Output const& output) {
    return output.format == Format::text;
}

Cell typeCell(Box const& value) {
    return value ? Cell(shortName(*value->type())) : Cell();
}

Cell valueCell(Item const& item, Output const& output, Roots const* roots) {
    return output.format == Format::json ? Cell::raw(valueText(Form::json, item.value, roots, item.path))
                                         : Cell(valueText(output.form, item.value, roots, item.path));
}

} // namespace

void Values::item(Item const& item, bool isAlone) {
    isEmpty_ = false;
    if (isText(output_)) {
        out_ << Kor::plainText((isAlone ? "" : item.path + " = ") +
                               valueText(output_.form, item.value, roots_, item.path))
             << '\n';
    } else {
        rows_.add({item.path, typeCell(item.value), valueCell(item, output_, roots_)});
    }
}

void Values::items(Place const& place) {
    bool const isAlone = place.attribute == nullptr || !place.attribute->shape().keyed || place.key;
    for (Item const& each : itemsAt(place)) {
        item(each, isAlone);
    }
}

void Values::tree(Place const& place, unsigned depth, ChangeFilter const& filter) {
    walk(place, depth, [&](Node const& node) {
        if (!filter.takesAll()) {
            if (filter.takes(node)) {
                item({node.path, node.value});
            }
        } else if (isText(output_)) {
            out_ << Kor::plainText(nodeLine(node, output_.form, roots_)) << '\n';
        } else {
            rows_.add({node.path, typeCell(node.value),
                       node.isOpened ? Cell() : valueCell({node.path, node.value}, output_, roots_)});
        }
    });
}

void Values::end() {
    if (!isText(output_)) {
        rows_.end();
    }
}

void Events::row(std::string const& time, std::string const& event, std::string const& path, Box const& value,
                 bool isOpened, std::string const& note) {
    rows_.add({Cell::orNone(time), event, Cell::orNone(path), typeCell(value),
               value && !isOpened ? valueCell({path, value}, output_, roots_) : Cell(), Cell::orNone(note)});
}

void Events::show() {
    if (output_.format == Format::table) { // whose next event may be long in coming
        rows_.flush();
    }
}

void Events::item(std::string const& event, Item const& item, bool isAlone) {
    if (isText(output_)) {
        out_ << Kor::plainText((isAlone ? "" : item.path + " = ") +
                               valueText(output_.form, item.value, roots_, item.path))
             << '\n';
    } else {
        row("", event, item.path, item.value, false, "");
        show();
    }
}

void Events::tree(std::string const& event, Place const& place, unsigned depth, ChangeFilter const& filter) {
    walk(place, depth, [&](Node const& node) {
        if (!filter.takesAll()) {
            if (filter.takes(node)) {
                item(event, {node.path, node.value}, false);
            }
        } else if (isText(output_)) {
            out_ << Kor::plainText(nodeLine(node, output_.form, roots_)) << '\n';
        } else {
            row("", event, node.path, node.value, node.isOpened, "");
        }
    });
    show();
}

void Events::change(std::string const& mark, std::string const& time, Watch::Change const& change) {
    if (isText(output_)) {
        out_ << mark << time << (time.empty() ? "" : " ")
             << Kor::plainText(changeLine(change, output_.form, roots_)) << '\n';
    } else {
        row(time, change.isGone ? "del" : "set", change.path, change.value, false, change.note);
        show();
    }
}

void Events::listed(std::string const& line, std::string const& path, Kor::KorType const* type) {
    if (isText(output_)) {
        out_ << Kor::plainText(line) << '\n';
    } else {
        rows_.add({Cell(), "list", path, type != nullptr ? Cell(shortName(*type)) : Cell(), Cell(), Cell()});
        show();
    }
}

void Events::note(std::string const& mark, std::string const& text) {
    if (isText(output_)) {
        out_ << mark << Kor::plainText(text) << '\n';
    } else {
        row("", "note", "", nullptr, false, text);
        show();
    }
}

} // namespace tool
