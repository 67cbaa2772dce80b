#include "tables/LoamTunnelMetaInfo.h"
#include "values/LoamTunnelTypes.h"

#include <algorithm>
#include <functional>
#include <gtest/gtest.h>
#include <sstream>
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

namespace {

using namespace Hardware;

struct Seen {
    std::string text;
    std::string function;
    std::string context;
    std::string unit;
    int level;
    bool on;
};

/// Collects what the trace points of a facility emit, and leaves trace as it was found.
class Tracing : public testing::Test {
protected:
    Tracing() {
        Kor::traceSinkIs([this](Kor::TraceRecord const& r) { add(r); });
    }
    ~Tracing() override {
        Kor::traceSinkIs({});
        Kor::coverageStream_ = nullptr;
        for (Kor::TraceFacility* each : Kor::traceFacilities()) {
            each->enabledIs(false);
            each->levelIs(0, false);
            each->levelIs(8, false);
        }
    }
    void add(Kor::TraceRecord const& r) {
        seen.push_back({std::string(r.text), std::string(r.function), std::string(r.context),
                        std::string(r.unit), r.level, r.on});
    }

    Kor::TraceFacility& rows = Kor::traceFacility("LoamTunnelMetaInfo");
    Kor::U8 buffer[16] = {};
    EpniIsidTable row{aradChip3, buffer, sizeof buffer, false, 1};
    std::vector<Seen> seen;
};

TEST_F(Tracing, CountsOneWhenOffAndTwoWhenEnabledAndComposesOnlyAtTheLevel) {
    Kor::U32 start = rows.testCounter;
    row.parityIs(1);
    EXPECT_EQ(rows.testCounter - start, 1u);
    rows.levelIs(8, true); // a level of a facility that is off
    row.parityIs(1);
    EXPECT_EQ(rows.testCounter - start, 2u);
    rows.levelIs(8, false);
    rows.enabledIs(true);
    row.parityIs(1);
    EXPECT_EQ(rows.testCounter - start, 4u);
    EXPECT_TRUE(seen.empty());
    rows.levelIs(8, true);
    row.parityIs(1);
    EXPECT_EQ(rows.testCounter - start, 6u);
    EXPECT_EQ(seen.size(), 1u);
    EXPECT_FALSE(rows.levelIs(10, true));
    EXPECT_FALSE(rows.levelIs(-1, true));
}

TEST_F(Tracing, ShowsTheSignatureAndTheRowsOfEachAccessor) {
    rows.enabledIs(true);
    rows.levelIs(8, true);
    std::string const tail = std::string(" chipType: ") + '\3' + " variant: " + '\1';
    auto last = [&] {
        Seen const record = seen.back();
        EXPECT_EQ(record.level, 8);
        EXPECT_TRUE(record.on);
        EXPECT_EQ(record.context, "<unknown>");
        EXPECT_EQ(record.unit, "LoamTunnelMetaInfo");
        seen.clear();
        return record.function + '|' + record.text;
    };
    row.parityIs(1);
    EXPECT_EQ(last(), "parityIs|void Hardware::EpniIsidTable::parityIs(U8)" + tail);
    row.isid();
    EXPECT_EQ(last(), "isid|U32 Hardware::EpniIsidTable::isid() const" + tail);
    row.parityLen();
    EXPECT_EQ(last(), "parityLen|U16 Hardware::EpniIsidTable::parityLen() const" + tail);
    row.parityOffset();
    EXPECT_EQ(last(), "parityOffset|U16 Hardware::EpniIsidTable::parityOffset() const" + tail);
    row.isParityValid();
    EXPECT_EQ(seen.size(), 2u); // its own, then that of the length
    EXPECT_EQ(seen[0].text, "bool Hardware::EpniIsidTable::isParityValid() const" + tail);
    EXPECT_EQ(last(), "parityLen|U16 Hardware::EpniIsidTable::parityLen() const" + tail);
    row.fieldWidth(144);
    EXPECT_EQ(seen[0].text, "virtual U16 Hardware::EpniIsidTable::fieldWidth(U32) const" + tail);
    EXPECT_EQ(last(), "parityLen|U16 Hardware::EpniIsidTable::parityLen() const" + tail);
    row.getField64(144);
    EXPECT_EQ(seen[0].text,
              "virtual U64 Hardware::EpniIsidTable::getField64(U32) const" + tail + " chipField: 144");
    last();
    row.setField64(144, 1); // its own is at level 0, which is off
    EXPECT_EQ(seen.size(), 1u);
    EXPECT_EQ(last(), "parityIs|void Hardware::EpniIsidTable::parityIs(U8)" + tail);
    row.getAllFields();
    EXPECT_EQ(last(), "getAllFields|U32 Hardware::EpniIsidTable::getAllFields() const" + tail);

    rows.levelIs(8, false);
    rows.levelIs(0, true);
    row.setField64(144, 1);
    ASSERT_EQ(seen.size(), 1u);
    EXPECT_EQ(seen[0].level, 0);
    EXPECT_EQ(seen[0].text, "virtual void Hardware::EpniIsidTable::setField64(U32, U64)" + tail);
    seen.clear();
    row.entries();
    EpniIsidTable::arrayElements(3, 0);
    EXPECT_TRUE(seen.empty());
}

TEST_F(Tracing, BlocksAreNamedByTheirShortType) {
    rows.enabledIs(true);
    rows.levelIs(8, true);
    OutAcBank(aradChip3, buffer, sizeof buffer, false, 0).eedbBankDataIs({});
    LifTable(aradChip3, buffer, sizeof buffer, false, 0).getAllFields();
    EXPECT_EQ(seen[0].text.find("void Hardware::OutAcBank::eedbBankDataIs(Raw128) chipType: "), 0u);
    EXPECT_EQ(seen[1].text.find("Raw128 Hardware::LifTable::getAllFields() const chipType: "), 0u);
}

TEST_F(Tracing, TheCoverageStreamMakesAPointComposeWithItsLevelOff) {
    std::ostringstream coverage;
    Kor::coverageStream_ = &coverage;
    Kor::U32 const start = rows.testCounter;
    row.parityIs(1);
    EXPECT_EQ(rows.testCounter - start, 1u);
    EXPECT_TRUE(seen.empty()); // the level is off, so the sink hears nothing
    EXPECT_NE(coverage.str().find("parityIs(U8) chipType: \\x03 variant: \\x01\n"), std::string::npos);
}

TEST_F(Tracing, AnEncoderShowsChipAndFamily) {
    Kor::TraceFacility& types = Kor::traceFacility("LoamTunnelTypes");
    LoamTunnel::AradLifAcMp lif(LoamTunnel::lifAcMp);
    Kor::U32 const start = types.testCounter;
    lif.writeToChipFormat(jerichoChip8, buffer);
    EXPECT_EQ(types.testCounter - start, 1u);
    types.enabledIs(true);
    types.levelIs(8, true);
    lif.writeToChipFormat(jerichoChip8, buffer);
    ASSERT_EQ(seen.size(), 1u);
    EXPECT_EQ(seen[0].text,
              "AradLifEntry::writeToChipFormat: chipType: jerichoChip8, fapType: fapTypeJericho");
    EXPECT_EQ(seen[0].function, "writeToChipFormat");
    EXPECT_EQ(seen[0].unit, "LoamTunnelTypes");
}

TEST_F(Tracing, ASinkThatThrowsIsCountedAndDoesNotReachTheCaller) {
    rows.enabledIs(true);
    rows.levelIs(8, true);
    Kor::traceSinkIs([](Kor::TraceRecord const&) { throw std::runtime_error("full"); });
    Kor::U64 const before = Kor::traceSinkFailures();
    row.parityIs(1);
    EXPECT_EQ(row.parity(), 1);
    EXPECT_EQ(Kor::traceSinkFailures() - before, 2u);
}

TEST(Facilities, AreOneForEachNameAlsoWhenTwoThreadsMakeThem) {
    constexpr std::size_t count = 200;
    auto make = [](std::vector<Kor::TraceFacility*>& made) {
        for (std::size_t i = 0; i < count; ++i) {
            made.push_back(&Kor::traceFacility("made by two " + std::to_string(i)));
        }
    };
    std::vector<Kor::TraceFacility*> here, there;
    std::thread other(make, std::ref(there));
    make(here);
    other.join();
    EXPECT_EQ(here, there);
    EXPECT_GE(Kor::traceFacilities().size(), count);
    EXPECT_TRUE(std::ranges::is_sorted(Kor::traceFacilities(), {}, &Kor::TraceFacility::name));
    Kor::TraceHandle const on("made enabled", true);
    EXPECT_TRUE(on.facility().enabled);
    EXPECT_TRUE(Kor::TraceHandle("made enabled", false).facility().enabled); // it keeps its switches
}

} // namespace
