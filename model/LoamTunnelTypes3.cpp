#include "model/LoamTunnelTypeList.h"
#include "reflect/TypeOf.h"

// A sixth of the type objects: together they take a compiler too long.
template struct Kor::TypeMakersOf<Hardware::LoamTunnel::LoamTunnelTypes, 3, 6>;
