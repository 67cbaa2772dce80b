#pragma once

#include "attrlog/session/internal/SessionCore.h"

#include <map>

namespace Kor::NboAttrLog::detail {

/// What the peer offers, and what of it this side wants.
class Wishes {
public:
    explicit Wishes(SessionCore& core) : core_(core) {}

    void want(Name const& path, Session::WantHook hook, Session::Take take);
    void unwant(Name const& path);
    Ptr<Entity> root(Name const& path) const;
    RootState state(Name const& path) const noexcept;
    std::map<Name, Session::PeerOffer> const& peerOffers() const noexcept { return peerOffers_; }
    bool areOffersKnown() const noexcept { return areKnown_; }

    void readOffer(In& in, bool isWithdrawn);
    void offersKnown();
    /// The peer does not give the root that was asked for under that number.
    void refused(Name const& path, U32 number, String8 const& reason);

    /// The entity that a wanted root becomes here, or null.
    Ptr<Entity> root(Announcement const& announcement);
    void mounted(EntityId id);
    void retired(EntityId id);
    void syncModeTold(EntityId id, StreamAdapter::SyncMode mode);
    void ended(String8 const& reason);

private:
    struct Wish {
        Session::WantHook hook;
        Session::Take take;
        RootState state = RootState::absent;
        Ptr<Entity> root;
        EntityId id;
        /// Of the last time that it was asked for, so that what answers an earlier one is known.
        U32 number = 0;
        /// The peer has let it go, and may yet say why.
        bool isRetired = false;

        bool isThere() const { return state == RootState::synchronizing || state == RootState::synchronized; }
    };

    void ask(Cause cause, Name const& path, Wish& wish);
    void stateIs(Name const& path, RootState state, String8 const& why = {});

    SessionCore& core_;
    std::map<Name, Session::PeerOffer> peerOffers_;
    bool areKnown_ = false;
    std::map<Name, Wish> wishes_;
};

} // namespace Kor::NboAttrLog::detail
