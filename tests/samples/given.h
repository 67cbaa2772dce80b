// What every sample of the headers has around it: all public headers, and their namespaces.

#include "attrlog/adapter/AttrLogTypes.h"
#include "attrlog/adapter/WireForm.h"
#include "attrlog/session/Session.h"
#include "chip/RowWriter.h"
#include "forms/Counters.h"
#include "forms/Declaration.h"
#include "forms/Diagnostics.h"
#include "forms/Entries.h"
#include "forms/Fields.h"
#include "forms/Json.h"
#include "forms/Path.h"
#include "forms/RecordView.h"
#include "forms/Recording.h"
#include "forms/SchemaJson.h"
#include "forms/Values.h"
#include "link/Connector.h"
#include "link/Listener.h"
#include "link/LockFile.h"
#include "model/LoamTunnelModel.h"
#include "model/LoamTunnelTypeList.h"
#include "owner/IndexAllocator.h"
#include "owner/LifPlace.h"
#include "platform/Hardware/Loam/DestinationId.h"
#include "platform/Lumen/EthAddr.h"
#include "reflect/box/GenericIf.h"
#include "reflect/registry/TypeOf.h"
#include "reflect/type/Dir.h"
#include "reflect/type/IntrospectionReactor.h"
#include "runtime/BlockList.h"
#include "runtime/BreachGuard.h"
#include "runtime/ClassName.h"
#include "runtime/HandlerExceptions.h"
#include "runtime/LinkedQueue.h"
#include "runtime/PlainText.h"
#include "runtime/PtrTrack.h"
#include "runtime/RbTreeMap.h"
#include "runtime/TypeHook.h"
#include "tables/LoamTunnelMetaInfo.h"
#include "tables/TableInfos.h"
#include "testing/FakeOwner.h"
#include "values/Tracing.h"

#define ASIO_STANDALONE
#include <asio/io_context.hpp>
#include <csignal>
#include <cstdio>
#include <fstream>
#include <iostream>
#include <poll.h>

namespace given {

using namespace Kor;
using namespace Kor::NboAttrLog;
using namespace Hardware;
using namespace Hardware::LoamTunnel;
using Kor::U16;
using Kor::U32;
using Kor::U64;
using Kor::U8;

extern Kor::Ptr<LifAppConfigDir> lifAppConfigDir;
extern Kor::Ptr<LifAppStatusDir> lifAppStatusDir;
extern Kor::Ptr<LifAppConfig> lifAppConfig;
extern std::span<U8 const> bytes;
extern std::span<U8 const> received;
extern std::size_t sent;
extern U8* buffer;

} // namespace given
