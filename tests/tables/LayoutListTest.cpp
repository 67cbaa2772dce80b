/// Every layout of every table against tests/tables/layouts.txt, which was compared with the data sheets once
/// and is mended by hand: a line a table, chip and variant, with its rows, where they are, and each field as
/// name[hi:lo].

#include "tables/TableInfos.h"

#include <algorithm>
#include <fstream>
#include <gtest/gtest.h>
#include <string>
#include <vector>

namespace {

using namespace Hardware;

std::vector<std::string> printedLayouts() {
    std::vector<std::string> lines;
    for (TableInfo const& table : tableInfos()) {
        for (U32 chip = 0; chip < 16; ++chip) {
            for (U32 variant = 0; variant < table.variants(chip); ++variant) {
                std::string line(table.name);
                line += " chip " + std::to_string(chip) + " variant " + std::to_string(variant) + ", ";
                layout::GeometryRow const& rows = *table.geometry(chip, variant);
                line += Kor::format("%u x %u rows from 0x%x, block 0x%x to 0x%x:", rows.arrayElements,
                                    rows.entries, rows.base, U32{rows.blockBase},
                                    U32{rows.blockBase} + rows.maxIdentifier)
                            .view();
                for (FieldInfo const& field : table.fields) {
                    if (auto const at = table.position(field, chip, variant); at.width != 0) {
                        line.append(" ").append(field.name).append("[");
                        line +=
                            std::to_string(at.offset + at.width - 1) + ':' + std::to_string(at.offset) + ']';
                    }
                }
                lines.push_back(std::move(line));
            }
        }
    }
    return lines;
}

TEST(Layouts, AreThoseOfTheList) {
    std::ifstream file(LOAM_LAYOUTS);
    ASSERT_TRUE(file.is_open()) << LOAM_LAYOUTS;
    std::vector<std::string> expected;
    for (std::string line; std::getline(file, line);) {
        expected.push_back(line);
    }
    std::vector<std::string> const printed = printedLayouts();
    for (std::size_t i = 0; i < std::max(printed.size(), expected.size()); ++i) {
        EXPECT_EQ(i < printed.size() ? printed[i] : "no layout",
                  i < expected.size() ? expected[i] : "no line")
            << LOAM_LAYOUTS << ':' << i + 1 << ", where a new layout is written by hand";
    }
}

} // namespace
