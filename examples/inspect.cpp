/// A tool that knows no type beforehand: it makes an object by its type's name, sets what it is told to,
/// prints all that there is, and hears of changes.

#include "model/LoamTunnelModule.h"
#include "platform/Hardware/Loam/VtAppId.h"
#include "reflect/box/GenericIf.h"
#include "reflect/type/KorType.h"
#include "runtime/Exception.h"

#include <cstdio>
#include <string>

using Kor::GenericIf;
using Kor::KorAttr;
using Kor::KorType;
using Kor::Ptr;
using Op = Kor::GenericIf::AttributeOp;

namespace {

std::string text(Ptr<GenericIf const> const& box) {
    return box ? std::string(box->strRep().view()) : "None";
}

/// Prints what an object has, and goes down into its children.
void show(GenericIf const& box, int depth) {
    for (Ptr<KorAttr const> const& each : box.type()->attributes()) {
        if (each->isInherited() || each->shape().isOperation()) {
            continue;
        }
        std::printf("%*s%s", depth, "", each->name().charPtr());
        Kor::AttributeId const id = each->attributeId();
        if (each->keyType() == nullptr) {
            // A read changes nothing, so that it may be asked for of a copy of the box.
            std::printf(" = %s\n", text(box.clone()->attributeOp({id, Op::get}, nullptr, nullptr)).c_str());
            continue;
        }
        std::printf("\n");
        for (auto at = box.attributeIteratorConst(id); at; ++at) {
            bool const isChild = at.value() && at.value()->type()->isEntity();
            std::printf("%*s[%s]%s\n", depth + 2, "", text(at.key()).c_str(),
                        isChild ? "" : (" = " + text(at.value())).c_str());
            if (isChild) {
                show(*at.value(), depth + 4);
            }
        }
    }
}

/// Sets the member of an attribute, both given as text, and each of the type that the attribute has.
void set(Ptr<GenericIf> const& box, char const* attribute, char const* key, char const* value) {
    Kor::AttributeId const id = box->attributeId(attribute);
    KorAttr const* const of = box->type()->attribute(id);
    box->attributeOp({id, Op::set}, of->keyType()->genericIf(Kor::String8(key), true),
                     of->type()->genericIf(Kor::String8(value), true));
}

/// Says what has changed, whatever it is.
class Changes : public GenericIf::Listener {
public:
    void onAttribute(GenericIf& box, Kor::AttributeId attribute, GenericIf::Key const& key) override {
        std::printf("* %s[%s] has changed\n", box.attributeString(attribute).charPtr(), text(key).c_str());
    }
};

} // namespace

int main() {
    KorType const* const type = KorType::named("Hardware::LoamTunnel::LifAppStatusDir");
    Ptr<Kor::Entity> const entity = type->newEntity("lifStatus", nullptr);
    Ptr<GenericIf> const dir = KorType::genericIf(entity.ptr(), false);

    // A child is made from a list of its constructor's arguments, which are boxes, too.
    auto const arguments = Kor::makePtr<GenericIf::List_>();
    arguments->list().enq(Kor::boxOf(Hardware::Loam::vtAppMpls));
    Ptr<GenericIf> const status =
        dir->attributeOp({dir->attributeId("appStatus"), Op::set}, nullptr, arguments);
    status->listenerIs(Kor::makePtr<Changes>());

    set(status, "lifEntry",
        "Value('Hardware::LoamTunnel::AradLifEntry', ** {'lifType': 'lifAcMp', 'dword0': 100, 'dword1': 0})",
        "Value('Hardware::LoamTunnel::AradLifIndex', ** {'index': 7, 'startingBank': 'lifBankManaged'})");
    show(*dir, 0);
    try {
        set(status, "lifEntry", "none at all", "7");
    } catch (Kor::Exception const& exception) {
        std::printf("refused: %s\n", exception.what());
    }
    return 0;
}
