#include "demo/ChipImage.h"

#include "tools/Failure.h"

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
using namespace Hardware::LoamTunnel;

namespace {

/// What stands before the rows, as numbers of this machine.
struct Header {
    std::array<char, 8> magic;
    U32 chip;
    U32 words;
    U32 arrays;
    U32 entries;
};

constexpr std::array<char, 8> magic{'L', 'i', 'f', 'I', 'm', 'a', 'g', 'e'};

bool isImage(File const& file, Header& header) {
    return file.read(&header, sizeof header, 0) && header.magic == magic;
}

/// A driver that was killed may have left an image that it was making.
void mustNotBeInTheWay(std::string const& path) {
    File const left = openRegular(path, O_RDONLY);
    Header header{};
    if (left && ::lseek(left.fd(), 0, SEEK_END) != 0 && !isImage(left, header)) {
        throw Refused(shown(path) + " is in the way: it is no chip image");
    }
}

RowForm formOf(ChipType chip) {
    return rowForm("LifTable", chip, 0);
}

} // namespace

ChipImage::ChipImage(std::string path, ChipType chip, Mode mode)
    : path_(std::move(path)), chip_(chip), geometry_(formOf(chip).geometry()),
      words_(formOf(chip).table->words), file_(openRegular(path_, O_RDONLY)) {
    if (!file_ && mode == readOnly) {
        refuse("there is no such file");
    }
    if (file_) {
        Header const mine{magic, chip, words_, geometry_.arrayElements, geometry_.entries};
        Header there{};
        if (!isImage(file_, there)) {
            refuse("it is none");
        }
        if (there.chip != mine.chip || there.words != mine.words || there.arrays != mine.arrays ||
            there.entries != mine.entries) {
            refuse("it is of chip " + std::to_string(there.chip) + ", not " + std::to_string(chip));
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
    Header const mine{magic, chip_, words_, geometry_.arrayElements, geometry_.entries};
    auto const size =
        static_cast<off_t>(sizeof mine + U64{geometry_.arrayElements} * geometry_.entries * words_ * 4);
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

U64 ChipImage::at(LifPlace const& place) const {
    return sizeof(Header) + (U64{place.array} * geometry_.entries + place.entry) * words_ * 4;
}

void ChipImage::write(LifPlace const& place, Words const& words) {
    if (!file_.write(words.data(), words.size() * 4, at(place))) {
        throw Refused(systemFailure("cannot write", path_));
    }
}

Words ChipImage::read(LifPlace const& place) const {
    Words words(words_);
    if (!file_.read(words.data(), words.size() * 4, at(place))) {
        throw Refused("cannot read row " + std::to_string(place.entry) + " of " + shown(path_));
    }
    return words;
}

U64 ChipImage::usedRows() const {
    U64 used = 0;
    for (U32 array = 0; array < geometry_.arrayElements; ++array) {
        Words all(U64{geometry_.entries} * words_);
        if (!file_.read(all.data(), all.size() * 4, at({0, 0, array, 0, 0, 0, 0}))) {
            throw Refused("cannot read the rows of " + shown(path_));
        }
        for (auto row = all.begin(); row != all.end(); row += words_) {
            used += std::any_of(row, row + words_, [](U32 word) { return word != 0; });
        }
    }
    return used;
}

} // namespace tool
