#include "runtime/TypeHook.h"

#include "runtime/Entity.h"

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

} // namespace Kor
