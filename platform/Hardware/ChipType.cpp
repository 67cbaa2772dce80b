#include "platform/Hardware/ChipType.h"

#include "reflect/Enumeration.h"

#include <ostream>

namespace Hardware {

std::ostream& operator<<(std::ostream& stream, ChipType chipType) {
    return stream << Kor::enumeratorText(chipType, "ChipType");
}

namespace Loam {

std::ostream& operator<<(std::ostream& stream, FapType fapType) {
    return stream << Kor::enumeratorText(fapType, "FapType");
}

} // namespace Loam

} // namespace Hardware
