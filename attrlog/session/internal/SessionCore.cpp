#include "attrlog/session/internal/SessionCore.h"

#include <functional>

namespace Kor::NboAttrLog::detail {

namespace {

/// How many words about roots may wait for a peer that asks and does not read.
constexpr std::size_t maxNotes = 4096;

} // namespace

void fault(String8 const& what) {
    throw AttrLogRecordException(what);
}

SessionCore::SessionCore(Session& session, Side side, SessionConfig given, Ptr<Service> offered,
                         SessionHooks told)
    : self(session), config(std::move(given)), service(offered ? std::move(offered) : makePtr<Service>()),
      hooks(std::move(told)) {
    config.limits = soundLimits(config.limits, Session::minRecord);
    demuxer = makePtr<Demuxer>(side, config.limits);
}

void SessionCore::requireOpen() const {
    if (!isOpen()) {
        throwRangeException("the connection is closed");
    }
}

void SessionCore::close(String8 const& reason) {
    demuxer->close(reason.empty() ? String8("closed") : reason);
}

void SessionCore::call(std::function<void(Session&)> const& hook) {
    if (hook) {
        auto const copy = hook; // which may be replaced meanwhile
        copy(self);
    }
}

void SessionCore::note(Cause cause, AttributeId attribute, Name const& path, U32 number, U64 bits,
                       String8 const& reason) {
    if (!isOpen()) {
        return;
    }
    if (cause == Cause::peer && peersNotes++ == maxNotes) {
        close("peer asks for more than it reads answers");
        return;
    }
    notes.push_back({cause, attribute, path, number, bits, shown(reason.view(), maxReasonLength)});
}

void SessionCore::writeNotes() {
    while (!notes.empty() && hasRoom()) {
        Note const& next = notes.front();
        write(next.attribute, [&](Out& to) {
            to.put(next.path);
            to.putNumber(next.number);
            if (next.attribute == verdictAttribute) {
                to.putNumber(next.bits);
                to.put(next.reason);
            }
        });
        peersNotes -= next.cause == Cause::peer;
        notes.pop_front();
    }
}

Name SessionCore::nextPath(In& in) {
    Name path = in.next<Name>();
    if (path.empty() || !isSoundName(path.view(), maxPathLength)) {
        fault("record has an unsound path");
    }
    return path;
}

Ptr<Entity> SessionCore::placeFor(Announcement const& announcement,
                                  std::function<Ptr<Entity>()> const& give) const {
    if (!announcement.made) {
        throwRangeException("its type is not known here");
    }
    Ptr<Entity> entity = give();
    if (!entity) {
        throwRangeException("it is not taken in");
    }
    if (entity->fwkType() != announcement.made->fwkType()) {
        throwRangeException(format("it is a %s, and its place is for a %s",
                                   announcement.made->fwkType()->typeName().charPtr(),
                                   entity->fwkType()->typeName().charPtr()));
    }
    if (entity->korNboAttrLogSa(demuxer->out())) {
        throwRangeException("its place is on this connection already");
    }
    return entity;
}

} // namespace Kor::NboAttrLog::detail
