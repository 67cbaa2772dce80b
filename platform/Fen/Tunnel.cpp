#include "platform/Fen/Tunnel.h"

#include <ostream>

namespace Fen {
KOR_ENUMERATION_BODY(TunnelType)
} // namespace Fen

namespace FenTypes {
KOR_ENUMERATION_BODY(TableAddStatus)
} // namespace FenTypes
