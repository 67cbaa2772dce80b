/// Feeds the record reader, and with it all that applies records, what a hostile peer could send. The
/// entities live on from one input to the next, as they do when peers come and go.
///
///     RecordFuzz -max_total_time=20
///
/// The first byte of an input is the size of the pieces in which the rest arrives, and one that begins as a
/// recording is read as one. Without a corpus the fuzzer starts from the sessions that the mutator below
/// writes.

#include "attrlog/session/Session.h"
#include "forms/RecordView.h"
#include "forms/Recording.h"
#include "fuzz/Sessions.h"
#include "model/LoamTunnelModel.h"

#include <algorithm>
#include <cstdlib>
#include <span>
#include <sstream>
#include <string>
#include <vector>

using namespace Kor;
using fuzz::session;
using fuzz::Tree;
using namespace Kor::NboAttrLog;
using namespace Hardware;
using namespace Hardware::LoamTunnel;

namespace {

void check(bool holds) {
    if (!holds) {
        std::abort();
    }
}

/// The same on both sides, as a recording.
std::vector<U8> recordingOf(unsigned seed) {
    std::ostringstream stream;
    RecordingOut to(stream, {1 << 14, 1024, 64});
    for (unsigned i = 0; i < 4; ++i) {
        to.write(static_cast<Side>(i % 2), i, std::span<U8 const>(session(seed + i)).subspan(1));
    }
    std::string const bytes = stream.str();
    return {bytes.begin(), bytes.end()};
}

void readRecording(std::span<U8 const> bytes) {
    std::istringstream stream(std::string(bytes.begin(), bytes.end()));
    try {
        RecordingIn from(stream);
        RecordWalker walker(from.limits());
        walker.preambleIs(Session::preambleOf);
        for (RecordingChunk chunk; from.next(chunk);) {
            walker.walk(chunk.from, chunk.bytes,
                        [](RecordView const& record) { check(!record.bytes.empty()); });
        }
    } catch (RangeException const&) { // no recording
    } catch (AttrLogRecordException const&) {
    }
}

} // namespace

extern "C" std::size_t LLVMFuzzerMutate(U8* data, std::size_t size, std::size_t most);

extern "C" std::size_t LLVMFuzzerCustomMutator(U8* data, std::size_t size, std::size_t most, unsigned seed) {
    if (size < 2 || seed % 64 == 0) {
        std::vector<U8> const fresh = seed % 128 == 0 ? recordingOf(seed) : session(seed);
        size = std::min(fresh.size(), most);
        std::copy_n(fresh.begin(), size, data);
    }
    return LLVMFuzzerMutate(data, size, most);
}

extern "C" int LLVMFuzzerTestOneInput(U8 const* data, std::size_t size) {
    if (size == 0) {
        return 0;
    }
    std::span<U8 const> const all(data, size);
    if (all.size() >= recording::magic.size() &&
        std::equal(recording::magic.begin(), recording::magic.end(), all.begin())) {
        readRecording(all);
        return 0;
    }
    static Tree const tree;
    auto const demuxer = makePtr<Demuxer>(Side::accepting, StreamLimits{1 << 14, 1024, 64});
    tree.mountOn(*demuxer);
    std::vector<Ptr<Entity>> offered;
    demuxer->rootHookIs([&](Ptr<Entity> const& each) { return offered.emplace_back(each); });
    std::span<U8 const> rest(data + 1, size - 1);
    std::size_t const piece = data[0] == 0 ? size : data[0];
    while (!rest.empty() && demuxer->isOpen()) {
        std::size_t const taken = demuxer->in()->feed(rest.first(std::min(piece, rest.size())));
        check(taken != 0); // a record always fits
        rest = rest.subspan(taken);
        demuxer->receive();
        demuxer->flow();
        demuxer->out()->nextBytes(demuxer->out()->readable().size());
    }
    check(demuxer->mounted() <=
          64 + 64 + tree.lif->appConfigMap().count() + tree.outAc->acRequestMap().count());
    demuxer->close("done");
    check(demuxer->mounted() == 0 && demuxer->stats().dirtyKeys == 0);
    for (auto const& child : tree.lif->appConfigMap()) {
        check(child.parent() == tree.lif && !child.korNboAttrLogSa(demuxer->out()));
    }
    if (tree.lif->appConfigMap().count() > 1000) {
        tree.lif->appConfigDelAll();
    }
    return 0;
}
