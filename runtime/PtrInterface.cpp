#include "runtime/PtrInterface.h"

#include "runtime/PtrTrack.h"

namespace Kor {

U8 VFPtrInterface::enableThreadSafePointers = 0;

PtrInterface::PtrInterface() : VFPtrInterface(1) {
    if (ptrifTrackOn_) [[unlikely]] {
        PtrTrack::ptrifAdd(this);
    }
}

PtrInterface::PtrInterface(PtrInterface const&) : PtrInterface() {}

PtrInterface::~PtrInterface() {
    if (ptrifTrackOn_) [[unlikely]] {
        PtrTrack::ptrifDel(this);
    }
}

void PtrInterface::hasNotificationActiveIs(bool active) {
    flagIs(notificationActiveBit, active);
}

U32 PtrInterface::korAuditErrors(unsigned int) const {
    return 0;
}

U32 PtrInterface::auditErrors(unsigned int level) const {
    return (level & 0x80000000u) ? 0 : korAuditErrors(level);
}

void PtrInterface::zeroReferencesIs(bool) {}

KorType* PtrInterface::fwkType() const {
    return nullptr;
}

void PtrInterface::referencesLeak() const {
    referencesInc();
    if (ptrifTrackOn_) {
        PtrTrack::ptrifDel(this);
    }
}

void PtrInterface::handleZeroRef() const {
    auto* const self = const_cast<PtrInterface*>(this);
    // The end holds a reference of its own, so that those which the hook and the destructor take and drop
    // don't bring the object here again.
    referencesInc();
    self->zeroReferencesIs(false);
    if (!hasSoleHolder()) {
        referencesDec();
        return;
    }
    delete self;
}

} // namespace Kor
