#include "attrlog/session/internal/SessionCore.h"

namespace Kor::NboAttrLog::detail {

void fault(String8 const& what) {
    throw AttrLogRecordException(what);
}

void SessionCore::requireOpen() const {
    if (!isOpen()) {
        throwRangeException("the connection is closed");
    }
}

void SessionCore::close(String8 const& reason) const {
    demuxer.close(reason.empty() ? String8("closed") : reason);
}

void SessionCore::closeGreedy() const {
    close("peer asks for more than it reads answers");
}

void SessionCore::whenEstablished(std::function<void()> todo) {
    if (isEstablished && early.empty()) {
        todo();
    } else {
        early.push_back(std::move(todo));
    }
}

void SessionCore::established() {
    while (!early.empty() && isOpen()) {
        auto const todo = std::move(early.front());
        early.pop_front();
        todo();
    }
}

void SessionCore::afterChanges(std::function<void()> todo) {
    due.push_back({demuxer.barrierIs(), std::move(todo)});
    doDue();
}

void SessionCore::whenRoom(std::function<void()> todo) {
    soon.push_back(std::move(todo));
    doDue();
}

void SessionCore::doDue() {
    writeNotes(); // a verdict stands before the answer to a fence behind what it is about
    if (!notes.empty()) {
        return;
    }
    while (hasDue() && hasRoom()) {
        if (soon.empty()) {
            soon.push_back(std::move(due.front().todo));
            due.pop_front();
        }
        auto const todo = std::move(soon.front());
        soon.pop_front();
        todo();
    }
}

void SessionCore::note(Cause cause, AttributeId attribute, Name const& path, U32 number, U64 bits,
                       String8 const& reason) {
    if (!isOpen()) {
        return;
    }
    if (cause == Cause::peer && ++peersNotes > maxNotes) {
        closeGreedy();
        return;
    }
    notes.push_back({cause, attribute, path, number, bits, peerText(reason.view(), maxReasonLength)});
    out().stir();
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
        throwRangeException(announcement.refusal.empty() ? String8("its type is not known here")
                                                         : announcement.refusal);
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
    if (entity->korNboAttrLogSa(demuxer.out())) {
        throwRangeException("its place is on this connection already");
    }
    return entity;
}

void SessionCore::ended() {
    notes.clear();
    early.clear();
    due.clear();
    soon.clear();
    peersNotes = 0;
    pathOf.clear();
}

} // namespace Kor::NboAttrLog::detail
