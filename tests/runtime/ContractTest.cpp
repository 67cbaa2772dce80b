#include "runtime/Contract.h"

#include "runtime/BreachGuard.h"
#include "runtime/Exception.h"

#include <gtest/gtest.h>

namespace {

TEST(Contract, ABreachNamesTheOperationAndStopsOnlyACheckedBuild) {
    auto breach = [] { return Kor::Breach{"Table::fieldIs", "value 9 is above 7"}; };
    Kor::require(true, breach);
    if constexpr (Kor::contractChecks) {
        EXPECT_DEATH(Kor::require(false, breach), "Table::fieldIs: value 9 is above 7");
        {
            Kor::BreachGuard const guard;
            { Kor::BreachGuard const inner; }
            EXPECT_THROW(Kor::require(false, breach), Kor::InternalException);
        }
        EXPECT_DEATH(Kor::require(false, breach), "Table::fieldIs: value 9 is above 7");
    } else {
        Kor::require(false, breach);
    }
}

} // namespace
