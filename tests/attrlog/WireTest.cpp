/// The byte form of values and records, once for all value types; and what becomes of bytes that are none.

#include "attrlog/In.h"
#include "support/Values.h"

#include <algorithm>
#include <gtest/gtest.h>
#include <span>
#include <string>
#include <vector>

namespace {

using namespace Kor;
using namespace Kor::NboAttrLog;
using namespace Hardware;
using namespace Hardware::LoamTunnel;
using support::Random;
using support::randomValue;
using Bytes = std::vector<U8>;

Bytes drained(Out& out) {
    Bytes bytes;
    while (!out.readable().empty()) {
        auto const part = out.readable();
        bytes.insert(bytes.end(), part.begin(), part.end());
        out.nextBytes(part.size());
    }
    return bytes;
}

MsgHeader const plain{{3, 0}, 258, true};

/// The bytes of a record, or of its payload alone.
template <class... T>
Bytes record(MsgHeader const& header, T const&... values) {
    auto const out = makePtr<Out>();
    out->nextHeaderIs(header);
    out << TransactToken(1);
    ((out << values), ...);
    out << TransactToken(3);
    return drained(*out);
}
template <class... T>
Bytes payload(T const&... values) {
    Bytes const bytes = record(plain, values...);
    return {bytes.begin() + 6, bytes.end()};
}
Bytes framed(Bytes const& payload) {
    Bytes bytes = record(plain);
    bytes[1] = static_cast<U8>(bytes[1] + payload.size());
    bytes.insert(bytes.end(), payload.begin(), payload.end());
    return bytes;
}

/// What is read from a stream of these bytes.
template <class T>
T readBack(Bytes const& bytes) {
    auto const in = makePtr<In>();
    EXPECT_EQ(in->feed(bytes), bytes.size());
    MsgHeader header;
    if (!in->nextRecord(header)) {
        throwAttrLogRecordException("incomplete");
    }
    T const value = in->next<T>();
    in->recordEnd();
    return value;
}

/// What a reader raises for a payload, or "".
template <class T>
std::string refusal(Bytes const& payload) {
    try {
        (void)readBack<T>(framed(payload));
        return "";
    } catch (Exception const& exception) {
        EXPECT_TRUE(exception.hasId(Exception::Id::range) || exception.hasId(Exception::Id::attrLogRecord));
        return exception.what();
    }
}

/// All that travels: the values, and what they are made of.
template <class Visit>
void eachWireType(Visit const& visit) {
    support::eachValue(visit);
    [&]<class... T>(support::TypeList<T...>) {
        (visit.template operator()<T>(), ...);
    }(support::TypeList<bool, U16, U32, U64, LifType, Sideband::Fapmask, Lumen::IntfId, Lumen::IpAddr,
                        Fen::TunnelKey, Fen::FenNextHopId, Loam::EvecIndex, Loam::AradIvecIndex,
                        Loam::OutAcIndex, Loam::FapId, Loam::IntfTpid, Loam::IntfTpidIndex,
                        Bridging::VlanIdOrNone>{});
}

// Whatever number the classes' own constructors would refuse or mend is a value that travels all the same;
// for those the random values are what the constructor makes.
TEST(Wire, EveryTypeComesBack) {
    Random random;
    eachWireType([&]<class T>() {
        for (int round = 0; round < 100; ++round) {
            T const value = round == 0 ? T() : randomValue<T>(random);
            Bytes const bytes = record(plain, value);
            ASSERT_EQ(readBack<T>(bytes), value) << typeName<T>();
            if (NboAttrLog::detail::fixedSize<T>() != 0) {
                ASSERT_EQ(bytes.size(), 6 + NboAttrLog::detail::fixedSize<T>());
            }
        }
    });
}

TEST(Wire, EveryPrefixIsRefusedAndEveryChangedByteIsRefusedOrAValue) {
    Random random;
    eachWireType([&]<class T>() {
        Bytes const good = payload(randomValue<T>(random));
        for (std::size_t n = 0; n < good.size(); ++n) {
            ASSERT_EQ(refusal<T>({good.begin(), good.begin() + static_cast<std::ptrdiff_t>(n)}),
                      "record is shorter than its attribute")
                << typeName<T>();
        }
        Bytes longer = good;
        longer.push_back(0);
        ASSERT_EQ(refusal<T>(longer), "record is longer than its attribute");
        for (std::size_t i = 0; i < good.size(); ++i) {
            for (unsigned change = 1; change < 256; change += 1 + random.below(64)) {
                Bytes bad = good;
                bad[i] = static_cast<U8>(bad[i] ^ change);
                if (refusal<T>(bad).empty()) {
                    T const value = readBack<T>(framed(bad));
                    ASSERT_EQ(readBack<T>(record(plain, value)), value) << typeName<T>();
                }
            }
        }
    });
}

TEST(Wire, ReadersCheckWhatIsLaidDownAndNothingElse) {
    EvecKey const slot(Sideband::Fapmask::of({1}), Loam::EvecIndex(4));
    EXPECT_EQ(readBack<EvecEntry>(record(plain, slot, U32{3})).format().value(), 0x40003u);
    EXPECT_EQ(refusal<EvecEntry>(payload(slot, U32{0x7ffff})), "");
    EXPECT_EQ(refusal<EvecEntry>(payload(slot, U32{0x80000})),
              "EvecFormat::value < 0 or > 0x7ffff not allowed");
    Lumen::IntfId const intf(7);
    EXPECT_EQ(refusal<TcamSharingRequest>(payload(intf, U16{2048}, U16{4094})), "");
    EXPECT_EQ(refusal<TcamSharingRequest>(payload(intf, U16{2049}, U16{0})),
              "FapId::value < FapId::min or > FapId::null not allowed");
    EXPECT_EQ(refusal<TcamSharingRequest>(payload(intf, U16{0}, U16{4095})),
              "VlanIdOrNone::value > 4094 not allowed");
    EXPECT_EQ(refusal<AradLifEntry>(payload(U32{99}, U64{0}, U64{0})), "LifType");
    // Without a check, what the setters would refuse.
    EXPECT_EQ(readBack<EvecFormat>(record(plain, U32{0xffffffff})).value(), 0xffffffffu);
    EXPECT_EQ(readBack<EvecValue>(record(plain, ~U64{0})).word0(), ~U64{0});
    EXPECT_EQ(readBack<AradIhpIvectIndex>(record(plain, U16{999})).index(), 999);
    EXPECT_EQ(readBack<AradLifIndex>(record(plain, U32{1u << 20}, lifBankManaged)).index(), 1u << 20);
    EXPECT_EQ(readBack<TcamSharingPolicyId>(record(plain, ~U32{0})).value(), ~U32{0});
    EXPECT_EQ(refusal<bool>({2}), "");
}

TEST(Stream, UnsoundRecordsAreRefused) {
    auto const fault = [](Bytes const& bytes) {
        auto const in = makePtr<In>(StreamLimits{4096, 128, 16});
        in->feed(bytes);
        MsgHeader header;
        try {
            return std::string(in->nextRecord(header) ? "accepted" : "incomplete");
        } catch (AttrLogRecordException const& exception) {
            return std::string(exception.what());
        }
    };
    EXPECT_EQ(fault({}), "incomplete");
    EXPECT_EQ(fault({0}), "incomplete");
    EXPECT_EQ(fault({0, 3, 1, 3}), "incomplete");
    EXPECT_EQ(fault({0, 3, 1, 3, 4}), "accepted");
    Bytes longest(128, 0); // with its length
    std::ranges::copy(Bytes{0, 126, 1, 3, 4}, longest.begin());
    EXPECT_EQ(fault(longest), "accepted");
    EXPECT_EQ(fault({0, 127}), "record is longer than the limit");
    EXPECT_EQ(fault({0xff, 0xff, 1}), "record is longer than the limit");
    EXPECT_EQ(fault({0, 0}), "record is shorter than its attribute");
    EXPECT_EQ(fault({0, 2, 1, 3}), "record is shorter than its attribute");
    EXPECT_EQ(fault({0, 3, 9, 3, 4}), "record is of an unknown form");
    EXPECT_EQ(fault({0, 4, 1, 0x83, 0, 4}), "record has a number in an unsound form");
    EXPECT_EQ(fault({0, 7, 1, 3, 0x80, 0x80, 0x80, 0x80, 0x10}), "record has an attribute above 32 bits");
    EXPECT_EQ(fault({0, 7, 1, 3, 0x80, 0x80, 0x80, 0x80, 0x20}), "record has an attribute above 32 bits");
    EXPECT_EQ(fault({0, 12, 1, 0xff, 0xff, 0xff, 0xff, 0xff, 0xff, 0xff, 0xff, 0xff, 2, 4}),
              "record has a number in an unsound form"); // of 65 bits
    EXPECT_EQ(fault({0, 4, 3, 3, 4, 0}), "record has an unsound secondary attribute");
}

/// A ring of a few records, filled until it refuses and drained by bits: every record arrives once, whole and
/// in order, however the bytes are cut; and a record that is broken off or too long leaves nothing.
TEST(Stream, RecordsCrossTheEndOfTheRing) {
    Random random;
    StreamLimits const limits{512, 128, 16};
    auto const out = makePtr<Out>(limits);
    auto const in = makePtr<In>(limits);
    U32 written = 0;
    U32 read = 0;
    unsigned full = 0;
    while (read < 20000) {
        for (U32 n = random.below(8); n != 0; --n) {
            if (!out->hasSufficientBuffer()) {
                ++full;
                break;
            }
            out->nextHeaderIs({EntityId::ofNumber(U64{written} << random.below(20)), 258, true});
            if (random.below(8) == 0) {
                out << TransactToken(1) << U32{0xdead};
                continue;
            }
            if (random.below(8) == 0) {
                EXPECT_THROW(out << TransactToken(1) << String8(std::string(200, 'x')), RangeException);
                continue;
            }
            out << TransactToken(1) << written++ << String8(std::string(random.below(80), 'a'))
                << TransactToken(3);
        }
        std::span<U8 const> part = out->readable();
        part = part.first(random.below(static_cast<U32>(part.size()) + 1));
        out->nextBytes(in->feed(part));
        MsgHeader header;
        while (in->nextRecord(header)) {
            ASSERT_EQ(in->nextU32(), read++);
            ASSERT_EQ(in->nextString().view().find_first_not_of('a'), std::string_view::npos);
            in->recordEnd();
        }
    }
    EXPECT_GT(full, 0u);
    EXPECT_EQ(out->records(), written);
    EXPECT_EQ(in->bytes() + in->available() + out->pending(), out->bytes());
}

TEST(Stream, SectionsAreSteppedThrough) {
    auto const out = makePtr<Out>();
    out->nextHeaderIs({MsgHeader::announcing, newEntityAttribute, true});
    out << TransactToken(1);
    out->currentPayloadSectionIs(PayloadSection::types);
    out << TypeId("A") << TypeId("B");
    out->currentPayloadSectionIs(static_cast<PayloadSection>(9)); // of a newer peer
    out << U64{0};
    out->currentPayloadSectionIs(PayloadSection::entityId);
    out << EntityId{3, 0} << TransactToken(3);
    auto const in = makePtr<In>();
    Bytes const bytes = drained(*out);
    in->feed(bytes);
    MsgHeader header;
    ASSERT_TRUE(in->nextRecord(header));
    EXPECT_EQ(header, (MsgHeader{{1, 0}, 136, true}));
    PayloadSection section{};
    ASSERT_TRUE(in->nextSection(section));
    EXPECT_EQ(in->next<TypeId>().name(), "A");
    EXPECT_EQ(in->next<TypeId>().name(), "B");
    EXPECT_THROW(in->nextU16(), AttrLogRecordException);
    ASSERT_TRUE(in->nextSection(section));
    ASSERT_TRUE(in->nextSection(section));
    EXPECT_EQ(section, PayloadSection::entityId);
    EXPECT_EQ(in->nextEntityId(), (EntityId{3, 0}));
    EXPECT_FALSE(in->nextSection(section));
    EXPECT_FALSE(in->nextRecord(header));
    // One that says that it reaches past the end of its record.
    Bytes longer = record({MsgHeader::announcing, newEntityAttribute, true});
    longer[1] = static_cast<U8>(longer[1] + 4);
    longer.insert(longer.end(), {9, 0, 2, 0});
    in->feed(longer);
    ASSERT_TRUE(in->nextRecord(header));
    EXPECT_THROW(in->nextSection(section), AttrLogRecordException);
}

} // namespace
