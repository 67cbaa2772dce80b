#include "runtime/PtrInterface.h"

#include "runtime/PtrTrack.h"

namespace Kor {

U8 VFPtrInterface::enableThreadSafePointers = 0;

namespace {

PtrInterface::TypeSource typeSource = nullptr;

} // namespace

void PtrInterface::hasNotificationActiveIs(bool active) {
    notificationActiveFlagIs(active);
}

unsigned int PtrInterface::korAuditErrors(unsigned int) const {
    return 0;
}

unsigned int PtrInterface::auditErrors(unsigned int level) const {
    return (level & 0x80000000U) != 0 ? 0 : korAuditErrors(level);
}

void PtrInterface::zeroReferencesIs(bool) {}

KorType const* PtrInterface::fwkType() const {
    return _fwkType();
}

KorType const* PtrInterface::_fwkType() {
    return typeSource != nullptr ? typeSource() : nullptr;
}

void PtrInterface::fwkTypeSourceIs(TypeSource source) noexcept {
    typeSource = source;
}

void PtrInterface::referencesLeak() const {
    referencesInc();
    if (ptrifTrackOn_) {
        PtrTrack::ptrifDel(const_cast<PtrInterface*>(this));
    }
}

void PtrInterface::handleZeroRef() const {
    auto* const self = const_cast<PtrInterface*>(this);
    referencesInc(); // a reference taken and dropped inside the hook must not come here again
    self->zeroReferencesIs(true);
    if (isZero(wordDec())) {
        delete self;
    }
}

} // namespace Kor
