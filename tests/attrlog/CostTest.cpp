/// What replication costs, counted: records, bytes, allocations. Times are for bench/LogBench.

#include "support/Link.h"

#include <cstdlib>
#include <gtest/gtest.h>
#include <memory>
#include <new>
#include <ostream>
#include <vector>

namespace {

std::size_t allocated = 0;

} // namespace

#ifndef __has_feature // g++ says it by a name
#define __has_feature(feature) 0
#endif
#if !defined(__SANITIZE_ADDRESS__) && !__has_feature(address_sanitizer)
// A sanitizer that checks allocations has operators of its own; nothing is counted there, and the tests below
// compare records and bytes alone. Not inlined: g++ takes what it sees then for a mismatch.
[[gnu::noinline]] void* operator new(std::size_t size) {
    ++allocated;
    if (void* const block = std::malloc(size)) {
        return block;
    }
    throw std::bad_alloc();
}
[[gnu::noinline]] void operator delete(void* block) noexcept {
    std::free(block);
}
[[gnu::noinline]] void operator delete(void* block, std::size_t) noexcept {
    std::free(block);
}
#endif

namespace {

using namespace Kor;
using namespace Kor::NboAttrLog;
using namespace Hardware;
using namespace Hardware::LoamTunnel;
using support::fill;
using support::lifEntry;
using support::Link;

struct Cost {
    U64 records = 0;
    U64 bytes = 0;
    std::size_t allocations = 0;

    friend bool operator==(Cost const&, Cost const&) = default;
    friend std::ostream& operator<<(std::ostream& stream, Cost const& cost) {
        return stream << cost.records << " records, " << cost.bytes << " bytes, " << cost.allocations
                      << " allocations";
    }
};

/// An entity with that many counts, and its copies at that many peers.
struct Fleet {
    Fleet(U32 counts, std::size_t peers) : links(peers) {
        fill(*config, counts);
        for (auto& each : links) {
            each = std::make_unique<Link>();
            copies.push_back(each->mountAtA(config));
        }
    }
    template <class Change>
    Cost costOf(Change const& change) {
        Cost const before = total();
        change();
        for (auto const& each : links) {
            each->quiet();
        }
        Cost const after = total();
        return {after.records - before.records, after.bytes - before.bytes,
                after.allocations - before.allocations};
    }
    Cost total() const {
        Cost sum{0, 0, allocated};
        for (auto const& each : links) {
            for (auto const& side : {each->a, each->b}) {
                sum.records += side->out()->records();
                sum.bytes += side->out()->bytes();
            }
        }
        return sum;
    }

    Ptr<LifAppConfig> config = lifAppConfigFactory(Loam::vtAppMpls);
    std::vector<std::unique_ptr<Link>> links;
    std::vector<Ptr<LifAppConfig>> copies;
};

TEST(Cost, AChangeCostsTheSameHoweverManyKeysThereAre) {
    Fleet few(12, 1), many(100'000, 1); // neither about to grow its tables
    for (auto const& change : {+[](LifAppConfig& config) { config.reqCountIs(lifEntry(5), 2); },
                               +[](LifAppConfig& config) { config.reqCountInc(lifEntry(5), 2); },
                               +[](LifAppConfig& config) { config.reqCountIs(lifEntry(1'000'000), 1); },
                               +[](LifAppConfig& config) { config.reqCountDel(lifEntry(1'000'000)); }}) {
        Cost const cost = few.costOf([&] { change(*few.config); });
        EXPECT_EQ(cost, many.costOf([&] { change(*many.config); }));
        EXPECT_EQ(cost.records, 1u);
        EXPECT_LE(cost.bytes, 32u);
        EXPECT_LE(cost.allocations, 2u); // a new key's members, here and there
    }
    EXPECT_EQ(few.costOf([&] { few.config->reqCountIs(lifEntry(5), 9); }).allocations, 0u);
}

TEST(Cost, EightPeersCostAtMostEightAndAHalfTimesOne) {
    auto const cost = [](std::size_t peers) {
        Fleet fleet(1000, peers);
        return fleet.costOf([&] {
            for (U32 i = 0; i < 3000; ++i) {
                fleet.config->reqCountIs(lifEntry(i % 2000), i);
                for (auto const& each : fleet.links) {
                    each->a->flow();
                    Link::carry(*each->a, *each->b);
                    each->b->receive();
                }
            }
        });
    };
    Cost const one = cost(1), eight = cost(8);
    EXPECT_EQ(eight.records, 8 * one.records);
    EXPECT_EQ(eight.bytes, 8 * one.bytes);
    EXPECT_LE(static_cast<double>(eight.allocations), 8.5 * static_cast<double>(one.allocations));
}

TEST(Cost, APeerThatNeverReadsCostsItsRingAndOneMarkAChangedKey) {
    constexpr U32 keys = 1000;
    Fleet fleet(keys, 1);
    Link& link = *fleet.links[0];
    std::size_t const before = allocated;
    U32 count = 2;
    while (link.a->out()->hasSufficientBuffer()) {
        fleet.config->reqCountIs(lifEntry(count % keys), count);
        ++count;
    }
    EXPECT_EQ(allocated, before);
    U64 const pending = link.a->out()->pending();
    for (U32 i = 0; i < keys; ++i, ++count) {
        fleet.config->reqCountIs(lifEntry(count % keys), count);
    }
    // A mark each, the flow-out, and its table as it grows.
    EXPECT_LE(allocated - before, keys + 20);
    std::size_t const marked = allocated;
    U32 const changes = std::getenv("LOAM_LONG") != nullptr ? 10'000'000 : 300'000;
    for (U32 i = 0; i < changes; ++i, ++count) {
        fleet.config->reqCountIs(lifEntry(count % keys), count);
    }
    EXPECT_EQ(allocated, marked);
    EXPECT_EQ(link.a->out()->pending(), pending);
    Stats const stats = link.a->stats();
    EXPECT_EQ(stats.dirtyKeys, keys);
    EXPECT_EQ(stats.dirtyKeysHighWater, keys);
    EXPECT_EQ(stats.coalescedChanges, changes);
    EXPECT_EQ(stats.streamFull, 1u);
    U64 const passes = link.b->stats().passesIn;
    link.quiet();
    EXPECT_EQ(link.a->stats().recordsOut, stats.recordsOut + keys);
    EXPECT_EQ(link.b->stats().passesIn, passes);
    EXPECT_TRUE(support::sameState(*fleet.config, *fleet.copies[0]));
}

// The bound is one of all entities of the connection; the last mark that it allows is borne with.
TEST(Cost, APeerThatNeverReadsIsLetGoAtTheLimitOfMarksAndGetsAllWhenItIsBack) {
    auto const config = lifAppConfigFactory(Loam::vtAppMpls);
    for (bool const isTooMuch : {false, true}) {
        Link link({4096, 512, 1000, /*marks=*/100});
        auto const copy = link.mountAtA(config);
        ASSERT_TRUE(copy);
        for (U32 i = 0; link.a->stats().dirtyKeys < 100; ++i) {
            config->reqCountIs(lifEntry(i), config->reqCount(lifEntry(i)) + 1);
        }
        link.a->flow();
        EXPECT_TRUE(link.a->isOpen());
        if (isTooMuch) {
            config->reqCountIs(lifEntry(10'000), 1);
            link.a->flow();
            EXPECT_FALSE(link.a->isOpen());
            EXPECT_STREQ(link.a->closeReason().charPtr(),
                         "the peer does not read: more than 100 changes wait for it");
            continue;
        }
        link.quiet();
        EXPECT_TRUE(support::sameState(*config, *copy));
    }
    Link again({4096, 512, 1000, 100});
    auto const copy = again.mountAtA(config);
    EXPECT_TRUE(support::sameState(*config, *copy));
}

} // namespace
