#include "forms/Diagnostics.h"

#include "runtime/Trace.h"
#include "support/Sessions.h"

#include <gtest/gtest.h>
#include <ostream>
#include <set>
#include <string>

namespace {

using Kor::Forms::diagnosticsAre;
using support::Sessions;

/// What `a` is told when it asks `b`.
class Diagnostics : public testing::Test {
protected:
    Diagnostics() : old_(Kor::traceSinkIs([](Kor::TraceRecord const&) {})) {}
    ~Diagnostics() override {
        Kor::traceHistoryIs(0);
        Kor::traceSinkIs(old_);
    }
    /// With "failed: " before an error.
    std::string ask(char const* verb, std::string const& argument) {
        std::string answer = "none";
        two_.a->call(Kor::Name(verb), Kor::String8(argument), [&](bool ok, Kor::String8 const& text) {
            answer = (ok ? "" : "failed: ") + std::string(text.view());
        });
        two_.quiet();
        return answer;
    }
    Kor::NboAttrLog::Service& service() { return *two_.offeredByB; }

private:
    Kor::TraceSink old_;
    Sessions two_;
};

bool has(std::string const& text, std::string const& part) {
    return text.find(part) != text.npos;
}

TEST_F(Diagnostics, LevelsAreSetAsAWholeOrNotAtAll) {
    diagnosticsAre(service(), {.setsTrace = true});
    std::string const state = ask("trace", "DiagnosticsTest on +8 +2");
    EXPECT_TRUE(has(state, R"({"facility":"DiagnosticsTest","enabled":true,"levels":[2,8],"passed":0})"))
        << state;
    for (char const* const wrong :
         {"DiagnosticsTest -8 +10", "DiagnosticsTest off +a", "DiagnosticsTest off 8",
          "DiagnosticsTest off on+", "DiagnosticsTest off +", "No.Such on", "\x01 on"}) {
        EXPECT_TRUE(ask("trace", wrong).starts_with("failed: ")) << wrong;
        EXPECT_EQ(ask("trace", ""), state) << wrong;
    }
    EXPECT_TRUE(has(ask("trace", "No.Such on"), "there is no facility No.Such; there are "));
    EXPECT_TRUE(has(ask("trace", " DiagnosticsTest  -8 off "), R"("enabled":false,"levels":[2])"));

    diagnosticsAre(service(), {.setsTrace = false});
    EXPECT_TRUE(has(ask("trace", "DiagnosticsTest on"), "read-only"));
    EXPECT_TRUE(has(ask("schema", "No::Such"), "failed: there is no type No::Such"));
    EXPECT_TRUE(has(ask("stats", ""), R"({"peers":[{"peer":"a","entities":)")) << ask("stats", "");
}

TEST_F(Diagnostics, FacilitiesThatPeersNameAreBounded) {
    diagnosticsAre(service(), {.setsTrace = true});
    int made = 0;
    while (made < 1000 && !ask("trace", "Made" + std::to_string(made) + " +1").starts_with("failed: ")) {
        ++made;
    }
    EXPECT_LE(made, 256);
    EXPECT_FALSE(ask("trace", "").starts_with("failed: ")) << "all of them fit an answer";
}

TEST_F(Diagnostics, AllRecordsCanBeReadPieceByPiece) {
    diagnosticsAre(service(), {.setsTrace = false, .traceRecords = 700});
    Kor::TraceFacility& facility = Kor::traceFacility("DiagnosticsTest");
    facility.enabledIs(true);
    facility.levelIs(5, true);
    for (int i = 0; i < 600; ++i) {
        Kor::trace(facility, 5, {"unit", 1, "f"}, [&](std::ostream& out) {
            out << '~' << i << '~'
                << std::string(i % 3 == 0 ? 4000 : 3, '\xff'); // each such byte takes three
        });
    }
    std::multiset<int> seen;
    Kor::U64 last = 0;
    for (int round = 0; round < 600 && seen.size() < 600; ++round) {
        std::string const answer = ask("traceRecords", std::to_string(last));
        ASSERT_TRUE(answer.starts_with(R"({"last":)")) << answer.substr(0, 100);
        Kor::U64 const next = std::stoull(answer.substr(8));
        ASSERT_GT(next, last) << seen.size() << " of 600 seen";
        last = next;
        for (auto at = answer.find('~'); at != answer.npos;
             at = answer.find('~', answer.find('~', at + 1) + 1)) {
            seen.insert(std::stoi(answer.substr(at + 1)));
        }
    }
    for (int i = 0; i < 600; ++i) {
        EXPECT_EQ(seen.count(i), 1u) << i;
    }
    EXPECT_TRUE(has(ask("traceRecords", std::to_string(last)), R"("records":[])"));
    for (char const* const wrong : {"", "x", "1x", "-1", "99999999999999999999"}) {
        EXPECT_TRUE(ask("traceRecords", wrong).starts_with("failed: ")) << wrong;
    }
}

} // namespace
