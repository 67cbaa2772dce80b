#include "runtime/Trace.h"

#include <gtest/gtest.h>
#include <ostream>
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

namespace {

using Kor::U64;

/// A facility of its own, whose records go nowhere else.
class TraceHistory : public testing::Test {
protected:
    TraceHistory() : old_(Kor::traceSinkIs([](Kor::TraceRecord const&) {})) {
        facility_.enabledIs(true);
        facility_.levelIs(3, true);
    }
    ~TraceHistory() override {
        Kor::traceHistoryIs(0);
        Kor::traceSinkIs(old_);
    }
    void pass(std::string const& text, int level = 3) {
        Kor::trace(facility_, level, {"unit.cpp", 7, "pass"}, [&](std::ostream& out) { out << text; });
    }
    static std::vector<std::string> texts(U64 after = 0, std::size_t most = 1000) {
        std::vector<std::string> all;
        for (Kor::TraceEntry const& each : Kor::traceHistory(after, most)) {
            all.push_back(each.text);
        }
        return all;
    }
    static U64 lastNumber() {
        auto const all = Kor::traceHistory();
        return all.empty() ? 0 : all.back().number;
    }
    using Texts = std::vector<std::string>;

private:
    Kor::TraceFacility& facility_ = Kor::traceFacility("TraceHistoryTest");
    Kor::TraceSink old_;
};

TEST_F(TraceHistory, KeepsTheLastRecordsThatWereOn) {
    pass("before it is wanted");
    Kor::traceHistoryIs(3);
    EXPECT_EQ(texts(), Texts{});
    pass("a");
    pass("of a level that is off", 4);
    pass("b");
    U64 const b = lastNumber();
    EXPECT_EQ(texts(), (Texts{"a", "b"}));
    pass("c");
    pass("d");
    EXPECT_EQ(texts(), (Texts{"b", "c", "d"}));
    EXPECT_EQ(texts(b), (Texts{"c", "d"}));
    EXPECT_EQ(texts(b, 1), (Texts{"c"}));
    EXPECT_EQ(texts(b - 2), (Texts{"b", "c", "d"})) << "what is gone is left out";
    EXPECT_EQ(texts(b + 2), Texts{});
    EXPECT_EQ(texts(~U64{0}), Texts{});
    EXPECT_EQ(Kor::traceHistory(b).front().number, b + 1) << "numbers tell of gaps";
    Kor::traceHistoryIs(1);
    EXPECT_EQ(texts(), (Texts{"d"}));
    EXPECT_EQ(Kor::traceHistory()[0].unit, "unit.cpp");
    EXPECT_EQ(Kor::traceHistory()[0].line, 7);
}

TEST_F(TraceHistory, NeitherAFailingSinkNorALongTextHarmsIt) {
    Kor::traceHistoryIs(10);
    Kor::TraceSink const quiet =
        Kor::traceSinkIs([](Kor::TraceRecord const&) { throw std::runtime_error("full"); });
    pass(std::string(100'000, 'x'));
    Kor::traceSinkIs(quiet);
    ASSERT_EQ(texts().size(), 1u);
    EXPECT_EQ(texts()[0].size(), Kor::TraceEntry::longest);
}

TEST_F(TraceHistory, CanBeReadBesideThreadsThatTrace) {
    Kor::traceHistoryIs(100);
    std::thread writer([&] {
        for (int i = 0; i < 2'000; ++i) {
            pass(std::to_string(i));
        }
    });
    U64 last = 0;
    for (int i = 0; i < 200; ++i) {
        for (auto const& each : Kor::traceHistory(last)) {
            EXPECT_GT(each.number, last);
            last = each.number;
        }
    }
    writer.join();
    EXPECT_EQ(texts().back(), "1999");
}

} // namespace
