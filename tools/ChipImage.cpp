#include "tools/ChipImage.h"

#include "platform/LoamLib/LoamLibCommonUtils.h"
#include "tools/Failure.h"

#include <algorithm>
#include <cerrno>
#include <fcntl.h>
#include <system_error>
#include <unistd.h>
#include <utility>

namespace tool {

using namespace Hardware;
using namespace Hardware::LoamTunnel;

namespace {

constexpr U32 managedBanks = 2;

/// What stands before the rows, as numbers of this machine.
struct Header {
    char magic[8];
    U32 chip;
    U32 words;
    U32 arrays;
    U32 entries;
};

RowForm formOf(ChipType chip) {
    return rowForm("LifTable", chip, 0);
}

Kor::Ptr<FapTypeProperties::Properties const> family(ChipType chip, FapTypeProperties const& properties) {
    return properties.properties(chipTypeToFapType(chip));
}

} // namespace

U32 managedLifs(ChipType chip, FapTypeProperties const& properties) {
    return managedBanks * family(chip, properties)->lifEntriesPerBank();
}

LifPlace placeOf(ChipType chip, FapTypeProperties const& properties, AradLifIndex const& index) {
    auto const of = family(chip, properties);
    LifPlace place{of->lifBankFromIndex(index), of->lifOffsetFromIndex(index), 0, 0};
    // A bank of the arithmetic is half a logical one where neighbours lie in two.
    bool const isSpread = chipTypeToFapType(chip) == Loam::fapTypeJericho;
    U32 const bankRows = of->lifEntriesPerBank() / (isSpread ? 2 : 1);
    U32 const firstBank = U32{lifBankManaged} * (isSpread ? 2 : 1);
    auto const& geometry = formOf(chip).geometry();
    U32 const rows = geometry.entries * geometry.arrayElements;
    U32 const managedEnd = firstBank * bankRows + managedLifs(chip, properties);
    U32 const row = place.bank * bankRows + place.offset - (managedEnd > rows ? firstBank * bankRows : 0);
    place.array = row / geometry.entries;
    place.entry = row % geometry.entries;
    return place;
}

ChipImage::ChipImage(std::string path, ChipType chip, Mode mode)
    : path_(std::move(path)), geometry_(formOf(chip).geometry()), words_(formOf(chip).table->words),
      file_(::open(path_.c_str(),
                   mode == create ? O_RDWR | O_CREAT | O_TRUNC | O_CLOEXEC : O_RDONLY | O_CLOEXEC, 0666)) {
    auto const refuse = [&](std::string const& why) {
        if (file_ >= 0) {
            ::close(file_);
        }
        throw Refused("cannot use the chip image " + shown(path_) + ": " + why);
    };
    if (file_ < 0) {
        refuse(std::generic_category().message(errno));
    }
    Header const mine{
        {'L', 'i', 'f', 'I', 'm', 'a', 'g', 'e'}, chip, words_, geometry_.arrayElements, geometry_.entries};
    if (mode == create) {
        auto const size =
            static_cast<off_t>(sizeof mine + U64{geometry_.arrayElements} * geometry_.entries * words_ * 4);
        if (::pwrite(file_, &mine, sizeof mine, 0) != sizeof mine || ::ftruncate(file_, size) != 0) {
            refuse(std::generic_category().message(errno));
        }
        return;
    }
    Header there{};
    if (::pread(file_, &there, sizeof there, 0) != sizeof there ||
        !std::equal(there.magic, std::end(there.magic), mine.magic)) {
        refuse("it is none");
    }
    if (there.chip != mine.chip || there.words != mine.words || there.arrays != mine.arrays ||
        there.entries != mine.entries) {
        refuse("it is of chip " + std::to_string(there.chip) + ", not " + std::to_string(chip));
    }
}

ChipImage::~ChipImage() {
    ::close(file_);
}

U64 ChipImage::at(LifPlace const& place) const {
    return sizeof(Header) + (U64{place.array} * geometry_.entries + place.entry) * words_ * 4;
}

void ChipImage::write(LifPlace const& place, Words const& words) {
    auto const size = static_cast<ssize_t>(words.size() * 4);
    if (::pwrite(file_, words.data(), words.size() * 4, static_cast<off_t>(at(place))) != size) {
        throw Refused("cannot write to " + shown(path_) + ": " + std::generic_category().message(errno));
    }
}

Words ChipImage::read(LifPlace const& place) const {
    Words words(words_);
    auto const size = static_cast<ssize_t>(words.size() * 4);
    if (::pread(file_, words.data(), words.size() * 4, static_cast<off_t>(at(place))) != size) {
        throw Refused("cannot read row " + std::to_string(place.entry) + " of " + shown(path_));
    }
    return words;
}

U64 ChipImage::usedRows() const {
    U64 used = 0;
    for (U32 array = 0; array < geometry_.arrayElements; ++array) {
        Words all(U64{geometry_.entries} * words_);
        auto const size = static_cast<ssize_t>(all.size() * 4);
        if (::pread(file_, all.data(), all.size() * 4, static_cast<off_t>(at({0, 0, array, 0}))) != size) {
            throw Refused("cannot read the rows of " + shown(path_));
        }
        for (auto row = all.begin(); row != all.end(); row += words_) {
            used += std::any_of(row, row + words_, [](U32 word) { return word != 0; });
        }
    }
    return used;
}

} // namespace tool
