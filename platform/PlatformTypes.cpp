#include "platform/PlatformTypes.h"

#include "reflect/TypeOf.h"

namespace Hardware::Loam {

void platformTypesLoad() {
    static constinit Kor::TypeModule module(PlatformTypes::seeds);
    static Kor::TypeModule::Load const load(module);
}

} // namespace Hardware::Loam
