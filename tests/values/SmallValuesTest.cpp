#include "platform/Fen/SmData.h"
#include "support/Random.h"
#include "support/Refusal.h"
#include "values/LoamTunnelTypes.h"

#include <gtest/gtest.h>

namespace {

using namespace Hardware;
using namespace Hardware::LoamTunnel;
using Lumen::IntfId;
using Lumen::IpAddr;
using support::refusal;

TEST(LifIndex, NullIsThePairOfTheLargestIndexAndNoBank) {
    EXPECT_TRUE(!AradLifIndex());
    EXPECT_EQ(AradLifIndex(), AradLifIndex(131072, lifBankMax));
    EXPECT_FALSE(!AradLifIndex(131072, lifBankManaged));
    EXPECT_EQ(refusal([] { AradLifIndex(131073, lifBankManaged); }),
              "AradLifIndex::index < 0 or > AradLifIndex::null not allowed");
    EXPECT_LT(AradLifIndex(1, lifBankMax), AradLifIndex(2, lifBankManaged));
    EXPECT_LT(AradLifIndex(1, lifBankManaged), AradLifIndex(1, lifBankMax));
    for (unsigned const number : {0u, 3u, 5u}) {
        EXPECT_EQ(refusal([&] { AradLifBankInstance(number); }), "AradLifBank");
    }
    EXPECT_EQ(AradLifBankInstance(4), lifBankMax);
}

TEST(TcamSharing, TwoReadingsOfTheSameBits) {
    TcamSharingPolicyId policy;
    EXPECT_EQ(policy.value(), TcamSharingPolicyId::null);
    policy.qosPolicyIs(32);
    EXPECT_EQ(policy.value(), 0u);
    policy.haloAclLabelIs(127);
    EXPECT_EQ(policy.value(), 0x7fu << 17);
    EXPECT_EQ(policy.ipv6EgressPolicy(), 127);
    policy.ipv6EgressPolicyIs(1023);
    EXPECT_EQ(policy.haloAclLabel(), 127);
    EXPECT_EQ(policy.value(), 0x3ffu << 17);
}

TEST(TcamSharing, HashesNestAndTheVlanStaysOut) {
    IntfId const intf = IntfId::ofName("Ethernet3/1");
    TcamSharingRequest const request(intf, Loam::FapId(2), Bridging::VlanIdOrNone(100));
    TcamSharingRequest const other(intf, Loam::FapId(2), Bridging::VlanIdOrNone(101));
    EXPECT_LT(request, other);
    EXPECT_EQ(request.hash(), other.hash());
    EXPECT_EQ(request.hash(), Kor::OneAtATime().add(intf.hash()).add(U16{2}).finish());
    TcamSharingEntry const entry(request, TcamSharingPolicyId(9));
    EXPECT_EQ(entry.hash(), Kor::OneAtATime().add(request.hash()).add(9u).finish());
    TcamSharingPendingRequest const in(entry, true);
    EXPECT_EQ(in.hash(), Kor::OneAtATime().add(entry.hash()).add(U8{1}).finish());
}

TEST(Platform, NumbersOutOfRangeAreRefused) {
    EXPECT_EQ(refusal([] { Loam::FapId(2048); }), "accepted");
    EXPECT_EQ(refusal([] { Loam::FapId(2049); }), "FapId::value < FapId::min or > FapId::null not allowed");
    EXPECT_EQ(refusal([] { Bridging::VlanIdOrNone(4094); }), "accepted");
    EXPECT_EQ(refusal([] { Bridging::VlanIdOrNone(4095); }), "VlanIdOrNone::value > 4094 not allowed");
    EXPECT_EQ(refusal([] { Fen::TunnelTypeInstance(99); }), "TunnelType");
    EXPECT_EQ(refusal([] { FenTypes::TableAddStatusInstance(99); }), "TableAddStatus");
    EXPECT_EQ(refusal([] { Loam::VtAppIdInstance(13); }), "VtAppId");
    EXPECT_EQ(IpAddr::fromText("10.0.0.255"), IpAddr(10, 0, 0, 255));
    EXPECT_EQ(IpAddr::fromText("10.0.0.256"), std::nullopt);
    static_assert(sizeof(Fen::TunnelKey) == 20 && sizeof(Sideband::Fapmask) == 16);
    static_assert(sizeof(Loam::IntfTpidIndex) == 1 && sizeof(Loam::AradIvecIndex) == 12);
}

TEST(Tunnels, HashAllThatTheyHave) {
    TunnelTerminationEntry const first(Fen::tunnelTypeIpInIp, IpAddr(10, 0, 0, 2));
    EXPECT_EQ(first.hash(), Kor::OneAtATime().add(1u).add(IpAddr(10, 0, 0, 2).hash()).finish());
    Fen::TunnelKey const key(Fen::tunnelTypeVxlan, IpAddr(1, 2, 3, 4), IpAddr(5, 6, 7, 8), 0x01234567u,
                             0x89abcdefu);
    EXPECT_EQ(key.hash(), Kor::OneAtATime()
                              .add(3u)
                              .add(IpAddr(1, 2, 3, 4).hash())
                              .add(IpAddr(5, 6, 7, 8).hash())
                              .add(U64{0x0123456789abcdef})
                              .finish());
}

TEST(Interfaces, HaveOneNameForEachIdAndTheOtherWayRound) {
    for (char const* const name : {"", "Ethernet1", "Ethernet3/1", "Ethernet3/1/4.100", "Port-Channel2000",
                                   "Vlan4094", "Management0", "Loopback0.65535"}) {
        EXPECT_EQ(IntfId::ofName(name).name(), name);
    }
    for (char const* const name :
         {"Ethernet", "Ethernet01", "Ethernet1/", "Ethernet1/2/3/4", "Ethernet1.0", "Eth1", "Ethernet1.65536",
          "Ethernet262143", "Ethernet1 ", "0x12", "Ethernet1.2.3"}) {
        EXPECT_FALSE(IntfId::fromName(name)) << name;
    }
    EXPECT_EQ(refusal([] { IntfId::ofName("Eth1"); }), "no interface name: Eth1");
    EXPECT_FALSE(Fen::FenPortList::fromText("Ethernet1,"));
    EXPECT_FALSE(Fen::FenPortList::fromText("Ethernet1,,Ethernet2"));
    support::Random random;
    for (int round = 0; round < 20000; ++round) {
        IntfId const id(random.next() >> random.below(64));
        ASSERT_EQ(IntfId::fromName(id.name()), id) << id.value();
    }
}

} // namespace
