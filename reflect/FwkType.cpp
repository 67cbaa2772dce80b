#include "reflect/FwkType.h"

namespace Kor {

static constinit TypeSeed::Make typeSource = nullptr;

void typeSourceIs(TypeSeed::Make source) noexcept {
    typeSource = source;
}

KorType* typeOfSeed(TypeSeed const& seed) {
    return typeSource != nullptr ? typeSource(seed) : nullptr;
}

} // namespace Kor
