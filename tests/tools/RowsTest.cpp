#include "platform/Hardware/Loam/DestinationId.h"
#include "platform/LoamLib/LoamLibCommonUtils.h"
#include "support/Random.h"
#include "support/Tables.h"
#include "tools/Diagram.h"
#include "tools/Entries.h"
#include "tools/Failure.h"

#include <algorithm>
#include <bit>
#include <cstring>
#include <gtest/gtest.h>

KOR_NAME(toolTestHalf, ToolTestHalf)
KOR_NAME(toolTestHalfIs, ToolTestHalfIs)
KOR_NAME(toolTestFirst, ToolTestFirst)
KOR_NAME(toolTestWord, ToolTestWord)
KOR_NAME(toolTestLow, ToolTestLow)

namespace {

using namespace Hardware;
using tool::DecodedRow;
using tool::FieldValue;
using tool::RowForm;
using tool::Words;

/// Calls `visit.template operator()<Row>(form)` for each row that there is.
template <class Visit>
void eachForm(Visit const& visit) {
    support::eachTable([&]<class Row>() {
        TableInfo const* const table = tableInfo(Row::tableName);
        ASSERT_NE(table, nullptr);
        support::eachLayout<Row>([&](ChipType chip, U8 variant) {
            if (variant == 0 || !table->ignoresVariant) {
                visit.template operator()<Row>(RowForm{table, chip, variant});
            }
        });
    });
}

TEST(Rows, ARowIsDecodedAsItsTableReadsIt) {
    support::Random random;
    int forms = 0;
    eachForm([&]<class Row>(RowForm const& form) {
        ++forms;
        ASSERT_LT(form.variant, form.table->variants(form.chip));
        for (int round = 0; round < 8; ++round) {
            Words words(form.table->words);
            random.fill(words.data(), words.size() * 4);
            DecodedRow const decoded = tool::decodeRow(form, tool::parseWords(form, tool::wordsText(words)));
            Words copy = words;
            Row const row(form.chip, reinterpret_cast<U8*>(copy.data()), static_cast<U16>(copy.size() * 4),
                          false, form.variant);
            std::size_t present = 0;
            support::eachField<Row>([&]<class F>() {
                if (!row.template isFieldValid<F>()) {
                    return;
                }
                ++present;
                auto const found = std::ranges::find_if(
                    decoded.fields, [](FieldValue const& each) { return each.place.field->id == F::id; });
                ASSERT_NE(found, decoded.fields.end()) << F::name;
                auto const value = row.template field<F>();
                EXPECT_EQ(std::memcmp(found->bytes.data(), &value, sizeof value), 0) << F::name;
                EXPECT_EQ(found->place.lo(), row.template fieldStart<F>());
                EXPECT_EQ(found->place.field->name, F::name);
            });
            EXPECT_EQ(decoded.fields.size(), present);
            EXPECT_TRUE(
                std::ranges::is_sorted(decoded.fields, {}, [](FieldValue const& f) { return f.place.lo(); }));

            Words rest = tool::composeRow(form, decoded);
            for (tool::BitRange const& range : decoded.unowned) {
                for (U32 bit = range.lo; bit <= range.hi; ++bit) {
                    EXPECT_EQ(rest[bit / 32] >> (bit % 32) & 1, 0u);
                    rest[bit / 32] |= 1u << (bit % 32);
                }
            }
            EXPECT_EQ(rest, words);
        }
    });
    EXPECT_EQ(forms, 7 * (5 + 3 + 9) + 1);
}

TEST(Rows, AnyTextIsAtMostRefused) {
    support::Random random;
    std::string const alphabet = "0123456789abcdefABCDEFxX ,,  \t=#'-\n";
    RowForm const form = tool::rowForm("EvecTable", jerichoChip8, {});
    int accepted = 0, refused = 0;
    for (int round = 0; round < 20000; ++round) {
        std::string text;
        for (U32 i = random.below(24); i > 0; --i) {
            text += random.below(50) == 0 ? static_cast<char>(random.next()) : alphabet[random.below(27)];
        }
        try {
            Words const words = tool::parseWords(form, text);
            ASSERT_EQ(words.size(), 2u);
            EXPECT_EQ(tool::parseWords(form, tool::wordsText(words)), words);
            static_cast<void>(tool::decodeRow(form, words));
            ++accepted;
        } catch (tool::Refused const& failure) {
            EXPECT_EQ(std::string(failure.what()).find('\n'), std::string::npos);
            ++refused;
        }
        EXPECT_THROW(tool::parseEntry(text), tool::Refused);
    }
    EXPECT_GT(accepted, 100);
    EXPECT_GT(refused, 100);
}

/// A field of the row that shares no bit with another has the value that the entry gave it.
TEST(Rows, WhatWasEncodedIsDecoded) {
    support::Random random;
    std::size_t compared = 0;
    for (tool::Kind const& kind : tool::allKinds()) {
        for (int round = 0; round < 40; ++round) {
            std::string text = kind.name;
            for (tool::AttributeInfo const& each : kind.attributes) {
                bool const isWord = each.name.starts_with("dword");
                U64 const most = each.name == "outLif" ? 0xffff : each.most;
                if (!isWord && random.below(4) != 0) {
                    text += ' ' + each.name + '=' + tool::hex(random.next() & most, 1);
                }
            }
            tool::Entry const entry = tool::parseEntry(text);
            for (ChipType const chip : tool::supportedChips()) {
                tool::EncodedRow const row = tool::encodeEntry(entry, chip);
                EXPECT_EQ(row.note, "");
                DecodedRow const decoded = tool::decodeRow(row.form, row.words);
                EXPECT_TRUE(decoded.unowned.empty());
                for (FieldValue const& field : decoded.fields) {
                    auto const attribute = std::ranges::find(kind.attributes, field.place.field->name,
                                                             &tool::AttributeInfo::name);
                    bool const shared = std::ranges::any_of(decoded.fields, [&](FieldValue const& other) {
                        return other.place.field != field.place.field &&
                               other.place.lo() <= field.place.hi() && field.place.lo() <= other.place.hi();
                    });
                    if (attribute == kind.attributes.end() || attribute->name == "type" || shared) {
                        continue;
                    }
                    U64 expected =
                        entry.draft->get(static_cast<std::size_t>(attribute - kind.attributes.begin()));
                    if (attribute->name == "destination" && kind.alias != "lifAcP2pToPwe") {
                        Loam::DestinationId id;
                        id.decodeDestId(Loam::fapTypeJericho, static_cast<U32>(expected));
                        expected = id.encodedDestId(chipTypeToFapType(chip));
                    }
                    EXPECT_EQ(field.number(), expected) << text << " chip " << chip << ' ' << attribute->name;
                    ++compared;
                }
            }
        }
    }
    EXPECT_GT(compared, 5u * 40 * 7 * 4);
}

/// A made-up half of a row whose bit 31 reads as set, whatever was written, and the row of two such halves.
struct Half : Kor::ValueOf<Half, Kor::Settable<Kor::name::toolTestWord, Kor::U32>,
                           Kor::View<Kor::name::toolTestLow, Kor::U8, Kor::name::toolTestWord, 0, 3>> {
    using ValueOf::ValueOf;
};
struct Halves
    : Kor::ValueOf<Halves, Kor::Settable<Kor::name::toolTestWord, Kor::U64>,
                   Kor::Operation<Kor::name::toolTestHalf, Half(Kor::Arg<Kor::name::toolTestFirst, bool>)>> {
    using ValueOf::ValueOf;
    void korCheck() const {
        if (toolTestWord() >> 38 != 0) {
            Kor::throwRangeException("Halves");
        }
    }
    Half toolTestHalf(bool first) const {
        return Half(static_cast<Kor::U32>(toolTestWord() >> (first ? 0 : 19)) | 0x80000000);
    }
    void toolTestHalfIs(bool first, Half const& half) {
        Kor::U64 const bits = half.toolTestWord() & 0x7ffff;
        toolTestWordIs(first ? (toolTestWord() & ~U64{0x7ffff}) | bits
                             : (toolTestWord() & 0x7ffff) | bits << 19);
    }
    void writeToChipFormat(ChipType chip, Kor::BytePtr row) const {
        EvecTable(chip, row, 8, false, 0).evecTableDataIs(toolTestWord());
    }
};

TEST(Kinds, PartsAndRangesOfAValueAreSetByName) {
    namespace name = Kor::name;
    tool::Kind const kind =
        tool::kindOf<Halves, EvecTable,
                     tool::Part<"first", name::toolTestHalf, name::toolTestHalfIs, true, Half>,
                     tool::Part<"second", name::toolTestHalf, name::toolTestHalfIs, false, Half>>(0,
                                                                                                  Halves());
    EXPECT_EQ(kind.name, "Halves");
    std::vector<std::string> names;
    for (tool::AttributeInfo const& each : kind.attributes) {
        names.push_back(each.name);
    }
    EXPECT_EQ(tool::join(names),
              "first.toolTestWord first.toolTestLow second.toolTestWord second.toolTestLow toolTestWord");
    EXPECT_EQ(kind.attributes[1].most, 15u);
    EXPECT_EQ(kind.attributes[4].most, ~U64{0}); // its range is the value's own to refuse

    auto const draft = kind.draft();
    draft->set(2, 0x00100); // clears what reads as set
    draft->set(3, 0x5);
    Words words(2);
    draft->write(jerichoChip8, reinterpret_cast<U8*>(words.data()));
    EXPECT_EQ(words, (Words{0x08280000, 0}));
    EXPECT_THROW(draft->set(4, U64{1} << 38), Kor::RangeException);
}

/// Whether every tag that is opened is closed, in order, and no bare & is in the text.
bool isWellFormed(std::string const& xml) {
    std::vector<std::string> open;
    for (std::size_t at = xml.find('<'); at != xml.npos; at = xml.find('<', at + 1)) {
        std::size_t const end = xml.find('>', at);
        std::string const tag = xml.substr(at + 1, end - at - 1);
        if (end == xml.npos || std::ranges::count(tag, '"') % 2 != 0 || tag.find('<') != tag.npos) {
            return false;
        }
        if (tag[0] == '/') {
            if (open.empty() || open.back() != tag.substr(1)) {
                return false;
            }
            open.pop_back();
        } else if (tag.back() != '/') {
            open.push_back(tag.substr(0, tag.find(' ')));
        }
    }
    return open.empty() && xml.find('&') == xml.npos;
}

TEST(Diagrams, ShowEveryFieldOfEveryRow) {
    eachForm([]<class Row>(RowForm const& form) {
        tool::Diagram const diagram(form);
        std::string const text = diagram.text();
        std::string const svg = diagram.svg();
        tool::Json const wave = diagram.wavedrom();
        EXPECT_TRUE(isWellFormed(svg)) << diagram.title();
        U32 bits = 0;
        for (tool::Json const& each : wave["reg"]) {
            bits += each["bits"].get<U32>();
        }
        EXPECT_EQ(bits, form.table->words * 32u) << diagram.title();
        std::size_t placed = 0;
        for (auto const& lane : diagram.lanes()) {
            for (std::size_t i = 1; i < lane.size(); ++i) {
                EXPECT_LT(lane[i - 1].hi(), lane[i].lo()) << diagram.title();
            }
            placed += lane.size();
        }
        std::vector<FieldPlace> const fields = form.fields();
        EXPECT_EQ(placed, fields.size());
        for (FieldPlace const& place : fields) {
            std::string const name(place.field->name);
            EXPECT_NE(text.find(name), std::string::npos) << name;
            EXPECT_NE(svg.find("<title>" + tool::placeText(place)), std::string::npos) << name;
            EXPECT_NE(wave.dump().find('"' + name), std::string::npos) << name << ' ' << diagram.title();
        }
    });
    tool::Diagram const label(tool::rowForm("LifTable", jerichoChip8, 4));
    ASSERT_EQ(label.lanes().size(), 2u);
    EXPECT_EQ(label.lanes()[1][0].field->name, "vsiMsb");
    EXPECT_EQ(label.lanes()[1][1].field->name, "expectBos");
}

} // namespace
