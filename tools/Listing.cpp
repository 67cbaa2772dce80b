#include "tools/Listing.h"

#include "tools/Text.h"

#include <algorithm>
#include <ostream>

namespace tool {

namespace {

std::string cellText(Json const& cell) {
    return cell.is_null() ? "" : cell.is_string() ? cell.get<std::string>() : cell.dump();
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

void printJson(std::ostream& stream, Json const& json) {
    stream << json.dump(2, ' ', false, Json::error_handler_t::replace) << '\n';
}

void Listing::print(std::ostream& stream, Output const& output) const {
    if (output.format == Format::json) {
        Json all = Json::array();
        for (auto const& row : rows_) {
            Json object = Json::object();
            for (std::size_t i = 0; i < columns_.size(); ++i) {
                object[columns_[i]] = row[i];
            }
            all.push_back(std::move(object));
        }
        printJson(stream, all);
        return;
    }
    std::vector<Json> const headings(columns_.begin(), columns_.end());
    if (output.format == Format::csv) {
        if (output.headings) {
            stream << csvLine(headings) << '\n';
        }
        for (auto const& row : rows_) {
            stream << csvLine(row) << '\n';
        }
        return;
    }
    std::vector<std::size_t> widths(columns_.size());
    std::vector<bool> numeric(columns_.size(), true);
    for (std::size_t i = 0; i < columns_.size(); ++i) {
        widths[i] = output.headings ? columns_[i].size() : 0;
        for (auto const& row : rows_) {
            widths[i] = std::max(widths[i], cellText(row[i]).size());
            numeric[i] = numeric[i] && (row[i].is_number() || row[i].is_null());
        }
    }
    auto const line = [&](std::vector<Json> const& cells) {
        std::vector<std::string> all;
        for (std::size_t i = 0; i < cells.size(); ++i) {
            std::string cell = cellText(cells[i]);
            cell.insert(numeric[i] ? 0 : cell.size(), widths[i] - cell.size(), ' ');
            all.push_back(std::move(cell));
        }
        std::string text = join(all, "  ");
        text.erase(text.find_last_not_of(' ') + 1);
        return text;
    };
    if (output.headings) {
        stream << bold(line(headings), output.colour) << '\n';
    }
    for (auto const& row : rows_) {
        stream << line(row) << '\n';
    }
}

} // namespace tool
