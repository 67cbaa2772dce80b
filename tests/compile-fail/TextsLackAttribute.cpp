// error: the texts lack the type, an attribute or an enumerator
#include "reflect/registry/TypeOf.h"
#include "values/ValueNames.h"

class Pair : public Kor::ValueOf<Pair, Kor::Stored<Kor::name::word0, Kor::U32>,
                                 Kor::Stored<Kor::name::word1, Kor::U32>> {
public:
#ifdef FIXED
    static constexpr auto korTexts =
        Kor::texts("", "Two words", "word0", "The first word", "word1", "The second word");
#else
    static constexpr auto korTexts = Kor::texts("", "Two words", "word0", "The first word");
#endif

    using ValueOf::ValueOf;
};

constexpr auto spec = Kor::detail::specOf<Pair>();
