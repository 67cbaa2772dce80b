#include "simulate/NextSchema.h"

#include "reflect/registry/TypeOf.h"
#include "reflect/type/TypeModule.h"

namespace Hardware::LoamTunnel {

KOR_ENUMERATION_BODY(NewAppId)

using NextTypes = Kor::TypeModuleOf<NewAppId, NewAppConfig, NewAppConfigDir>;

namespace {

Kor::TypeModule nextTypes(NextTypes::seeds);
Kor::TypeModule::Load const load(nextTypes);
Kor::AttrLogTypes<NextTypes> const attrLogAtLoad;

} // namespace

} // namespace Hardware::LoamTunnel
