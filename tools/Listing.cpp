#include "tools/Listing.h"

#include "forms/Text.h"

#include <algorithm>
#include <ostream>

namespace tool {

namespace {

std::string cellText(Json const& cell) {
    return cell.is_null() ? "" : cell.is_string() ? Kor::plainText(cell.get<std::string>()) : dumped(cell);
}

std::string quoted(std::string text) {
    if (text.find_first_of(",\"\n\r") == text.npos) {
        return text;
    }
    for (std::size_t at = text.find('"'); at != text.npos; at = text.find('"', at + 2)) {
        text.insert(at, 1, '"');
    }
    return '"' + text + '"';
}

std::string csvLine(std::vector<Json> const& cells) {
    std::vector<std::string> all;
    all.reserve(cells.size());
    for (Json const& cell : cells) {
        all.push_back(quoted(cellText(cell)));
    }
    return join(all, ",");
}

} // namespace

std::string bold(std::string const& text, bool colour) {
    return colour ? "\033[1m" + text + "\033[0m" : text;
}

std::string dumped(Json const& json, int indent) {
    return Kor::plainJson(json.dump(indent, ' ', false, Json::error_handler_t::replace));
}

void printJson(std::ostream& stream, Json const& json) {
    stream << dumped(json, 2) << '\n';
}

RowPrinter::RowPrinter(std::ostream& stream, std::vector<std::string> columns, Output const& output)
    : stream_(stream), columns_(std::move(columns)), output_(output), widths_(columns_.size()),
      numeric_(columns_.size(), true) {}

void RowPrinter::add(std::vector<Json> cells) {
    constexpr std::size_t block = 1000;
    waiting_.push_back(std::move(cells));
    if (output_.format == Format::json || output_.format == Format::csv || waiting_.size() == block) {
        flush();
    }
}

void RowPrinter::end() {
    flush();
    if (output_.format == Format::json) {
        stream_ << (hasBegun_ ? "\n]\n" : "[]\n");
    }
}

void RowPrinter::flush() {
    bool const isFirst = !hasBegun_;
    if (output_.format == Format::json) {
        for (auto const& row : waiting_) {
            Json object = Json::object();
            for (std::size_t i = 0; i < columns_.size(); ++i) {
                object[columns_[i]] = row[i];
            }
            std::string text = dumped(object, 2);
            for (std::size_t at = text.find('\n'); at != text.npos; at = text.find('\n', at + 1)) {
                text.insert(at + 1, 2, ' ');
            }
            stream_ << (hasBegun_ ? ",\n  " : "[\n  ") << text;
            hasBegun_ = true;
        }
        waiting_.clear();
        return;
    }
    hasBegun_ = true;
    std::vector<Json> const headings(columns_.begin(), columns_.end());
    bool const hasHeadings = isFirst && output_.headings;
    if (output_.format == Format::csv) {
        stream_ << (hasHeadings ? csvLine(headings) + '\n' : "");
        for (auto const& row : waiting_) {
            stream_ << csvLine(row) << '\n';
        }
        waiting_.clear();
        return;
    }
    for (std::size_t i = 0; i < columns_.size(); ++i) {
        widths_[i] = std::max(widths_[i], output_.headings ? columns_[i].size() : 0);
        for (auto const& row : waiting_) {
            widths_[i] = std::max(widths_[i], cellText(row[i]).size());
            numeric_[i] = numeric_[i] && (row[i].is_number() || row[i].is_null());
        }
    }
    if (hasHeadings) {
        stream_ << bold(line(headings), output_.colour) << '\n';
    }
    for (auto const& row : waiting_) {
        stream_ << line(row) << '\n';
    }
    waiting_.clear();
}

std::string RowPrinter::line(std::vector<Json> const& cells) const {
    std::vector<std::string> all;
    all.reserve(cells.size());
    for (std::size_t i = 0; i < cells.size(); ++i) {
        std::string cell = cellText(cells[i]);
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
