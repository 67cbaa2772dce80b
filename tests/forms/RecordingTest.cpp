/// Recordings of connections, and the records in them as text.

#include "forms/Recording.h"

#include "forms/RecordView.h"
#include "support/Link.h"

#include <gtest/gtest.h>
#include <span>
#include <sstream>
#include <string>
#include <vector>

namespace {

using namespace Kor;
using namespace Kor::NboAttrLog;
using namespace Hardware;
using namespace Hardware::LoamTunnel;
using support::Link;
using support::Random;
using Kind = RecordView::Kind;

/// Carries all that waits, and writes it down.
void carry(Demuxer& from, Demuxer& to, Side side, RecordingOut& recording, U64 time) {
    from.flow();
    for (auto bytes = from.out()->readable(); !bytes.empty(); bytes = from.out()->readable()) {
        recording.write(side, time, bytes);
        to.in()->feed(bytes);
        from.out()->nextBytes(bytes.size());
        to.receive();
    }
}

// Whether the values are those of the entity, RoundTripTest sees in `log show`.
TEST(RecordWalker, KnowsEachRecordOfEachEntity) {
    Random random;
    support::eachReplicatedEntity([&]<class X>() {
        SCOPED_TRACE(std::string(typeName<X>()));
        Link link;
        Ptr<X> const mine = support::randomEntity<X>(random);
        for (int i = 0; i < 40; ++i) {
            support::change(*mine, random);
        }
        link.a->mount(mine);
        RecordWalker walker;
        U64 offset = 0;
        while (link.a->flow() || link.a->out()->pending() != 0) {
            auto const bytes = link.a->out()->readable();
            auto const piece = bytes.first(1 + random.below(static_cast<U32>(bytes.size())));
            walker.walk(Side::connecting, piece, [&](RecordView const& record) {
                EXPECT_EQ(record.fault, "");
                EXPECT_NE(record.kind, Kind::unknown);
                EXPECT_EQ(record.offset, offset);
                offset += record.bytes.size();
                if (record.offset == 0) {
                    EXPECT_EQ(record.kind, Kind::announcement);
                    EXPECT_EQ(record.type, X::_fwkType());
                }
            });
            link.a->out()->nextBytes(piece.size());
        }
        EXPECT_EQ(walker.rest(Side::connecting), 0u);
    });
}

struct Recorded {
    std::string file;
    U64 sent[2] = {0, 0}; // by side
};
Recorded someRecording(Random& random, U64 most = RecordingOut::defaultMost) {
    Link link;
    std::ostringstream file;
    RecordingOut recording(file, link.a->out()->limits(), most);
    auto const config = lifAppConfigDirFactory("config");
    auto const status = evecStatusFactory("status");
    link.a->mount(config);
    link.b->mount(status);
    for (U64 time = 0; time < 50; ++time) {
        support::change(*config, random);
        support::change(*status, random);
        carry(*link.a, *link.b, Side::connecting, recording, time);
        carry(*link.b, *link.a, Side::accepting, recording, time);
    }
    EXPECT_EQ(recording.bytes(), file.str().size());
    return {file.str(), {link.b->out()->bytes(), link.a->out()->bytes()}};
}

/// Reads all of it, and takes it apart; what is refused is raised.
U64 recordsOf(std::string const& bytes, U64* read = nullptr) {
    std::istringstream file(bytes);
    RecordingIn in(file);
    RecordWalker walker(in.limits());
    U64 records = 0;
    U64 time = 0;
    for (RecordingChunk chunk; in.next(chunk); time = chunk.microseconds) {
        walker.walk(chunk.from, chunk.bytes, [&](RecordView const&) { ++records; });
        if (read != nullptr) {
            EXPECT_GE(chunk.microseconds, time);
            read[static_cast<std::size_t>(chunk.from)] += chunk.bytes.size();
        }
    }
    return records;
}

TEST(Recording, HasTheBytesOfBothSidesUpToItsBound) {
    Random random;
    auto const whole = someRecording(random);
    U64 read[2] = {0, 0};
    EXPECT_GT(recordsOf(whole.file, read), 50u);
    EXPECT_EQ(read[0], whole.sent[0]);
    EXPECT_EQ(read[1], whole.sent[1]);

    auto const bounded = someRecording(random, 1000);
    EXPECT_LE(bounded.file.size(), 1000u);
    std::istringstream file(bounded.file);
    RecordingIn in(file);
    RecordingChunk chunk;
    while (in.next(chunk)) {
    }
    EXPECT_TRUE(in.isCut());
}

// Whatever the bytes are, RecordFuzz tries.
TEST(Recording, UnsoundFilesAreRefusedWithThePlace) {
    Random random;
    std::string const good = someRecording(random).file;
    auto const fault = [](std::string const& bytes) {
        try {
            recordsOf(bytes);
            return std::string();
        } catch (Exception const& exception) {
            return std::string(exception.what());
        }
    };
    EXPECT_EQ(fault(""), "recording is unsound at byte 0: it does not begin as one");
    EXPECT_EQ(fault("LoamRec2" + good.substr(8)), "recording is unsound at byte 0: it does not begin as one");
    auto const with = [&](std::size_t at, char byte) {
        std::string bad = good;
        bad[at] = byte;
        return fault(bad);
    };
    EXPECT_EQ(with(8, 1),
              "recording is unsound at byte 8: the longest record is not from 128 to 65535 bytes long");
    EXPECT_EQ(with(12, 7), "recording is unsound at byte 12: a chunk is of neither side");
    EXPECT_EQ(with(21, '\x7f'), "recording is unsound at byte 12: a chunk has not 1 to 65536 bytes");
    EXPECT_EQ(with(12, '\xff'), "recording is unsound at byte 12: its end has bytes");
    EXPECT_EQ(fault(good.substr(0, 20)), "recording is unsound at byte 12: it ends within a chunk");
    EXPECT_EQ(fault(good.substr(0, 30)), "recording is unsound at byte 12: it ends within a chunk");
}

// Children that come and go are not remembered: else a long recording would meet the limit.
TEST(RecordWalker, ForgetsAChildThatIsDeleted) {
    Link link;
    auto const dir = lifAppConfigDirFactory("lif");
    link.a->mount(dir);
    StreamLimits limits;
    limits.entities = 2;
    RecordWalker walker(limits);
    for (auto const app : {Loam::vtAppMpls, Loam::vtAppVxlan, Loam::vtAppEvpn}) {
        dir->appConfigIs(app);
        std::string path;
        for (bool const isGone : {false, true}) {
            if (isGone) {
                dir->appConfigDel(app);
            }
            while (link.a->flow() || link.a->out()->pending() != 0) {
                auto const bytes = link.a->out()->readable();
                walker.walk(Side::connecting, bytes, [&](RecordView const& record) { path = record.path; });
                link.a->out()->nextBytes(bytes.size());
            }
        }
        EXPECT_FALSE(path.empty());
    }
}

TEST(RecordWalker, PassesOverWhatStandsBeforeTheRecords) {
    auto const out = makePtr<Out>();
    out->nextHeaderIs({EntityId{7, 0}, syncModeAttribute, false, 4});
    out << TransactToken(1) << U32{1} << TransactToken(3);
    std::vector<U8> bytes{'h', 'e', 'l', 'l', 'o'};
    auto const record = out->readable();
    bytes.insert(bytes.end(), record.begin(), record.end());
    RecordWalker walker;
    walker.preambleIs([](std::span<U8 const> start) { return start.size() < 5 ? RecordWalker::more : 5; });
    int records = 0;
    for (U8 const& byte : bytes) {
        walker.walk(Side::accepting, {&byte, 1}, [&](RecordView const& seen) {
            ++records;
            EXPECT_EQ(seen.kind, Kind::syncMode);
            EXPECT_EQ(seen.offset, 5u);
        });
    }
    EXPECT_EQ(records, 1);
    RecordWalker bare;
    EXPECT_THROW(bare.walk(Side::accepting, bytes, [](RecordView const&) {}), AttrLogRecordException);
    EXPECT_EQ(bare.faultOffset(Side::accepting), 0u);
}

} // namespace
