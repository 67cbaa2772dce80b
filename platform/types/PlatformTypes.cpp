#include "platform/types/PlatformTypes.h"

#include "attrlog/adapter/WireForm.h"
#include "reflect/registry/TypeOf.h"

namespace Hardware::Loam {

void platformTypesLoad() {
    static constinit Kor::TypeModule module(PlatformTypes::seeds);
    static Kor::TypeModule::Load const load(module);
    static Kor::WireTypes<PlatformTypes> const wire;
}

} // namespace Hardware::Loam
