#include "console/Failure.h"
#include "console/RowLine.h"
#include "forms/Entries.h"
#include "forms/Json.h"
#include "support/Random.h"
#include "tests/tools/Process.h"
#include "tools/Diagram.h"

#include <algorithm>
#include <gtest/gtest.h>
#include <sstream>
#include <string>
#include <vector>

namespace {

using namespace Hardware;
using support::has;
using tool::DecodedRow;
using tool::FieldValue;
using tool::RowForm;
using tool::Words;

void eachForm(auto const& visit) {
    for (TableInfo const& table : tableInfos()) {
        for (ChipType const chip : Kor::Forms::supportedChips()) {
            for (U8 variant = 0; variant < table.variants(chip); ++variant) {
                visit(RowForm{&table, chip, variant});
            }
        }
    }
}

// That a field has its bits, RowDifference sees.
TEST(Rows, ARowIsItsFieldsInOrderAndTheBitsThatAreNobodys) {
    support::Random random;
    int forms = 0;
    eachForm([&](RowForm const& form) {
        ++forms;
        for (int round = 0; round < 8; ++round) {
            Words words(form.table->words);
            random.fill(words.data(), words.size() * 4);
            DecodedRow const decoded = tool::decodeRow(form, tool::parseWords(form, tool::wordsText(words)));
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
    EXPECT_EQ(forms, 7 * (5 + 3 + 9) + 1) << "a new table is counted here: a form a chip and variant";
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
            EXPECT_EQ(tool::parseRowLine("chip=8 table=EvecTable " + text, {}).words, words);
            ++accepted;
        } catch (tool::Refused const& failure) {
            EXPECT_FALSE(has(std::string(failure.what()), "\n"));
            ++refused;
        }
        EXPECT_THROW(tool::parseEntry(text), tool::Refused);
    }
    EXPECT_GT(accepted, 100);
    EXPECT_GT(refused, 100);
}

TEST(Kinds, PartsOfAValueAreSetByName) {
    auto const rowOf = [](std::string const& text, ChipType chip) {
        return tool::encodeEntry(tool::parseEntry(text), chip);
    };
    EXPECT_EQ(rowOf("OutAcValue ac1.vid1=0x123 ac0.drop=true", aradChip3).words,
              rowOf("OutAcValue word1=0x24602", aradChip3).words);
    // A command of which one field is set keeps the membership check; the other is as the value has it.
    EXPECT_EQ(rowOf("EvecValue evec1.innerVlanIdSrc=eveVidSrcEditInfo1", jerichoChip8).words,
              rowOf("EvecValue evec1=0x40100", jerichoChip8).words);
    EXPECT_EQ(rowOf("EvecValue evec0.innerTpidIdx=5", aradChip3).losses,
              (std::vector<tool::EncodedRow::Loss>{{"evec0.innerTpidIdx", 5, 1}}));
    // What the encoder writes itself, and what another field overrides.
    using Losses = std::vector<tool::EncodedRow::Loss>;
    EXPECT_EQ(rowOf("AradLifAcMp type=1 vsi=3", jerichoChip8).losses, (Losses{{"type", 1, 0}}));
    EXPECT_EQ(rowOf("AradLifAcMp type=3 vsi=3", jerichoChip8).losses, Losses{}); // which the row has anyway
    EXPECT_EQ(rowOf("AradLifAcMp useInLif=1", jerichoChip8).losses, (Losses{{"useInLif", 1, 0}}));
    EXPECT_EQ(rowOf("AradLifAcMp useInLif=1", aradChip3).losses, Losses{});
    EXPECT_EQ(rowOf("lifLabelProtocolOrLsp vsi=7 daNotFoundProfile=0", aradChip3).losses,
              (Losses{{"vsi", 7, 4}}));
    // A limit holds whatever name the bits were set by.
    for (char const* const four : {"ac0.format=4", "ac0EntryFormat=4", "ac0_32_36=0x10", "word1=0x10"}) {
        EXPECT_THROW(rowOf(std::string("OutAcValue ") + four, jerichoChip5), tool::Refused) << four;
    }
    for (char const* const beyond : {"word0=0x4000000000", "evec0.value=0x80000"}) {
        EXPECT_THROW(tool::parseEntry(std::string("EvecValue ") + beyond), tool::Refused) << beyond;
    }
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
    eachForm([](RowForm const& form) {
        tool::Diagram const diagram(form);
        std::string const text = diagram.text();
        std::string const svg = diagram.svg();
        std::ostringstream wavedrom;
        diagram.wavedrom(wavedrom);
        Kor::Forms::Json const wave = Kor::Forms::parseJson(wavedrom.str());
        EXPECT_TRUE(isWellFormed(svg)) << diagram.title();
        U32 bits = 0;
        for (auto const& [none, each] : wave.at("reg").members) {
            bits += static_cast<U32>(std::stoul(each.at("bits").text));
        }
        EXPECT_EQ(bits, form.table->words * 32u) << diagram.title();
        for (auto const& lane : diagram.lanes()) {
            for (std::size_t i = 1; i < lane.size(); ++i) {
                EXPECT_LT(lane[i - 1].hi(), lane[i].lo()) << diagram.title();
            }
        }
        for (FieldPlace const& place : form.fields()) {
            std::string const name(place.field->name);
            EXPECT_TRUE(has(text, name)) << name;
            EXPECT_TRUE(has(svg, "<title>" + tool::placeText(place))) << name;
            EXPECT_TRUE(has(wavedrom.str(), '"' + name)) << name << ' ' << diagram.title();
        }
    });
}

} // namespace
