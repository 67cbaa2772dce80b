#pragma once

/// Boxes: any value or object behind one interface.

#include "reflect/KorType.h"

namespace Kor {

class __attribute__((visibility("default"))) GenericIf : public PtrInterface::NotifieeConst {
protected:
    GenericIf() = default;
};

} // namespace Kor
