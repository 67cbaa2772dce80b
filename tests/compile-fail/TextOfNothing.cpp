// error: lack the type, an attribute or an enumerator, or name something that is none
#include "reflect/registry/TypeOf.h"

#ifdef FIXED
#define SECOND "second"
#else
#define SECOND "secnod"
#endif

enum Place : Kor::U32 { first, second };
KOR_ENUMERATION(Place, "", "A place", "first", "The first one", SECOND, "The second one")

constexpr auto spec = Kor::detail::specOf<Place>();
