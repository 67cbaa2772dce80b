/// The type objects, boxes and stream adapters of the library's types. Together they take a compiler too
/// long, so the build compiles this file LOAM_SHARDS times, each with every LOAM_SHARDS-th type from number
/// LOAM_SHARD on.

#include "attrlog/adapter/AttrLogTypes.h"
#include "model/LoamTunnelTypeList.h"
#include "reflect/registry/TypeOf.h"

using Shard = Hardware::LoamTunnel::LoamTunnelTypes::Every<LOAM_SHARD, LOAM_SHARDS>;
[[gnu::used]] static constexpr auto const& makers = Shard::seeds; // which instantiates them
static Kor::AttrLogTypes<Shard> const attrLogAtLoad;
