/// Feeds the text reader of every type of the registry: of values, enumerations and references to objects,
/// for which there is a small tree. The first byte of an input chooses the type, the rest is the text.
///
///     TextFuzz fuzz/corpus/TextFuzz -max_total_time=20
///
/// What reads must be written, and what is written must read back as the same value or object. A value of
/// constants alone is written as nothing, which is the one text that is not read back.

#include "model/LoamTunnelModel.h"
#include "reflect/box/GenericIf.h"
#include "reflect/type/Dir.h"
#include "reflect/type/IntrospectionReactor.h"

#include <cstdlib>
#include <vector>

using namespace Kor;

namespace {

Ptr<GenericIf> read(KorType const& type, String8 const& text) {
    try {
        return type.genericIf(text, true);
    } catch (RangeException const&) {
        return nullptr;
    }
}

bool isStateless(KorType const& type) {
    return type.isValue() && !type.isEnumType() && type.constructorArgTypeQQueue().head() == nullptr &&
           !type.attributes().empty();
}

/// Those that have a text, then those whose texts are references: numbers of inputs that are kept stay good.
std::vector<KorType const*> textTypes() {
    std::vector<KorType const*> types;
    std::vector<KorType const*> others;
    for (KorType const* type : IntrospectionReactor::global()->types()) {
        auto const box = type->isValue() ? type->genericIf(static_cast<void const*>(nullptr), true) : nullptr;
        if (type->isEnumType() || (type->isValue() && box && read(*type, box->strRep()))) {
            types.push_back(type);
        } else if (type->hasGenericIfSupport() && (!type->isValue() || isStateless(*type))) {
            others.push_back(type);
        }
    }
    types.insert(types.end(), others.begin(), others.end());
    return types;
}

/// What references lead to: children by keys of several types, a name with quotes, directories in one
/// another.
Ptr<Entity> tree() {
    using namespace Hardware::LoamTunnel;
    auto const root = makePtr<Dir>("root");
    auto const lifs = lifAppConfigDirFactory("it's");
    lifs->appConfigIs(Hardware::Loam::vtAppMpls);
    root->entityIs(lifs);
    auto const inner = makePtr<Dir>("inner");
    inner->entityIs(makePtr<Dir>("x"));
    root->entityIs(inner);
    auto const acs = makePtr<OutAcConfig>("acs");
    acs->acRequestIs(OutAcKey());
    root->entityIs(acs);
    return root;
}

void check(bool holds) {
    if (!holds) {
        std::abort();
    }
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(U8 const* data, std::size_t size) {
    static std::vector<KorType const*> const types = textTypes();
    static Ptr<Entity> const root = tree();
    textRootIs(root);
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
    if (isStateless(type)) {
        check(written.empty() && !read(type, written));
        return 0;
    }
    Ptr<GenericIf> const again = read(type, written);
    check(again && again->strRep() == written);
    if (!type.isValue()) {
        auto* const base = PtrInterface::_fwkType();
        check(box->type()->isA(&type) && box->voidPtrIs(base) == again->voidPtrIs(base));
    } else if (!type.isEnumType()) {
        check(unbox<bool>(*box->attributeOp({0, GenericIf::AttributeOp::equals}, again, nullptr)));
    }
    return 0;
}
