#include "console/Listing.h"

#include "forms/Text.h"
#include "runtime/PlainText.h"

#include <algorithm>
#include <ostream>

namespace tool {

namespace {

std::string quoted(std::string text) {
    if (text.find_first_of(",\"\n\r") == text.npos) {
        return text;
    }
    for (std::size_t at = text.find('"'); at != text.npos; at = text.find('"', at + 2)) {
        text.insert(at, 1, '"');
    }
    return '"' + text + '"';
}

std::string csvLine(std::vector<Cell> const& cells) {
    std::vector<std::string> all;
    all.reserve(cells.size());
    for (Cell const& cell : cells) {
        all.push_back(quoted(Kor::plainText(cell.text())));
    }
    return join(all, ",");
}

} // namespace

std::string bold(std::string const& text, bool colour) {
    return colour ? "\033[1m" + text + "\033[0m" : text;
}

void Cell::write(JsonWriter& writer) const {
    if (kind_ == Kind::none) {
        writer.null();
    } else if (kind_ == Kind::raw) {
        writer.raw(text_);
    } else {
        writer.string(text_);
    }
}

RowPrinter::RowPrinter(std::ostream& stream, std::vector<std::string> columns, Output const& output,
                       Rows rows)
    : stream_(stream), columns_(std::move(columns)), output_(output), rows_(rows), widths_(columns_.size()),
      numeric_(columns_.size(), true) {}

void RowPrinter::add(std::vector<Cell> const& cells) {
    if (output_.format == Format::json) {
        if (rows_ == Rows::lines) {
            json_.emplace(stream_);
        } else if (!json_) {
            json_.emplace(stream_, true).beginArray();
        }
        json_->beginObject();
        for (std::size_t i = 0; i < columns_.size(); ++i) {
            json_->key(columns_[i]);
            cells[i].write(*json_);
        }
        json_->end();
        if (rows_ == Rows::lines) {
            stream_ << '\n';
        }
        return;
    }
    if (output_.format == Format::csv) {
        headings();
        stream_ << csvLine(cells) << '\n';
        return;
    }
    constexpr std::size_t block = 1000;
    waiting_.push_back(cells);
    if (waiting_.size() == block) {
        flush();
    }
}

void RowPrinter::end() {
    if (output_.format != Format::json) {
        flush();
    } else if (rows_ == Rows::array) {
        json_ ? *json_ : json_.emplace(stream_, true).beginArray();
        json_->end();
        stream_ << '\n';
    }
}

/// Before the first row.
void RowPrinter::headings() {
    if (std::exchange(hasBegun_, true) || !output_.headings) {
        return;
    }
    std::vector<Cell> const all(columns_.begin(), columns_.end());
    stream_ << (output_.format == Format::csv ? csvLine(all) : bold(line(all), output_.colour)) << '\n';
}

void RowPrinter::flush() {
    if (output_.format == Format::csv) {
        headings();
        return;
    }
    for (std::size_t i = 0; i < columns_.size(); ++i) {
        widths_[i] = std::max(widths_[i], output_.headings ? columns_[i].size() : 0);
        for (auto const& row : waiting_) {
            widths_[i] = std::max(widths_[i], Kor::plainText(row[i].text()).size());
            numeric_[i] = numeric_[i] && (row[i].isNumber() || row[i].isNone());
        }
    }
    headings();
    for (auto const& row : waiting_) {
        stream_ << line(row) << '\n';
    }
    waiting_.clear();
}

std::string RowPrinter::line(std::vector<Cell> const& cells) const {
    std::vector<std::string> all;
    all.reserve(cells.size());
    for (std::size_t i = 0; i < cells.size(); ++i) {
        std::string cell = Kor::plainText(cells[i].text());
        cell.insert(numeric_[i] ? 0 : cell.size(), widths_[i] - cell.size(), ' ');
        all.push_back(std::move(cell));
    }
    std::string text = join(all, "  ");
    text.erase(text.find_last_not_of(' ') + 1);
    return text;
}

void Listing::print(std::ostream& stream, Output const& output) const {
    RowPrinter printer(stream, columns_, output);
    for (auto const& row : rows_) {
        printer.add(row);
    }
    printer.end();
}

} // namespace tool
