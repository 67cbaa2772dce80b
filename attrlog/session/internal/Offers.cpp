#include "attrlog/session/internal/Parts.h"

namespace Kor::NboAttrLog {

void Offers::begin() {
    for (auto const& [path, offer] : core_.service.offers()) {
        toTell_.insert(path);
    }
}

void Session::offerChanged(Name const& path) {
    if (!isEstablished_ || !isOpen()) {
        return; // all are told after the hello
    }
    Offers& offers = impl_->offers;
    offers.unmount(path);
    offers.untold_.erase(path);
    offers.toTell_.insert(path);
    out()->stir();
}

bool Session::hasMounted(Name const& path) const noexcept {
    return impl_->offers.mounts_.contains(path);
}

void Offers::write() {
    while (!toTell_.empty() && core_.hasRoom()) {
        writeOffer(toTell_.begin());
    }
    if (toTell_.empty() && !areTold_ && core_.hasRoom()) {
        areTold_ = true;
        core_.write(offersKnownAttribute);
    }
}

void Offers::writeOffer(std::set<Name>::iterator next) {
    Name const& path = *next;
    auto const* const offer = core_.service.offered(path);
    if (told_.erase(path) != 0) { // an earlier one, which is gone
        if (!untold_.empty()) {
            toTell_.insert(untold_.extract(untold_.begin()));
        }
        core_.write(-offerAttribute, path);
        if (offer != nullptr) {
            return; // the new one takes a record, too
        }
    } else if (offer != nullptr && told_.size() >= core_.peer.offers) {
        untold_.insert(path);
    } else if (offer != nullptr) {
        told_.insert(path);
        core_.write(offerAttribute, path, TypeId(offer->entity->fwkType()->typeName()),
                    offer->access == Access::writable ? 1u : 0u);
    }
    toTell_.erase(next);
}

void Offers::readWant(In& in, bool isGivenUp) {
    Name const path = SessionCore::readPath(in);
    auto const number = static_cast<U32>(in.nextNumber());
    if (!isGivenUp) {
        wanted(path, number);
    } else if (Mount const* const mount = lookUp(mounts_, path);
               mount != nullptr && mount->number == number) {
        unmount(path); // a later wish is not meant
    }
}

void Offers::wanted(Name const& path, U32 number) {
    unmount(path); // if it was before, it is asked for anew
    if (core_.demuxer.retiredWaiting() > maxNotes) {
        core_.closeGreedy();
        return;
    }
    auto const* const offer = core_.service.offered(path);
    if (offer == nullptr) {
        core_.note(Cause::peer, verdictAttribute, path, number, 0,
                   format("nothing is offered under %s", path.charPtr()));
        return;
    }
    try {
        Ptr<StreamAdapter> const adapter =
            core_.demuxer.mountRoot(offer->entity, {path, /*isPushed=*/false, offer->access, number});
        mounts_[path] = {offer->entity, adapter->entityId(), number};
        core_.pathOf[adapter->entityId()] = path;
    } catch (Exception const& exception) {
        core_.note(Cause::peer, verdictAttribute, path, number, 0, exception.message());
    }
}

void Offers::unmount(Name const& path) {
    if (auto const gone = mounts_.extract(path)) {
        core_.pathOf.erase(gone.mapped().id);
        core_.demuxer.unmount(gone.mapped().entity);
    }
}

bool Offers::failed(EntityId id, String8 const& why) {
    auto const mount = core_.ofId(mounts_, id);
    if (mount == mounts_.end()) {
        return false;
    }
    core_.note(Cause::peer, verdictAttribute, mount->first, mount->second.number, 0, why);
    mounts_.erase(mount);
    return true;
}

void Offers::retired(EntityId id) {
    if (auto const mount = core_.ofId(mounts_, id); mount != mounts_.end()) {
        mounts_.erase(mount);
    }
}

} // namespace Kor::NboAttrLog
