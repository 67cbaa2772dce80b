#include "runtime/PtrInterface.h"

namespace Kor {

U8 VFPtrInterface::enableThreadSafePointers = 0;

void PtrInterface::hasNotificationActiveIs(bool active) {
    flagIs(notificationActiveBit, active);
}

U32 PtrInterface::korAuditErrors(U32) const {
    return 0;
}

U32 PtrInterface::auditErrors(U32 level) const {
    return (level & 0x80000000) != 0 ? 0 : korAuditErrors(level);
}

void PtrInterface::zeroReferencesIs(bool) {}

void PtrInterface::referencesLeak() const {
    referencesInc();
    if (ptrifTrackOn_ != 0) {
        PtrTrack::ptrifDel(this);
    }
}

void PtrInterface::handleZeroRef() const noexcept {
    // Counted objects are never made const, so the hook may have the object as it is.
    auto* self = const_cast<PtrInterface*>(this);
    self->referencesInc();
    self->zeroReferencesIs(true);
    if (hasSoleHolder()) {
        delete self;
    } else {
        referencesDec();
    }
}

} // namespace Kor
