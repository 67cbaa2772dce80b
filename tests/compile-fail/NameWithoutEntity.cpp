// error: an attribute of an entity needs the third word in the making of its name
// lines: at most 12
#include "reflect/entity/EntityPattern.h"

#ifdef FIXED
KOR_NAME(depth, Depth, entity)
#else
KOR_NAME(depth, Depth)
#endif

class Tank final : public Kor::EntityOf<Tank, Kor::Singleton<Kor::name::depth, Kor::U32>> {
public:
    using EntityOver::EntityOver;
};
