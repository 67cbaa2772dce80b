#include "attrlog/session/Service.h"

#include "attrlog/session/internal/Parts.h"
#include "reflect/type/AttrLogType.h"
#include "runtime/PlainText.h"

#include <algorithm>

namespace Kor::NboAttrLog {

void requireRoot(Name const& path, Ptr<Entity> const& entity) {
    requirePath(path);
    if (!entity) {
        throwRangeException("null ValidPtr");
    }
    String8 const& type = entity->fwkType()->typeName();
    if (AttrLogType::named(type.view()) == nullptr) {
        throwRangeException(format("%s has no attribute log", type.charPtr()));
    }
}

String8 peerText(std::string_view text, std::size_t most) {
    return String8(plainText(textStart(text, most)));
}

bool isSoundName(std::string_view text, std::size_t most) noexcept {
    auto const isControl = [](char c) { return static_cast<U8>(c) < 0x20 || c == 0x7f; };
    return text.size() <= most && std::ranges::none_of(text, isControl);
}

void requireName(char const* what, Name const& name, U32 most) {
    if (name.empty() || !isSoundName(name.view(), most)) {
        throwRangeException(format("a %s has 1 to %u bytes, none of them a control character", what, most));
    }
}

void Service::offer(Name const& path, Ptr<Entity> const& entity, Access access) {
    requireRoot(path, entity);
    for (auto const& [other, there] : offers_) {
        if (other != path && (isWithin(entity, *there.entity) || isWithin(there.entity, *entity))) {
            throwRangeException(format("%s would overlap with %s", path.charPtr(), other.charPtr()));
        }
    }
    Offer& offer = offers_[path];
    if (offer.entity == entity && offer.access == access) {
        return;
    }
    offer = {entity, access};
    tell(path);
}

void Service::withdraw(Name const& path) {
    if (offers_.erase(path) != 0) {
        tell(path);
    }
}

Service::Offer const* Service::offered(Name const& path) const noexcept {
    return lookUp(offers_, path);
}

void Service::acceptIs(Name const& path, Accept accept, AcceptHook hook, Pushers pushers) {
    if (!path.empty()) {
        requirePath(path);
    }
    if (accept) {
        accepts_[path] = {std::move(accept), std::move(hook), pushers};
    } else {
        accepts_.erase(path);
    }
}

void Service::handlerIs(Name const& verb, Handler handler) {
    requireVerb(verb);
    if (handler) {
        handlers_[verb] = std::move(handler);
    } else {
        handlers_.erase(verb);
    }
}

void Service::sessionDel(Session& session) noexcept {
    std::erase(sessions_, &session);
    std::erase_if(holders_, [&](auto const& each) { return each.second.session == &session; });
}

Service::Accepting const& Service::accepting(Name const& path) const {
    auto const* const own = lookUp(accepts_, path);
    auto const* const found = own != nullptr ? own : lookUp(accepts_, Name());
    if (found == nullptr) {
        throwRangeException(format("nothing is taken in under %s", path.charPtr()));
    }
    return *found;
}

Service::Holder const* Service::holder(Entity const& entity) const noexcept {
    return lookUp(holders_, &entity);
}

void Service::holderIs(Entity const& entity, Session& session, Name const& path) {
    holders_[&entity] = {&session, path, std::chrono::system_clock::now()};
}

void Service::holderDel(Entity const& entity, Session const& session) noexcept {
    if (Holder const* const found = holder(entity); found != nullptr && found->session == &session) {
        holders_.erase(&entity);
    }
}

void Service::relaysTo(Ptr<Service> const& other) {
    if (!other) {
        relays_.clear();
    } else if (other != this && !std::ranges::count(relays_, other)) {
        relays_.push_back(other);
    }
}

std::vector<Ptr<Session>> Service::peersBeside(Session const* session, Name const& path) const {
    std::vector<Ptr<Session>> peers;
    for (Session* const each : sessions_) {
        if (each != session && each->isEstablished() &&
            (path.empty() ? each->demuxer().mounted() != 0 : each->hasMounted(path))) {
            peers.emplace_back(each);
        }
    }
    return peers;
}

void Service::fenceAll(std::vector<Ptr<Session>> const& peers, FenceLevel level, FenceHook hook,
                       FenceExtent extent, U32 hops) {
    auto const sum = makePtr<FenceSum>(std::move(hook));
    FenceHook const whole = sum->part(); // so that it does not end before all are asked
    for (Ptr<Session> const& each : peers) {
        FenceHook const part = sum->part();
        try {
            each->fence(level, part, extent, hops);
        } catch (Exception const& exception) { // it has closed meanwhile, or has too many
            part({.outcome = FenceOutcome::failed, .why = exception.message()});
        }
    }
    whole({.outcome = outcomeOf(level), .peers = 0});
}

void Service::fence(FenceLevel level, FenceHook hook, Name const& path, FenceExtent extent) {
    fenceAll(peersBeside(nullptr, path), level, std::move(hook), extent, maxFenceHops);
}

void Service::fenceBeside(Session const& session, FenceLevel level, FenceHook hook, U32 hops) {
    std::vector<Ptr<Session>> peers = peersBeside(&session, {});
    for (Ptr<Service> const& relay : relays_) {
        std::ranges::copy(relay->peersBeside(&session, {}), std::back_inserter(peers));
    }
    fenceAll(peers, level, std::move(hook), FenceExtent::all, hops);
}

void Service::tell(Name const& path) {
    for (Session* const each : sessions_) {
        each->offerChanged(path);
    }
}

} // namespace Kor::NboAttrLog
