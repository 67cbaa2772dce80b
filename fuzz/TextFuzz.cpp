/// Feeds the text reader of every value and enumeration of the registry. The first byte of an input chooses
/// the type, the rest is the text.
///
///     TextFuzz fuzz/corpus/TextFuzz -max_total_time=20
///
/// What reads must be written, and what is written must read back as the same value.

#include "model/LoamTunnelModel.h"
#include "reflect/GenericIf.h"
#include "reflect/IntrospectionReactor.h"

#include <cstdlib>

using namespace Kor;

namespace {

Ptr<GenericIf> read(KorType const& type, String8 const& text) {
    try {
        return type.genericIf(text, true);
    } catch (RangeException const&) {
        return nullptr;
    }
}

/// Those that have a text; a value of constants alone has none to read back.
std::vector<KorType const*> textTypes() {
    std::vector<KorType const*> types;
    for (KorType const* type : IntrospectionReactor::global()->types()) {
        auto const box = type->genericIf(static_cast<void const*>(nullptr), true);
        if (type->isEnumType() || (type->isValue() && box && read(*type, box->strRep()))) {
            types.push_back(type);
        }
    }
    return types;
}

void check(bool holds) {
    if (!holds) {
        std::abort();
    }
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(U8 const* data, std::size_t size) {
    static std::vector<KorType const*> const types = textTypes();
    if (size == 0) {
        return 0;
    }
    KorType const& type = *types[data[0] % types.size()];
    String8 const text(std::string_view(reinterpret_cast<char const*>(data + 1), size - 1));
    Ptr<GenericIf> const box = read(type, text);
    if (!box) {
        return 0;
    }
    String8 const written = box->strRep();
    Ptr<GenericIf> const again = read(type, written);
    check(again && again->strRep() == written);
    check(type.isEnumType() ||
          unbox<bool>(*box->attributeOp({0, GenericIf::AttributeOp::equals}, again, nullptr)));
    return 0;
}
