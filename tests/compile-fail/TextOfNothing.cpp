// error: lack the enumeration or an enumerator, or name one that is none
#include "reflect/registry/TypeOf.h"

#ifdef FIXED
#define SECOND "second"
#else
#define SECOND "secnod"
#endif

enum Place : Kor::U32 { first, second };
KOR_ENUMERATION(Place, "", "A place", "first", "The first one", SECOND, "The second one")

auto const& spec = Kor::detail::SpecOf<Place>::attributes;
