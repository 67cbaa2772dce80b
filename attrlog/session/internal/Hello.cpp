#include "attrlog/session/internal/Parts.h"

namespace Kor::NboAttrLog {

void Hello::send() {
    std::array<U8, preambleLength> mine{};
    std::copy(Session::magic.begin(), Session::magic.end(), mine.begin());
    detail::store(&mine[Session::magic.size()], static_cast<U16>(Session::lowestProtocol));
    detail::store(&mine[Session::magic.size() + 2], static_cast<U16>(Session::highestProtocol));
    core_.out().preambleIs(mine);
    core_.out().write({MsgHeader::announcing, helloAttribute, true}, [&](Out& to) {
        to.currentPayloadSectionIs(PayloadSection::helloName);
        to.put(peerText(core_.config.name.view(), maxNameLength));
        to.currentPayloadSectionIs(PayloadSection::helloSchema);
        to.put(core_.config.schema);
        to.currentPayloadSectionIs(PayloadSection::helloLimits);
        to.put(core_.config.limits.record);
        to.put(core_.config.limits.ring);
        to.put(core_.config.limits.entities);
        to.put(core_.config.offers);
        to.currentPayloadSectionIs(PayloadSection::helloToken);
        to.put(core_.config.token[0]);
        to.put(core_.config.token[1]);
    });
}

bool Hello::readPreamble() {
    if (read_ == preambleLength) {
        return core_.isOpen();
    }
    read_ += core_.demuxer.in()->nextPreamble(std::span(preamble_).subspan(read_));
    if (Session::preambleOf(std::span(preamble_).first(read_)) == 0) {
        std::string bytes;
        for (U8 const each : std::span(preamble_).first(std::min(read_, Session::magic.size()))) {
            bytes += format(" %02x", each).view();
        }
        core_.close(format("peer does not speak the attribute log: it began with%s", bytes.c_str()));
        return false;
    }
    if (read_ < preambleLength) {
        return false;
    }
    PeerHello& peer = core_.peer;
    peer.lowestProtocol = detail::load<U16>(&preamble_[Session::magic.size()]);
    peer.highestProtocol = detail::load<U16>(&preamble_[Session::magic.size() + 2]);
    if (peer.lowestProtocol > peer.highestProtocol) {
        core_.close(
            format("hello has no protocol: from %u to %u", peer.lowestProtocol, peer.highestProtocol));
    } else if (peer.highestProtocol < Session::lowestProtocol ||
               peer.lowestProtocol > Session::highestProtocol) {
        core_.close(format("peer speaks protocol %u to %u, this side %u to %u", peer.lowestProtocol,
                           peer.highestProtocol, Session::lowestProtocol, Session::highestProtocol));
    }
    return core_.isOpen();
}

void Hello::read(In& in) {
    if (core_.isEstablished) {
        fault("record is a second hello");
    }
    PeerHello& peer = core_.peer;
    StreamLimits& limits = peer.limits;
    bool hasName = false, hasSchema = false, hasLimits = false;
    for (PayloadSection section; in.nextSection(section);) {
        if (section == PayloadSection::helloName) {
            peer.name = in.next<Name>();
            hasName = true;
        } else if (section == PayloadSection::helloSchema) {
            peer.schema = in.nextU64();
            hasSchema = true;
        } else if (section == PayloadSection::helloLimits) {
            limits.record = in.nextU32();
            limits.ring = in.nextU32();
            limits.entities = in.nextU32();
            peer.offers = in.nextU32();
            hasLimits = true;
        } else if (section == PayloadSection::helloToken) {
            peer.token[0] = in.nextU64();
            peer.token[1] = in.nextU64();
        }
    }
    if (!hasName || !hasSchema || !hasLimits) {
        fault("hello has no name, schema or limits");
    }
    if (!isSoundName(peer.name.view(), maxNameLength)) {
        fault(
            format("hello has a name that is longer than %u bytes or has control characters", maxNameLength));
    }
    if (limits.record < Session::minRecord || limits.record > maxRecord) {
        fault(format("hello has a record limit of %u bytes; %u to %u are possible", limits.record,
                     Session::minRecord, maxRecord));
    }
    if (limits.ring < 2 * limits.record) {
        fault(format("hello has a ring of %u bytes, which does not hold two records of %u", limits.ring,
                     limits.record));
    }
    if (limits.entities == 0) {
        fault("hello has a limit of no entities");
    }
    core_.isEstablished = true;
    core_.demuxer.recordLimitIs(limits.record);
    core_.demuxer.peerLimitIs(limits.entities);
    core_.demuxer.peerNameIs(peer.name);
    core_.demuxer.protocolIs(std::min(peer.highestProtocol, Session::highestProtocol));
}

} // namespace Kor::NboAttrLog
