#include "demo/ChipImage.h"

#include "console/Failure.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstdio>
#include <fcntl.h>
#include <system_error>
#include <unistd.h>
#include <utility>
#include <vector>

namespace tool {

using namespace Hardware;

namespace {

/// What stands before the rows, as numbers of this machine.
struct Header {
    std::array<char, 8> magic;
    U32 chip;
    struct Table {
        U32 words;
        U32 arrays;
        U32 entries;
        friend bool operator==(Table const&, Table const&) = default;
    };
    std::array<Table, chipTables> tables;
};

constexpr std::array<char, 8> magic{'L', 'o', 'a', 'm', 'C', 'h', 'i', 'p'};
/// Of an image with the LIF table alone, and its number of the chip. It is made anew like any other.
constexpr std::array<char, 8> olderMagic{'L', 'i', 'f', 'I', 'm', 'a', 'g', 'e'};
constexpr std::size_t olderHeader = 24;

Header headerOf(ChipType chip) {
    Header header{magic, chip, {}};
    for (std::size_t i = 0; i < chipTables; ++i) {
        RowForm const form = chipTableForm(static_cast<ChipTable>(i), chip);
        header.tables[i] = {form.table->words, form.geometry().arrayElements, form.geometry().entries};
    }
    return header;
}

bool isImage(File const& file, Header& header) {
    return (file.read(&header, sizeof header, 0) && header.magic == magic) ||
           (file.read(&header, olderHeader, 0) && header.magic == olderMagic);
}

/// A driver that was killed may have left an image that it was making.
void mustNotBeInTheWay(std::string const& path) {
    File const left = openRegular(path, O_RDONLY);
    Header header{};
    if (left && ::lseek(left.fd(), 0, SEEK_END) != 0 && !isImage(left, header)) {
        throw Refused(shown(path) + " is in the way: it is no chip image");
    }
}

} // namespace

RowForm chipTableForm(ChipTable table, ChipType chip) {
    switch (table) {
    case outAcTable:
        return rowForm("OutAcBank", chip, 1);
    case evecTable:
        return rowForm("EvecTable", chip, 0);
    case lifTable:
        break;
    }
    return rowForm("LifTable", chip, 0);
}

ChipImage::ChipImage(std::string path, ChipType chip, Mode mode)
    : path_(std::move(path)), chip_(chip), size_(sizeof(Header)),
      file_(mode == create ? openOwn(path_, O_RDONLY)
                           : openRegular(path_, mode == readWrite ? O_RDWR : O_RDONLY)) {
    Header const mine = headerOf(chip);
    for (std::size_t i = 0; i < chipTables; ++i) {
        Header::Table const& table = mine.tables[i];
        sections_[i] = {table.entries, table.arrays * table.entries, table.words, size_};
        size_ += U64{sections_[i].rows} * table.words * 4;
    }
    if (!file_ && mode != create) {
        refuse("there is no such file");
    }
    if (file_) {
        Header there{};
        if (!isImage(file_, there)) {
            refuse("it is none");
        }
        if (there.chip != mine.chip) {
            refuse("it is of chip " + std::to_string(there.chip) + ", not " + std::to_string(chip));
        }
        if (there.magic == magic && there.tables != mine.tables) {
            refuse("its head does not tell the tables of chip " + std::to_string(chip) +
                   "; without it, a driver makes it anew from its database");
        }
        if (there.magic != magic && mode != create) {
            refuse("it is of an older driver, with LIFs alone; a driver makes it anew when it starts");
        }
    }
    if (mode == create) {
        mustNotBeInTheWay(path_ + ".new");
    }
}

ChipImage::~ChipImage() {
    if (!fresh_.empty()) {
        ::unlink(fresh_.c_str());
    }
}

void ChipImage::make() {
    std::string const fresh = path_ + ".new";
    mustNotBeInTheWay(fresh);
    ::unlink(fresh.c_str());
    file_ = makeRegular(fresh);
    fresh_ = fresh;
    Header const mine = headerOf(chip_);
    auto const size = static_cast<off_t>(size_);
    bool const isWritten = file_.write(&mine, sizeof mine, 0);
    int const error = isWritten ? ::posix_fallocate(file_.fd(), 0, size) : errno;
    if (error == 0) {
        return;
    }
    ::unlink(fresh.c_str());
    fresh_.clear();
    file_ = error == ENOSPC ? openRegular(path_, O_RDWR) : File();
    std::vector<char> const nothing(static_cast<std::size_t>(size) - sizeof mine);
    if (!file_ || !file_.write(nothing.data(), nothing.size(), sizeof mine)) {
        refuse(std::generic_category().message(error));
    }
}

void ChipImage::publish() {
    if (fresh_.empty()) {
        return; // it is in place already
    }
    if (std::rename(fresh_.c_str(), path_.c_str()) != 0) {
        throw Refused(systemFailure("cannot write", path_));
    }
    fresh_.clear();
}

void ChipImage::refuse(std::string const& why) const {
    throw Refused("cannot use the chip image " + shown(path_) + ": " + why);
}

void ChipImage::write(ChipTable table, U32 row, Words const& words) {
    Section const& section = sections_[table];
    if (!file_.write(words.data(), U64{section.words} * 4, section.at + U64{row} * section.words * 4)) {
        throw Refused(systemFailure("cannot write", path_));
    }
}

Words ChipImage::readRows(ChipTable table, U32 from, U32 count) const {
    Section const& section = sections_[table];
    Words words(U64{count} * section.words);
    if (!file_.read(words.data(), words.size() * 4, section.at + U64{from} * section.words * 4)) {
        throw Refused("cannot read row " + std::to_string(from) + " of " +
                      std::string(chipTableForm(table, chip_).table->name) + " in " + shown(path_));
    }
    return words;
}

Words ChipImage::read(ChipTable table, U32 row) const {
    return readRows(table, row, 1);
}

std::optional<U32> ChipImage::nextUsed(ChipTable table, U32 from, U32 count) const {
    Section const& section = sections_[table];
    U32 const end = from + std::min(count, section.rows - std::min(from, section.rows));
    for (constexpr U32 atOnce = 64; from < end; from += std::min(atOnce, end - from)) {
        Words const some = readRows(table, from, std::min(atOnce, end - from));
        auto const found = std::ranges::find_if(some, [](U32 word) { return word != 0; });
        if (found != some.end()) {
            return from + static_cast<U32>(found - some.begin()) / section.words;
        }
    }
    return std::nullopt;
}

U64 ChipImage::usedRows(ChipTable table) const {
    U64 used = 0;
    Words const all = readRows(table, 0, sections_[table].rows);
    for (auto row = all.begin(); row != all.end(); row += sections_[table].words) {
        used += std::any_of(row, row + sections_[table].words, [](U32 word) { return word != 0; });
    }
    return used;
}

U64 ChipImage::usedRows() const {
    return usedRows(lifTable) + usedRows(outAcTable) + usedRows(evecTable);
}

} // namespace tool
