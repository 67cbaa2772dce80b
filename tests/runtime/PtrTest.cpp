#include "runtime/Ptr.h"

#include "runtime/Exception.h"
#include "tests/runtime/Probe.h"

#include <cstdlib>
#include <gtest/gtest.h>
#include <new>
#include <thread>
#include <type_traits>

using namespace Kor;

// Memory that can be made to run out.
static bool memory = true;
void* operator new(std::size_t size, std::nothrow_t const&) noexcept {
    return memory ? std::malloc(size) : nullptr;
}
void* operator new(std::size_t size) {
    if (void* const block = ::operator new(size, std::nothrow)) {
        return block;
    }
    throw std::bad_alloc();
}
void operator delete(void* block) noexcept {
    std::free(block);
}
void operator delete(void* block, std::size_t) noexcept {
    std::free(block);
}

namespace {

static_assert(!std::is_convertible_v<Ptr<Probe const>, Ptr<Probe>>);
static_assert(!std::is_convertible_v<Ptr<PtrInterface>, Ptr<Probe>>);
static_assert(!std::is_constructible_v<ValidPtr<Probe>, std::nullptr_t>);
static_assert(sizeof(Ptr<Probe>) == sizeof(void*));
static_assert(sizeof(VFPtrInterface) == 4);

struct Word : VFPtrInterface {
    using VFPtrInterface::flagIs;
    using VFPtrInterface::wordDec;
};

TEST(Ptr, TheFlagsOfTheReferenceWordTakePartInTheTestsAsLaidDown) {
    for (bool atomic : {false, true}) {
        VFPtrInterface::enableThreadSafePointers = atomic;
        for (int bit : {29, 30, 31}) {
            Word word;
            word.flagIs(U32{1} << bit, true);
            EXPECT_TRUE(word.hasSoleHolder()) << bit;
            word.referencesInc();
            EXPECT_FALSE(word.hasSoleHolder());
            EXPECT_EQ(word.references(), 2u);
            word.wordDec();
            word.wordDec();
            EXPECT_EQ(word.isUnreferenced(), bit != 30) << bit;
            word.flagIs(U32{1} << bit, false);
            EXPECT_TRUE(word.isUnreferenced());
        }
    }
    VFPtrInterface::enableThreadSafePointers = 0;
}

TEST(Ptr, CountsEveryHolderAndEndsTheObjectWithTheLast) {
    {
        auto* raw = new Probe(1);
        EXPECT_EQ(raw->references(), 1u);
        auto ptr = Ptr<Probe>::adopt(raw);
        Ptr<Probe const> view = ptr;
        Ptr<PtrInterface> base = ptr;
        EXPECT_EQ(raw->references(), 3u);
        ptr.ptrAssign(raw);
        ptr = *&ptr;
        ptr = ptr.ptr();
        EXPECT_EQ(raw->references(), 3u);
        Ptr<PtrInterface> moved = std::move(ptr);
        EXPECT_EQ(raw->references(), 3u);
        EXPECT_EQ(ptrCast<Probe>(base), raw);
        EXPECT_THROW((void)makePtr<Probe>(-1), std::invalid_argument);
        EXPECT_FALSE(ptrCast<Probe>(Ptr<PtrInterface>()));
        Probe copy(*raw);
        EXPECT_EQ(copy.references(), 1u);
        ++Probe::alive; // the copy constructor does not count
        view = makePtr<Probe>(2);
        EXPECT_EQ(raw->references(), 2u);
        EXPECT_EQ(Probe::alive, 3);
    }
    EXPECT_EQ(Probe::alive, 0);
}

TEST(Ptr, AssigningFromInsideTheReplacedObjectIsSafe) {
    auto head = makePtr<Probe>(1);
    head->other = makePtr<Probe>(2);
    head->other->other = makePtr<Probe>(3);
    Ptr<Probe> const& inside = head->other;
    head = inside;
    EXPECT_EQ(head->value, 2);
    head = std::move(head->other);
    EXPECT_EQ(head->value, 3);
    EXPECT_EQ(Probe::alive, 1);
    head->other = head; // a cycle stays alive
    Probe* cycle = head.ptr();
    head = nullptr;
    EXPECT_EQ(Probe::alive, 1);
    cycle->other = nullptr;
    EXPECT_EQ(Probe::alive, 0);
}

TEST(Ptr, TheZeroHookCanSaveTheObjectAndReferencesMayComeAndGoWhileItEnds) {
    Ptr<Probe> saved;
    auto ptr = makePtr<Probe>(1);
    ptr->onZero = [&](Probe& probe) { saved = &probe; };
    int ends = 0;
    ptr->onEnd = [&](Probe& probe) {
        ++ends;
        Ptr<Probe> brief(&probe);
    };
    ptr = nullptr;
    ASSERT_EQ(Probe::alive, 1);
    EXPECT_EQ(saved->references(), 1u);
    EXPECT_EQ(saved->zeroHooks, 1);
    saved->onZero = [](Probe& probe) { Ptr<Probe> brief(&probe); };
    saved = nullptr;
    EXPECT_EQ(Probe::alive, 0);
    EXPECT_EQ(ends, 1);
}

TEST(ValidPtr, RefusesNullAndTurnsBackIntoAPtr) {
    try {
        ValidPtr<Probe> const none{Ptr<Probe>()};
        ADD_FAILURE();
    } catch (RangeException const& error) {
        EXPECT_STREQ(error.what(), "null ValidPtr");
    }
    ValidPtr<Probe> valid = makePtr<Probe>(4);
    ValidPtr<Probe const> view = valid;
    Ptr<Probe> ptr = valid;
    Ptr<PtrInterface> base = valid;
    EXPECT_EQ(valid->references(), 4u);
    EXPECT_EQ(base, view.ptr());
}

// Run under the thread sanitizer as well.
TEST(Ptr, TwoThreadsMayShareAnObjectOnceCountsAreAtomic) {
    VFPtrInterface::enableThreadSafePointers = 1;
    auto shared = makePtr<Probe>(5);
    auto work = [&shared] {
        for (int i = 0; i < 100'000; ++i) {
            Ptr<Probe const> one = shared;
            Ptr<PtrInterface const> two = one;
            one = nullptr;
        }
    };
    std::thread first(work), second(work);
    first.join();
    second.join();
    EXPECT_EQ(shared->references(), 1u);

    // The last reference may be dropped by any thread.
    std::thread dropper([last = std::move(shared)]() mutable { last = nullptr; });
    dropper.join();
    EXPECT_EQ(Probe::alive, 0);
    VFPtrInterface::enableThreadSafePointers = 0;
}

TEST(PtrTrack, ReportsAtExitWhatIsStillAlive) {
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    auto leave = [](bool leak) {
        ptrifTrackOn_ = 1;
        auto const gone = makePtr<Probe>(1);
        auto immortal = makePtr<Probe>(2);
        immortal->referencesLeak();
        [[maybe_unused]] static Probe const* volatile reachable[2]; // for the leak sanitizer
        reachable[0] = immortal.ptr();
        immortal = nullptr;
        EXPECT_THROW((void)makePtr<Probe>(-1), std::invalid_argument);
        if (PtrTrack::liveObjects() != 1) {
            std::exit(1);
        }
        if (leak) {
            memory = false;
            Probe const unknown(4);
            memory = true;
            reachable[1] = makePtr<Probe>(3).release();
        }
    };
    EXPECT_EXIT((leave(true), std::exit(0)), testing::ExitedWithCode(0),
                "1 counted object still alive\n.*Probe, references 1\n.* 1 not tracked for want of memory");
    EXPECT_EXIT((leave(false), std::exit(0)), testing::ExitedWithCode(0), "^$");
}

TEST(PtrInterface, TheAuditIsSkippedWhenTheTopBitOfTheLevelIsSet) {
    struct Faulty : PtrInterface {
        U32 korAuditErrors(U32 level) const override { return level + 1; }
    };
    auto faulty = makePtr<Faulty>();
    EXPECT_EQ(faulty->auditErrors(2), 3u);
    EXPECT_EQ(faulty->auditErrors(0x80000002), 0u);
}

} // namespace
