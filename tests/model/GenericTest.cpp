/// The box of every type of the model, driven by what the type objects tell, and no other knowledge of the
/// types. What a box refuses, and in which words, TypeRegistryTest says of each kind of attribute.

#include "model/FapTypeProperties.h"
#include "model/LoamTunnelModule.h"
#include "reflect/box/GenericBox.h"
#include "values/LoamTunnelTypes.h"

#include <algorithm>
#include <gtest/gtest.h>
#include <set>
#include <string>

namespace {

using Kor::boxOf;
using Kor::GenericIf;
using Kor::KorAttr;
using Kor::KorType;
using Kor::U32;
using Op = GenericIf::AttributeOp;
using Box = Kor::Ptr<GenericIf>;

Box op(Box const& box, KorAttr const& attr, Op::OpId id, Box const& key = nullptr,
       Box const& value = nullptr) {
    return box->attributeOp({attr.attributeId(), id}, key, value);
}

U32 number(Box const& box) {
    return Kor::unbox<U32>(*box);
}

template <class Refusal, class Attempt>
void refused(KorAttr const& attr, Attempt const& attempt) {
    EXPECT_THROW(attempt(), Refusal) << attr.owner()->fullName().charPtr() << "::" << attr.name().charPtr();
}

/// A box with what the type's constructor makes of default arguments.
Box made(KorType const* type) {
    if (type->isEnumType()) {
        return type->genericIf(static_cast<void*>(nullptr), false);
    }
    auto const arguments = Kor::makePtr<GenericIf::List_>();
    if (!type->isValue()) {
        for (auto const& each : type->constructorArgTypeQQueue()) {
            arguments->list().enq(
                KorType::named(each.value.view())->genericIf(static_cast<void*>(nullptr), false));
        }
    }
    return type->genericIf(arguments.ptr(), false);
}

/// How often the boxed entity was read; 0 for what does not count.
U32 reads(Box const& box) {
    return box->type()->isEntity() ? number(box->attributeOp({132, Op::get}, nullptr, nullptr)) : 0;
}

void scalar(Box const& box, KorAttr const& attr, bool settable) {
    U32 const before = reads(box);
    Box const read = op(box, attr, Op::get);
    EXPECT_EQ(reads(box) - before, box->type()->isEntity() && !attr.isOfEveryEntity() ? 1u : 0u)
        << attr.name().charPtr();
    EXPECT_TRUE(!read || read->type()->isA(attr.type())) << attr.name().charPtr();
    if (!settable) {
        refused<Kor::OpNotSupportedException>(attr, [&] { op(box, attr, Op::set, nullptr, read); });
        return;
    }
    if (attr.type() == Kor::fwkTypeOf<U32>()) {
        U32 const other = number(read) ^ 1;
        box->set(attr.attributeId(), other);
        EXPECT_EQ(box->get<U32>(attr.attributeId()), other);
        EXPECT_EQ(number(op(box, attr, Op::get)), other);
    }
    if (read) { // not a reference to nothing
        EXPECT_EQ(op(box, attr, Op::set, nullptr, read), nullptr);
        EXPECT_EQ(op(box, attr, Op::get)->strRep(), read->strRep());
    }
}

void map(Box const& box, KorAttr const& attr, bool hasKeyInside, bool ofChildren, bool ofObjects) {
    Box const value = ofChildren ? Kor::makePtr<GenericIf::List_>() : made(attr.type());
    Box key = attr.keyType()->genericIf(static_cast<void*>(nullptr), true);
    if (hasKeyInside) {
        key = value->attributeOp({value->attributeId(attr.keyAttributeName()), Op::get}, nullptr, nullptr);
    } else if (ofChildren) {
        Kor::unbox<GenericIf::List>(*value); // it is one
        static_cast<GenericIf::List_&>(*value).list().enq(key);
    }
    bool const takesKey = !hasKeyInside && !ofChildren;
    U32 const before = number(op(box, attr, Op::count));
    U32 const version = number(op(box, attr, Op::version));
    EXPECT_EQ(op(box, attr, Op::contains, key)->strRep(), "False");
    U32 const readBefore = reads(box);
    Box const absent = op(box, attr, Op::get, key);
    EXPECT_EQ(reads(box) - readBefore, box->type()->isEntity() ? 1u : 0u);
    EXPECT_EQ(absent == nullptr, ofChildren || ofObjects);
    Box const child = op(box, attr, Op::set, takesKey ? key : nullptr, value);
    EXPECT_EQ(child != nullptr, ofChildren);
    if (attr.name() == "freeMirrorSession") { // a queue: only what is there can be set
        EXPECT_EQ(number(op(box, attr, Op::count)), before);
        return;
    }
    EXPECT_EQ(number(op(box, attr, Op::count)), before + 1) << attr.name().charPtr();
    EXPECT_NE(number(op(box, attr, Op::version)), version);
    EXPECT_EQ(op(box, attr, Op::contains, key)->strRep(), "True");
    Kor::String8 const text = op(box, attr, Op::get, key)->strRep();
    EXPECT_EQ(text, ofChildren ? child->strRep() : value->strRep());

    auto const at = box->attributeIteratorKeyConst(attr.attributeId(), key);
    EXPECT_TRUE(at && at.key()->strRep() == key->strRep() && at.value()->strRep() == text);
    U32 walked = 0;
    for (auto walk = box->attributeIteratorConst(attr.attributeId()); walk; ++walk) {
        ++walked;
    }
    EXPECT_EQ(walked, before + 1);
    EXPECT_NE(op(box, attr, Op::del, key), nullptr);
    EXPECT_EQ(number(op(box, attr, Op::count)), before);
}

/// An operation looks at its arguments in order, and then for one too many. None of these calls gets through.
void operation(Box const& box, KorAttr const& attr) {
    refused<Kor::OpNotSupportedException>(attr, [&] { op(box, attr, Op::set); });
    refused<Kor::GenericTypeException>(attr, [&] { op(box, attr, Op::get); });
    refused<Kor::GenericTypeException>(attr, [&] { op(box, attr, Op::get, boxOf(true)); });
    auto const arguments = Kor::makePtr<GenericIf::List_>();
    for (auto const& each : attr.arguments()) {
        for (Box const& wrong : {Box(nullptr), Box(Kor::makePtr<GenericIf::List_>())}) {
            auto const list = Kor::makePtr<GenericIf::List_>(arguments->list());
            refused<Kor::GenericTypeException>(attr, [&] { op(box, attr, Op::get, list); });
            list->list().enq(wrong);
            refused<Kor::GenericTypeException>(attr, [&] { op(box, attr, Op::get, list); });
        }
        KorType const* const type = KorType::named(each.type.view());
        if (!type->isValue() || each.type == "Kor::BytePtr") {
            return; // has no default
        }
        arguments->list().enq(type->genericIf(static_cast<void*>(nullptr), false));
    }
    arguments->list().enq(boxOf(true));
    refused<Kor::UnknownArgException>(attr, [&] { op(box, attr, Op::get, arguments); });
}

/// Every cell of the table of an attribute's kind.
void attribute(Box const& box, KorAttr const& attr) {
    Kor::Shape const& shape = attr.shape();
    EXPECT_EQ(box->attributeId(attr.name()), attr.attributeId());
    if (shape.keyed) {
        return map(box, attr, shape.keyInside && !shape.child, shape.child, shape.reference);
    }
    if (!shape.isOperation()) {
        return scalar(box, attr, shape.settable);
    }
    if (attr.hasValue() || !attr.isOfEveryEntity()) {
        operation(box, attr);
    }
}

TEST(Generic, EveryTypeOfTheModel) {
    std::size_t attributes = 0;
    for (Kor::TypeSeed const& seed : Hardware::LoamTunnel::loamTunnelModule().types()) {
        KorType const* const type = KorType::named(seed.name);
        SCOPED_TRACE(type->fullName().charPtr());
        if (type->isEnumType()) {
            Box const box = type->genericIf(static_cast<void*>(nullptr), true);
            EXPECT_EQ(box->attributeOp({1, Op::set}, nullptr, nullptr)->strRep(), box->strRep());
            for (auto const& each : type->attributes()) {
                Kor::String8 const text = Kor::format("'%s'", each->name().charPtr());
                EXPECT_EQ(type->genericIf(text, true)->strRep(), text);
            }
            continue;
        }
        Box const box = made(type);
        std::string_view const name = type->name().view();
        EXPECT_EQ(box == nullptr, name == "OutAcRequest" || name == "OutAcConfig" || name == "OutAcStatus");
        if (!box) {
            continue;
        }
        EXPECT_EQ(box->type(), type);
        for (auto const& each : type->attributes()) {
            attribute(box, *each);
            ++attributes;
            Box const fixed = type->isValue()
                                  ? type->genericIf(box->voidPtrIs(type), true)
                                  : KorType::genericIf(static_cast<Kor::PtrInterface*>(
                                                           box->voidPtrIs(Kor::PtrInterface::_fwkType())),
                                                       true);
            refused<Kor::GenericConstException>(*each, [&] { op(fixed, *each, Op::del); });
        }
        if (type->isValue() && name != "EedbAcConstants") {
            EXPECT_EQ(
                box->attributeOp({0, Op::equals}, type->genericIf(box->strRep(), false), nullptr)->strRep(),
                "True");
        }
    }
    EXPECT_GT(attributes, 500u);
}

TEST(Generic, MadeByName) {
    std::set<std::string_view> const madeByOthersAlone{"OutAcConfig", "OutAcStatus", "HwIvecs"};
    for (Kor::TypeSeed const& seed : Hardware::LoamTunnel::loamTunnelModule().types()) {
        KorType* const type = KorType::named(seed.name);
        std::string takes;
        for (auto const& each : type->constructorArgTypeQQueue()) {
            takes += each.value.view();
        }
        bool const isMade =
            type->isEntity() && takes == "Kor::Name" && !madeByOthersAlone.contains(type->name().view());
        EXPECT_EQ(type->newEntity("n", nullptr) != nullptr, isMade) << seed.name;
    }
}

TEST(Generic, Operations) {
    using namespace Hardware;
    using namespace Hardware::LoamTunnel;
    auto const call = [](Box const& box, char const* name, std::initializer_list<Box> arguments) {
        auto const list = Kor::makePtr<GenericIf::List_>();
        for (auto const& each : arguments) {
            list->list().enq(each);
        }
        return box->attributeOp({box->attributeId(name), Op::get}, list, nullptr);
    };
    // A get that changes the copy, and setters that refuse through the box as they do without it.
    Box const index = boxOf(AradIhpIvectIndex());
    EXPECT_EQ(call(index, "setProfileAndFormat", {boxOf(Loam::iveProfile5), boxOf(Loam::vlanTagS)}), nullptr);
    EXPECT_EQ(index->strRep(), "29");
    EXPECT_THROW(index->attributeOp({5, Op::set}, nullptr, boxOf(Kor::U16{257})), Kor::RangeException);

    auto const properties = fapTypePropertiesFactory();
    AradLifIndex const lif(20000, lifBankManaged);
    EXPECT_EQ(number(call(boxOf(lif), "hwOffset", {boxOf(Loam::fapTypeArad), boxOf(properties)})),
              lif.hwOffset(Loam::fapTypeArad, properties));
    Box const set = boxOf(properties->properties(Loam::fapTypeJericho));
    EXPECT_EQ(number(call(set, "lifOffsetFromIndex", {boxOf(lif)})),
              properties->properties(Loam::fapTypeJericho)->lifOffsetFromIndex(lif));
    EXPECT_THROW(
        call(boxOf(EvecValue()), "writeToChipFormat", {boxOf(ChipType(4)), boxOf(Kor::BytePtr(nullptr))}),
        Kor::GenericTypeException);
    Kor::U8 buffer[64] = {}, same[64] = {};
    EvecValue(0x12345).writeToChipFormat(ChipType(4), same);
    call(boxOf(EvecValue(0x12345)), "writeToChipFormat", {boxOf(ChipType(4)), boxOf(Kor::BytePtr(buffer))});
    EXPECT_TRUE(std::equal(buffer, buffer + 64, same));
}

/// The box of an heir that only overrides is one of its base, and does what the heir does.
TEST(Generic, OfAnHeirThatOverrides) {
    using namespace Hardware;
    using namespace Hardware::LoamTunnel;
    using Properties = FapTypeProperties::Properties;
    using Arad = FapTypeProperties::AradProperties;
    struct Listener : GenericIf::Listener {
        void onAttribute(GenericIf&, Kor::AttributeId id, GenericIf::Key const&) override { heard = id; }
        Kor::AttributeId heard = 0;
    };
    auto const listener = Kor::makePtr<Listener>();
    auto const all = fapTypePropertiesFactory();
    auto const properties = all->properties(Loam::fapTypeArad);
    Box const box = boxOf(properties);
    auto* const asBase = dynamic_cast<Properties::GenericIf_*>(box.ptr());
    auto* const asHeir = dynamic_cast<Arad::GenericIf_*>(box.ptr());
    ASSERT_NE(asBase, nullptr);
    ASSERT_NE(asHeir, nullptr);
    EXPECT_EQ(asBase->obj(), properties);
    EXPECT_EQ(Kor::Ptr<Arad>(asHeir->obj()), properties);
    EXPECT_EQ(box->type(), Arad::_fwkType());
    for (KorType* type : {Arad::_fwkType(), Properties::_fwkType(), Kor::Entity::_fwkType()}) {
        EXPECT_EQ(box->voidPtrIs(type), properties.ptr());
    }
    EXPECT_THROW(box->voidPtrIs(FapTypeProperties::JerichoProperties::_fwkType()), Kor::GenericTypeException);

    Box const copy = box->clone();
    copy->listenerIs(listener);
    box->set(Properties::attributeIdOf<Kor::name::isemHwSize>(), U32{7});
    EXPECT_EQ(listener->heard, Properties::attributeIdOf<Kor::name::isemHwSize>());
    EXPECT_EQ(properties->isemHwSize(), 7u);
    copy->notifierIs(Kor::makePtr<Properties>(Loam::fapTypeArad)); // no object of the heir
    EXPECT_EQ(copy->notifier(), nullptr);
    auto const arguments = Kor::makePtr<GenericIf::List_>();
    arguments->list().enq(boxOf(Loam::fapTypeJericho));
    EXPECT_EQ(Arad::GenericIf_::genericIfListConstructor(arguments)->type(), Arad::_fwkType());
}

} // namespace
