#include "runtime/Exception.h"
#include "runtime/Ptr.h"
#include "runtime/PtrTrack.h"
#include "runtime/String8.h"

#include <functional>
#include <gtest/gtest.h>
#include <sstream>
#include <thread>
#include <unordered_map>

namespace {

using namespace Kor;

/// Tells of its end, and does at its end what it is told.
class Probe : public PtrInterface {
public:
    explicit Probe(int* ended = nullptr) : ended_(ended) {}
    ~Probe() override {
        if (atDestruction) {
            atDestruction(*this);
        }
        if (ended_) {
            ++*ended_;
        }
    }
    void zeroReferencesIs(bool) override {
        if (atZero) {
            atZero(*this);
        }
    }

    std::function<void(Probe&)> atZero;
    std::function<void(Probe&)> atDestruction;
    Ptr<Probe> next;

private:
    int* ended_;
};

class Refusing : public Probe {
public:
    explicit Refusing(int* ended) : Probe(ended) { throwRangeException("no"); }
};

TEST(Object, IsMadeWithOneReferenceAndEndsWithTheLast) {
    int ended = 0;
    auto probe = makeObject<Probe>(&ended);
    EXPECT_EQ(probe->references(), 1u);
    {
        Ptr<Probe const> reader = probe;
        Ptr<PtrInterface> base = probe;
        ValidPtr<Probe> valid = probe;
        EXPECT_EQ(probe->references(), 4u);
        probe = probe.ptr(); // the same object
        EXPECT_EQ(probe->references(), 4u);
        Ptr<Probe> moved = std::move(probe);
        EXPECT_EQ(moved->references(), 4u);
        EXPECT_FALSE(probe);
        probe = moved;
    }
    EXPECT_EQ(ended, 0);
    probe = nullptr;
    EXPECT_EQ(ended, 1);
    EXPECT_THROW(makeObject<Refusing>(&ended), RangeException);
    EXPECT_EQ(ended, 2); // the part that was built is unwound
}

TEST(Object, AssignmentAddsTheNewReferenceFirstAndDropsTheOldLast) {
    int ended = 0;
    Ptr<Probe> head = makeObject<Probe>(&ended);
    head->next = makeObject<Probe>(&ended);
    head->atDestruction = [&](Probe&) { EXPECT_TRUE(head); };
    head = head->next; // replaces the object that holds the source
    EXPECT_EQ(ended, 1);
    EXPECT_EQ(head->references(), 1u);
    Ptr<Probe> tail = makeObject<Probe>(&ended);
    head->next = std::move(tail);
    head = std::move(head->next);
    EXPECT_EQ(ended, 2);
    EXPECT_EQ(head->references(), 1u);
}

TEST(Object, TheHookAtZeroMayKeepItAndTheDestructorMayTouchIt) {
    int ended = 0;
    Ptr<Probe> saved;
    auto probe = makeObject<Probe>(&ended);
    probe->atZero = [&](Probe& self) { saved = &self; };
    probe = nullptr;
    EXPECT_EQ(ended, 0);
    EXPECT_EQ(saved->references(), 1u);
    int atZero = 0;
    saved->atZero = [&](Probe& self) {
        ++atZero;
        Ptr<Probe> passing = &self;
    };
    saved->atDestruction = [](Probe& self) { Ptr<Probe> passing = &self; };
    saved = nullptr;
    EXPECT_EQ(ended, 1);
    EXPECT_EQ(atZero, 1);
}

TEST(Object, FlagsSurviveTheCountAndDontEnterTheTests) {
    auto probe = makeObject<Probe>();
    probe->hasNotificationActiveIs(true);
    probe->korMarkedForDeletionIs(true);
    EXPECT_TRUE(probe->hasSoleHolder());
    {
        Ptr<Probe> second = probe;
        EXPECT_FALSE(probe->hasSoleHolder());
    }
    EXPECT_TRUE(probe->hasNotificationActive());
    EXPECT_TRUE(probe->korMarkedForDeletion());
    probe->hasNotificationActiveIs(false);
    EXPECT_FALSE(probe->hasNotificationActive());
    EXPECT_TRUE(probe->korMarkedForDeletion());
    EXPECT_EQ(probe->references(), 1u);
    for (U32 const flags : {0u, 1u << 29, 1u << 31}) {
        EXPECT_TRUE(VFPtrInterface::isZero(flags));
        EXPECT_TRUE(VFPtrInterface::isSoleHolder(flags | 1));
    }
    EXPECT_FALSE(VFPtrInterface::isZero(1u << 30));
    EXPECT_EQ(probe->auditErrors(0x80000000u), 0u);
}

TEST(Object, ANullValidPtrIsRefused) {
    try {
        ValidPtr<Probe> valid = Ptr<Probe>();
        FAIL();
    } catch (RangeException const& exception) {
        EXPECT_STREQ(exception.what(), "null ValidPtr");
        EXPECT_TRUE(exception.ids().has(12));
    }
}

TEST(Object, CountsOfTwoThreadsAddUpWithTheSwitchOn) {
    VFPtrInterface::enableThreadSafePointers = 1;
    int ended = 0;
    auto probe = makeObject<Probe>(&ended);
    String8 const text = String8("shared") + " bytes";
    auto work = [&] {
        for (int i = 0; i < 20000; ++i) {
            Ptr<Probe> copy = probe;
            Ptr<Probe> other = copy;
            String8 copied = text;
            ASSERT_EQ(copied.length(), 12u);
        }
    };
    std::thread first(work);
    std::thread second(work);
    first.join();
    second.join();
    EXPECT_EQ(probe->references(), 1u);
    probe = nullptr;
    EXPECT_EQ(ended, 1);
    VFPtrInterface::enableThreadSafePointers = 0;
}

TEST(Object, TrackingKnowsWhoIsAlive) {
    std::size_t const before = PtrTrack::live();
    PtrTrack::trackingIs(true);
    auto first = makeObject<Probe>();
    auto second = makeObject<Probe>();
    Ptr<Probe> again = second;
    auto immortal = makeObject<Probe>();
    immortal->referencesLeak();
    EXPECT_EQ(PtrTrack::live(), before + 2);
    std::ostringstream report;
    PtrTrack::report(report);
    EXPECT_NE(report.str().find("alive: 2 (anonymous namespace)::Probe, 3 references\n"), std::string::npos);
    first = second = again = nullptr;
    EXPECT_EQ(PtrTrack::live(), before);
    PtrTrack::trackingIs(false);
    immortal->referencesDec(); // the leaked one, so that the test itself leaks nothing
}

TEST(ObjectDeathTest, WhatIsAliveAtExitIsReported) {
    EXPECT_EXIT(
        {
            PtrTrack::trackingIs(true);
            makeObject<Probe>().ptr()->referencesInc();
            auto* const lost = new Probe;
            static_cast<void>(lost);
            std::exit(0);
        },
        testing::ExitedWithCode(0), "alive: [0-9]+ \\(anonymous namespace\\)::Probe");
}

TEST(String8, IsSharedImmutableAndComparesByBytes) {
    String8 const none;
    String8 const null(static_cast<char const*>(nullptr));
    EXPECT_EQ(none, null);
    EXPECT_EQ(none, static_cast<char const*>(nullptr));
    EXPECT_EQ(none, "");
    EXPECT_STREQ(null.charPtr(), "");
    String8 text = "lif";
    String8 const copy = text;
    EXPECT_EQ(copy.charPtr(), text.charPtr());
    text += "/app";
    EXPECT_EQ(copy, "lif");
    EXPECT_EQ(text, "lif/app");
    EXPECT_EQ("a" + copy + "b", String8("alifb"));
    EXPECT_LT(String8("ab"), String8("b"));
    EXPECT_LT(String8("a"), String8("a\1"));
    String8 const bytes(std::string_view("a\0b", 3));
    EXPECT_EQ(bytes.length(), 3u);
    EXPECT_NE(bytes, String8("a"));
    EXPECT_NE(bytes.hash(), String8("a").hash());
    EXPECT_EQ(format("%s-%04d", "x", 42), "x-0042");
    EXPECT_EQ(format("%s", std::string(500, 'y').c_str()).length(), 500u);
    String8 moved = std::move(text);
    EXPECT_EQ(text, ""); // NOLINT(bugprone-use-after-move): a moved-from string reads as empty
    std::ostringstream stream;
    stream << bytes << Name("n");
    EXPECT_EQ(stream.str(), std::string("a\0bn", 4));
}

TEST(String8, TheCursorKeepsItsTextAndStopsAtItsEnd) {
    auto make = [] { return (String8("ab") + "c").begin(); };
    String8::IteratorConst cursor = make();
    std::string seen;
    for (; cursor != cursor.text().end(); ++cursor) {
        seen += *cursor;
    }
    EXPECT_EQ(seen, "abc");
    EXPECT_EQ(*cursor, '\0');
    EXPECT_EQ(cursor.at(-1), 'c');
    EXPECT_EQ(cursor.at(-9), '\0');
    EXPECT_EQ(cursor.position(), 3);
}

TEST(Exception, CarriesWordsIdsAndDetail) {
    int ended = 0;
    {
        RangeException const refused("too large", Exception::IdBitArray().add(3));
        auto detail = makeObject<Probe>(&ended);
        AttrLogEntityException wrong("Entity is the wrong type");
        wrong.detailIs(detail.ptr());
        AttrLogEntityException const copy = wrong;
        EXPECT_EQ(detail->references(), 3u);
        EXPECT_EQ(copy.message(), "Entity is the wrong type");
        EXPECT_TRUE(copy.ids().has(42) && !copy.ids().has(12));
        EXPECT_TRUE(refused.ids().has(12) && refused.ids().has(3));
        EXPECT_TRUE(refused.isForeseen());
    }
    EXPECT_EQ(ended, 1);
    try {
        throwInternalException("broken");
    } catch (std::exception const& exception) {
        EXPECT_STREQ(exception.what(), "broken");
    }
    EXPECT_THROW(throwRangeException(String8("x")), Exception);
    EXPECT_FALSE(Expect::isExpected(12));
    {
        Expect const outer(12);
        Expect const inner(48);
        EXPECT_TRUE(Expect::isExpected(12) && Expect::isExpected(48) && !Expect::isExpected(42));
        Expect const any(0);
        EXPECT_TRUE(Expect::isExpected(42));
    }
    EXPECT_FALSE(Expect::isExpected(48));
}

} // namespace
