#pragma once

/// Kor::NboAttrLog::FlowOut and FlowIn: what of an entity is still to be sent, and what is on its way in.
///
/// A flow-out is there while an adapter has something that the stream could not take at once: after a mount
/// all of the entity, after a full stream the keys that have changed since. It keeps one mark for a changed
/// key, so that the last state is what leaves, and costs nothing once it is done. X::KorNboAttrLogSa::FlowOut
/// (attrlog/adapter/FlowOutOf.h) adds the marks. A mark allocates; one thread, that of the entity.

#include "attrlog/Record.h"
#include "runtime/HashMap.h"

#include <algorithm>
#include <functional>
#include <memory>
#include <vector>

namespace Kor {

/// What a flow-out is told of the connection.
struct ConnectDesc {
    String8 localPath;
    String8 remotePath;
};

namespace NboAttrLog {

class KOR_EXPORT FlowOut : public PtrInterface {
public:
    /// Start attributes: all remains to be sent, or only what is marked from now on.
    static constexpr U32 everything = 0;
    static constexpr U32 onlyMarked = 0x7fffffff;

    explicit FlowOut(U32 start) : isFull_(start == everything) {}

    /// The attribute that is being sent, or at which to go on.
    AttributeId attrId() const noexcept { return attrId_; }
    void attrIdIs(AttributeId attribute) noexcept { attrId_ = attribute; }
    /// The key at which the current attribute's full pass stopped; see korFlowOutBookmarkEnq().
    void* bookmark() const noexcept { return bookmark_; }
    void bookmarkIs(void* bookmark) noexcept { bookmark_ = bookmark; }
    /// Bit 2: the full pass is skipped. Bit 4: the stream has stalled, sending stops now.
    static constexpr U8 skipsPassBit = 1u << 2;
    static constexpr U8 stalledBit = 1u << 4;
    U8 korDataBits() const noexcept { return korDataBits_; }
    void korDataBitsIs(U8 bits) noexcept { korDataBits_ = bits; }
    bool isStalled() const noexcept { return (korDataBits_ & stalledBit) != 0; }
    void isStalledIs(bool on) noexcept {
        korDataBits_ = static_cast<U8>(on ? korDataBits_ | stalledBit : korDataBits_ & ~stalledBit);
    }
    /// Attributes whose full pass was given up half-way; the peer is told before anything else.
    using PendingAbort = HashMap<FlagMapEntry<AttributeId>, AttributeId, bool>;
    PendingAbort& pendingAbort() noexcept { return pendingAbort_; }
    void pendingAbortIs(AttributeId attribute) {
        if (pendingAbort_.member(attribute) == nullptr) {
            pendingAbort_.newMember(makePtr<FlagMapEntry<AttributeId>>(attribute, true));
        }
    }
    void pendingAbortDel(AttributeId attribute) { pendingAbort_.deleteMember(attribute); }

    /// Whether anything remains to be sent.
    virtual bool hasDirtyAttributes() const { return !pendingAbort_.empty(); }
    /// Whether it sends the whole entity.
    bool isFull() const noexcept { return isFull_; }
    /// How many keys and scalars are marked.
    U64 dirtyKeys = 0;

    /// Owes all that waits and is not owed yet to a barrier (attrlog/adapter/FlowOutOf.h); how much that is.
    virtual U64 owe(U64 barrier) = 0;
    /// The oldest barrier that waits for something here, 0 for none.
    virtual U64 oldestOwed() = 0;
    /// Nothing is owed any more; `paid` is called with the barrier of each, and with 0.
    virtual void oweNothing(std::function<void(U64 barrier)> const& paid) = 0;
    /// Lets the key at which a pass stopped go.
    virtual void freeBookmark() noexcept = 0;

private:
    AttributeId attrId_ = 0;
    void* bookmark_ = nullptr;
    PendingAbort pendingAbort_;
    U8 korDataBits_ = 0;
    bool isFull_;
};

/// Keeps a copy of the key at which a full pass stops. There must be none yet.
template <class Key>
void korFlowOutBookmarkEnq(FlowOut& flowOut, Key const& key) {
    require(flowOut.bookmark() == nullptr, [] {
        return Breach{"Kor::NboAttrLog::korFlowOutBookmarkEnq", "!rsc->bookmark()"};
    });
    flowOut.bookmarkIs(new Key(key));
}

/// Takes the key off; the default key without one.
template <class Key>
Key korFlowOutBookmarkDeq(FlowOut& flowOut) {
    std::unique_ptr<Key> const kept(static_cast<Key*>(flowOut.bookmark()));
    flowOut.bookmarkIs(nullptr);
    return kept ? *kept : Key{};
}

/// The full passes of a peer that are on their way in to one entity.
class FlowIn final : public PtrInterface {
public:
    /// The attribute whose pass has begun or goes on.
    AttributeId aid() const noexcept { return aid_; }
    void aidIs(AttributeId attribute) {
        aid_ = attribute;
        if (!has(attribute)) {
            if (open_.size() == most) { // a peer that begins ever new ones
                open_.erase(open_.begin());
            }
            open_.push_back(attribute);
        }
    }
    /// Whether a pass of that attribute is on its way. Those of several attributes may be.
    bool has(AttributeId attribute) const noexcept { return std::ranges::count(open_, attribute) != 0; }
    /// That of an attribute is over; whether no other one is on its way.
    bool isDoneWith(AttributeId attribute) noexcept {
        handling_ = false;
        std::erase(open_, attribute);
        aid_ = open_.empty() ? 0 : open_.back();
        return open_.empty();
    }
    /// True while what the pass did not mention is being removed.
    bool handlingTransaction() const noexcept { return handling_; }
    void handlingTransactionIs(bool on) noexcept { handling_ = on; }

private:
    static constexpr std::size_t most = 32; // as many maps as an entity can have
    std::vector<AttributeId> open_;
    AttributeId aid_ = 0;
    bool handling_ = false;
};

} // namespace NboAttrLog

} // namespace Kor
