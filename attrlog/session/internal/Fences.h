#pragma once

#include "attrlog/session/internal/SessionCore.h"

#include <map>

namespace Kor::NboAttrLog::detail {

class Fences;

/// Puts the answer to a fence of the peer together, from this process and those to whom it passes on.
class FenceAnswer final : public PtrInterface {
public:
    FenceAnswer(Fences& fences, U32 number) : fences_(&fences), number_(number) {}

    /// One more is asked.
    FenceHook part();
    /// The session ends: nobody waits for it any more.
    void drop() { fences_ = nullptr; }

private:
    void add(FenceResult const& result);

    Fences* fences_;
    U32 number_;
    U32 parts_ = 0;
    FenceResult result_;
    bool hasResult_ = false;
};

/// Fences towards the peer, and those that it sends. Each goes out behind what was changed before it.
class Fences {
public:
    explicit Fences(SessionCore& core) : core_(core) {}

    /// `hops` bounds how far one that asks for all is passed on.
    void fence(FenceLevel level, FenceHook hook, FenceExtent extent, U32 hops);
    /// How many the peer has not answered.
    std::size_t open() const noexcept { return asked_.size(); }
    void readFence(In& in);
    void readFenced(In& in);
    /// The peer is gone.
    void ended(String8 const& reason);

    static constexpr U32 firstProtocol = 3;

private:
    struct Asked {
        FenceLevel level;
        FenceExtent extent;
        U32 hops;
        FenceHook hook;
        bool isSent = false;
    };

    friend FenceAnswer;
    void send(U32 number);
    void answer(U32 number, FenceResult const& result);

    SessionCore& core_;
    U32 last_ = 0;
    std::map<U32, Asked> asked_;
    /// Those of the peer that have not been answered; null for one whose answer is on its way.
    std::map<U32, Ptr<FenceAnswer>> answers_;
};

} // namespace Kor::NboAttrLog::detail
