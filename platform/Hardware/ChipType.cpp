#include "platform/Hardware/ChipType.h"

#include <ostream>

namespace Hardware {

KOR_ENUMERATION_BODY(ChipType)

} // namespace Hardware
