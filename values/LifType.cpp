#include "values/LifType.h"

#include <ostream>

namespace Hardware::LoamTunnel {

KOR_ENUMERATION_BODY(LifType)
KOR_ENUMERATION_BODY(acType)
KOR_ENUMERATION_BODY(labelLifType)

} // namespace Hardware::LoamTunnel
