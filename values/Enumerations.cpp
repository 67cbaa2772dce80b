#include "values/AradIvecFormat.h"
#include "values/AradLifIndex.h"
#include "values/EedbFormat.h"
#include "values/EveSources.h"
#include "values/IveSources.h"
#include "values/LifType.h"
#include "values/TcamSharing.h"

#include <ostream>

namespace Hardware::LoamTunnel {

KOR_ENUMERATION_BODY(AradLifBank)
KOR_ENUMERATION_BODY(EedbFormat)
KOR_ENUMERATION_BODY(EvePcpDeiSource)
KOR_ENUMERATION_BODY(EveVlanIdSource)
KOR_ENUMERATION_BODY(IveVlanIdSource)
KOR_ENUMERATION_BODY(IveVlanPcpDeiSource)
KOR_ENUMERATION_BODY(LifType)
KOR_ENUMERATION_BODY(TcamSharingResult)
KOR_ENUMERATION_BODY(acType)
KOR_ENUMERATION_BODY(labelLifType)
KOR_NESTED_ENUMERATION_BODY(AradIvecFormat, TagsToRemoveOption)

} // namespace Hardware::LoamTunnel
