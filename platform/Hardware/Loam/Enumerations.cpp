#include "platform/Hardware/Loam/FapType.h"
#include "platform/Hardware/Loam/Ports.h"
#include "platform/Hardware/Loam/VlanEdit.h"
#include "platform/Hardware/Loam/VtAppId.h"

#include <ostream>

namespace Hardware::Loam {

KOR_ENUMERATION_BODY(FapType)
KOR_ENUMERATION_BODY(IveProfile)
KOR_ENUMERATION_BODY(VlanTagFormat)
KOR_ENUMERATION_BODY(VtAppId)

} // namespace Hardware::Loam

namespace Hardware::Loam::DrvHelper {

KOR_ENUMERATION_BODY(PortState)

} // namespace Hardware::Loam::DrvHelper
