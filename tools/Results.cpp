#include "tools/Results.h"

#include "runtime/PlainText.h"

#include <ostream>

namespace tool {

namespace {

bool isText(Output const& output) {
    return output.format == Format::text;
}

Cell typeCell(Box const& value) {
    return value ? Cell(shortName(*value->type())) : Cell();
}

Cell valueCell(Box const& value, Output const& output, Roots const* roots) {
    return output.format == Format::json ? Cell::raw(valueText(Form::json, value, roots))
                                         : Cell(valueText(output.form, value, roots));
}

} // namespace

void Values::item(Item const& item, bool isAlone) {
    if (isText(output_)) {
        out_ << Kor::plainText((isAlone ? "" : item.path + " = ") +
                               valueText(output_.form, item.value, roots_))
             << '\n';
    } else {
        rows_.add({item.path, typeCell(item.value), valueCell(item.value, output_, roots_)});
    }
}

void Values::items(Place const& place) {
    bool const isAlone = place.attribute == nullptr || !place.attribute->shape().keyed || place.key;
    for (Item const& each : itemsAt(place)) {
        item(each, isAlone);
    }
}

void Values::tree(Place const& place, unsigned depth) {
    walk(place, depth, [this](Node const& node) {
        if (isText(output_)) {
            out_ << Kor::plainText(nodeLine(node, output_.form, roots_)) << '\n';
        } else {
            rows_.add({node.path, typeCell(node.value),
                       node.isOpened ? Cell() : valueCell(node.value, output_, roots_)});
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
               value && !isOpened ? valueCell(value, output_, roots_) : Cell(), Cell::orNone(note)});
}

void Events::item(std::string const& event, Item const& item, bool isAlone) {
    if (isText(output_)) {
        out_ << Kor::plainText((isAlone ? "" : item.path + " = ") +
                               valueText(output_.form, item.value, roots_))
             << '\n';
    } else {
        row("", event, item.path, item.value, false, "");
    }
}

void Events::tree(std::string const& event, Place const& place, unsigned depth) {
    walk(place, depth, [&](Node const& node) {
        if (isText(output_)) {
            out_ << Kor::plainText(nodeLine(node, output_.form, roots_)) << '\n';
        } else {
            row("", event, node.path, node.value, node.isOpened, "");
        }
    });
}

void Events::change(std::string const& mark, std::string const& time, Watch::Change const& change) {
    if (isText(output_)) {
        out_ << mark << time << (time.empty() ? "" : " ")
             << Kor::plainText(changeLine(change, output_.form, roots_)) << '\n';
    } else {
        row(time, change.isGone ? "del" : "set", change.path, change.value, false, change.note);
    }
}

void Events::note(std::string const& mark, std::string const& text) {
    if (isText(output_)) {
        out_ << mark << Kor::plainText(text) << '\n';
    } else {
        row("", "note", "", nullptr, false, text);
    }
}

void Events::end() {
    if (!isText(output_)) {
        rows_.end();
    }
}

} // namespace tool
