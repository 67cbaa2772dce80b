/// Two rows of every table, chip and variant, which differ in a single bit.

#include "forms/Rows.h"

#include <gtest/gtest.h>

namespace {

using namespace Kor::Forms;
using Kor::U32;
using Kor::U8;

void eachForm(auto const& visit) {
    for (Hardware::TableInfo const& table : Hardware::tableInfos()) {
        for (Hardware::ChipType const chip : supportedChips()) {
            for (U32 variant = 0; variant < table.variants(chip); ++variant) {
                visit(RowForm{&table, chip, static_cast<U8>(variant)});
            }
        }
    }
}

std::string whereText(RowForm const& form, U32 bit) {
    return std::string(form.table->name) + " chip " + std::to_string(form.chip) + " variant " +
           std::to_string(form.variant) + " bit " + std::to_string(bit);
}

/// A row with this in each of its words.
Words filled(RowForm const& form, U32 word) {
    return Words(form.table->words, word);
}

TEST(RowDifference, NamesTheFieldsOfEachFlippedBitOrTheHole) {
    U32 holes = 0;
    U32 fields = 0;
    eachForm([&](RowForm const& form) {
        for (U32 const word : {0u, 0xffffffffu, 0x49249249u}) {
            Words const expected = filled(form, word);
            for (U32 bit = 0; bit < form.table->words * 32u; ++bit) {
                SCOPED_TRACE(whereText(form, bit));
                Words actual = expected;
                actual[bit / 32] ^= 1u << bit % 32;
                RowDifference const difference = compareRows(form, expected, actual);
                std::size_t told = 0; // fields of some rows overlap, and each of them holds another value
                for (Hardware::FieldPlace const& place : form.fields()) {
                    if (place.lo() > bit || bit > place.hi()) {
                        continue;
                    }
                    ASSERT_LT(told, difference.fields.size()) << place.field->name;
                    FieldDifference const& field = difference.fields[told++];
                    ASSERT_EQ(field.expected.place.field, place.field);
                    U32 const at = bit - place.lo();
                    for (U32 byte = 0; byte < field.expected.bytes.size(); ++byte) {
                        ASSERT_EQ(field.expected.bytes[byte] ^ field.actual.bytes[byte],
                                  byte == at / 8 ? 1 << at % 8 : 0);
                    }
                }
                ASSERT_EQ(difference.fields.size(), told);
                ASSERT_EQ(difference.holes.size(), told == 0 ? 1u : 0u);
                if (told == 0) {
                    ASSERT_EQ(difference.holes[0].lo, bit);
                    ASSERT_EQ(difference.holes[0].hi, bit);
                    ++holes;
                }
                fields += told != 0;
            }
            EXPECT_TRUE(compareRows(form, expected, expected).isNone());
        }
    });
    EXPECT_GT(fields, 0u);
    EXPECT_GT(holes, 0u);
}

} // namespace
