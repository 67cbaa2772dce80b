#include "runtime/TypeHook.h"

namespace Kor {

namespace {

constinit TypeHook typeHook;

} // namespace

void typeHookIs(TypeHook const& hook) noexcept {
    typeHook = hook;
}

KorType* PtrInterface::_fwkType() {
    return typeHook.ofPtrInterface != nullptr ? typeHook.ofPtrInterface() : nullptr;
}

KorType* PtrInterface::fwkType() const {
    return _fwkType();
}

KorType* Entity::_fwkType() {
    return typeHook.ofEntity != nullptr ? typeHook.ofEntity() : nullptr;
}

KorType* Entity::fwkType() const {
    return _fwkType();
}

Ptr<Entity::KorNboAttrLogSa> Entity::korNboAttrLogSaIs(Kor_BitSet flags, unsigned int id,
                                                       Ptr<NboAttrLog::Out> const& out,
                                                       PtrInterface* context) {
    auto* const make = typeHook.streamAdapterIs;
    return make != nullptr ? make(*this, flags, id, out, context) : nullptr;
}

} // namespace Kor
