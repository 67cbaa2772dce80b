// The seam to the type objects: the runtime knows that an object has one, and nothing more. Whoever brings
// Kor::KorType defines these two instead of this file.

#include "runtime/PtrInterface.h"

namespace Kor {

KorType* PtrInterface::fwkType() const {
    return _fwkType();
}

KorType* PtrInterface::_fwkType() {
    return nullptr;
}

} // namespace Kor
