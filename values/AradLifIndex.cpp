#include "values/AradLifIndex.h"

#include "runtime/Contract.h"

namespace Hardware::LoamTunnel {

namespace {

constinit LifEntriesPerBank lifEntriesPerBankHook = nullptr;

} // namespace

void lifEntriesPerBankHookIs(LifEntriesPerBank hook) noexcept {
    lifEntriesPerBankHook = hook;
}

U32 AradLifIndex::hwOffset(Loam::FapType fapType,
                           Kor::Ptr<FapTypeProperties const> const& fapTypeProperties) const {
    std::optional<U32> const entries = lifEntriesPerBankHook(*fapTypeProperties, fapType);
    Kor::require(entries && startingBank() != lifBankMax, [&] {
        return Kor::Breach{"Hardware::LoamTunnel::AradLifIndex::hwOffset",
                           entries ? "the LIF index is in no bank" : "no such chip family"};
    });
    return entries ? startingBank() * *entries + index() : 0;
}

} // namespace Hardware::LoamTunnel
