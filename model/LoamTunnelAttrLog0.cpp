#include "attrlog/StreamAdapterOf.h"
#include "model/LoamTunnelTypeList.h"

// A quarter of the stream adapters: together they take a compiler too long.
static Kor::AttrLogTypes<Hardware::LoamTunnel::LoamTunnelTypes, 0, 4> const attrLogAtLoad;
