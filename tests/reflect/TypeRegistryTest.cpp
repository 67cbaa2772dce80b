/// The definition of types from their declarations, on made-up ones.

#include "reflect/Dir.h"
#include "reflect/IntrospectionReactor.h"
#include "reflect/TypeModule.h"
#include "reflect/TypeOf.h"

#include <array>
#include <gtest/gtest.h>
#include <string>
#include <utility>
#include <vector>

KOR_NAME(tint, Tint)
KOR_NAME(shade, Shade)
KOR_NAME(label, Label, entity)
KOR_NAME(weight, Weight, entity)
KOR_NAME(paint, Paint, entity)
KOR_NAME(stock, Stock, entity)
KOR_NAME(mix, Mix)

namespace paints {

using Kor::U32;
using Kor::U8;

enum Hue : U32 { red = 1, blue = 4 };
KOR_ENUMERATION(Hue)
KOR_ENUMERATION_BODY(Hue)

class Colour
    : public Kor::ValueOf<Colour, Kor::Stored<Kor::name::tint, Hue>, Kor::Settable<Kor::name::shade, U32>,
                          Kor::Operation<Kor::name::mix, U32(Kor::Arg<Kor::name::tint, Hue>)>>,
      public Kor::Ordered<Colour>,
      public Kor::Hashed<Colour> {
public:
    enum Gloss : U32 { matt = 0 };
    KOR_NESTED_ENUMERATION(Gloss)
    using ValueOf::ValueOf;
    U32 mix(Hue with) const { return shade() + with; }
};
KOR_NESTED_ENUMERATION_BODY(Colour, Gloss)

class Dark
    : public Kor::DerivedValueOf<Dark, Colour, Kor::View<Kor::name::weight, U8, Kor::name::shade, 0, 3>> {
public:
    using DerivedValueOf::DerivedValueOf;
};

class Tin
    : public Kor::EntityOf<Tin, Kor::KeyAttribute<Kor::name::label, Hue>,
                           Kor::VirtualSingleton<Kor::name::weight, U32>,
                           Kor::VirtualOperation<Kor::name::mix, U32(Kor::Arg<Kor::name::shade, U32>)>> {
public:
    using EntityOver::EntityOver;
    virtual U32 mix(U32 shade) const { return shade; }
};

class BigTin final : public Kor::EntityOver<BigTin, Tin, Kor::Override<Kor::name::mix>> {
public:
    using EntityOver::EntityOver;
};

class Shelf : public Kor::EntityOf<Shelf, Kor::ValueMap<Kor::name::paint, Colour, bool>,
                                   Kor::EntityMap<Kor::name::stock, Tin>> {
public:
    using EntityOver::EntityOver;
};

using Module = Kor::TypeModuleOf<Hue, Colour, Colour::Gloss, Dark, Tin, BigTin, Shelf>;

} // namespace paints

namespace {

using namespace paints;

/// "id name type key" of each attribute; inherited ones with a leading dash.
std::vector<std::string> attributesOf(Kor::KorType const* type) {
    std::vector<std::string> all;
    for (auto const& attr : type->attributes()) {
        std::string line = attr->isInherited() ? "-" : "";
        line += std::to_string(attr->attributeId()) + " " + attr->name().charPtr();
        for (auto const& argument : attr->arguments()) {
            line += std::string("(") + argument.name.charPtr() + " " + argument.type.charPtr() + ")";
        }
        line += std::string(" ") + attr->type()->fullName().charPtr();
        if (attr->keyType() != nullptr) {
            line += std::string(" [") + attr->keyType()->fullName().charPtr() + " " +
                    attr->keyAttributeName().charPtr() + "]";
        }
        all.push_back(line);
    }
    return all;
}

TEST(TypeRegistry, Definition) {
    static constinit Kor::TypeModule module(Module::seeds);
    auto const& reactor = Kor::IntrospectionReactor::global();

    // Not ready: a type is bare, and defined later. The object stays the same.
    reactor->state()->isReady = false;
    Kor::KorType* const early = Tin::_fwkType();
    Kor::TypeModule::Load const load(module);
    EXPECT_EQ(Tin::_fwkType(), early); // asked for before the module was there, and known all the same
    Kor::KorType* const shelf = Shelf::_fwkType();
    EXPECT_FALSE(module.isInitialized());
    EXPECT_TRUE(shelf->attributes().empty());
    EXPECT_EQ(shelf->size(), 0u);
    EXPECT_EQ(shelf->fullName(), "paints::Shelf");
    reactor->state()->isReady = true;
    std::size_t const before = reactor->types().size();
    module.init();
    module.init();
    EXPECT_EQ(reactor->types().size(), before + 7);
    EXPECT_EQ(reactor->depth(), 0u);
    EXPECT_EQ(Shelf::_fwkType(), shelf);
    EXPECT_EQ(Kor::KorType::named("paints::Shelf"), shelf);
    EXPECT_EQ(Kor::makePtr<Shelf>("s")->fwkType(), shelf);

    using Lines = std::vector<std::string>;
    EXPECT_EQ(attributesOf(_fwkType_Hue()), (Lines{"1 red paints::Hue", "4 blue paints::Hue"}));
    EXPECT_TRUE(_fwkType_Hue()->isEnumType() && _fwkType_Hue()->isValue());
    EXPECT_EQ(_fwkType_Hue()->valAttr()->attributeId(), 1);

    EXPECT_EQ(attributesOf(Dark::_fwkType()), (Lines{"-2 tint paints::Hue", "-3 shade U32",
                                                     "-4 mix(tint paints::Hue) U32", "130 weight U8"}));
    EXPECT_EQ(Dark::_fwkType()->base(), Colour::_fwkType());
    EXPECT_EQ(Colour::_fwkType()->derivedTypeQQueue().head()->value, Dark::_fwkType());
    EXPECT_EQ(Dark::_fwkType()->constructorArgTypeQ(1), "paints::Hue");
    EXPECT_EQ(Dark::_fwkType()->constructorArgNameQ(2), "shade");
    EXPECT_EQ(Colour::_fwkType_Gloss()->scope(), Colour::_fwkType());
    EXPECT_EQ(Colour::_fwkType()->nestedType("Gloss"), Colour::_fwkType_Gloss());
    EXPECT_EQ(Colour::_fwkType()->size(), sizeof(Colour));

    auto const own = [](Kor::KorType const* type) {
        Lines lines;
        for (auto const& each : attributesOf(type)) {
            if (each[0] != '-') {
                lines.push_back(each);
            }
        }
        return lines;
    };
    EXPECT_EQ(own(Tin::_fwkType()),
              (Lines{"154 korHasAttrLogInterface bool", "258 label paints::Hue", "259 weight U32",
                     "260 mix(shade U32) U32", "0 fwkKey paints::Hue"}));
    EXPECT_EQ(own(BigTin::_fwkType())[1], "260 mix(shade U32) U32");
    EXPECT_EQ(Kor::makePtr<BigTin>(red)->attributeString(260), "mix");
    EXPECT_EQ(BigTin::_fwkType()->constructorArgNameQ(1), "label");
    EXPECT_EQ(own(shelf), (Lines{"154 korHasAttrLogInterface bool", "258 paint bool [paints::Colour ]",
                                 "259 stock(label paints::Hue) paints::Tin [paints::Hue label]"}));
    EXPECT_EQ(shelf->typeAttr()->attr("stock")->flags(), (Kor::AttrFlags{0x9a20143, 0x11000400}));
    EXPECT_EQ(BigTin::_fwkType()->typeAttr()->attr("mix")->flags().word0, 0x20001u);
    EXPECT_EQ(Tin::_fwkType()->typeAttr()->attr("mix")->flags().word0, 0x22001u);
    EXPECT_TRUE(BigTin::_fwkType()->isA(Kor::Entity::_fwkType()));
    EXPECT_EQ(Kor::Dir::_fwkType()->typeAttr()->attr("entry")->type(), Kor::Entity::_fwkType());
}

TEST(TypeRegistry, AReactorOfAnHeirTakesNoOtherClass) {
    auto const tin = Kor::makePtr<Tin>(red);
    auto const big = Kor::makePtr<BigTin>(red);
    auto const reactor = Kor::makePtr<BigTin::Notifiee>();
    reactor->isRegisteredNotifieeIs(true);
    reactor->notifierIs(tin);
    EXPECT_EQ(reactor->notifier(), nullptr);
    reactor->notifierIs(big);
    EXPECT_EQ(reactor->notifier(), big.ptr());
}

class Case final : public Kor::EntityOver<Case, Shelf> {
public:
    using EntityOver::EntityOver;
};

TEST(TypeRegistry, AnHeirLetsTheChildrenOfItsBaseGo) {
    struct Watcher : Shelf::Notifiee {
        int told = 0;
        void onStock(Hue const&) override { ++told; }
    };
    auto shelf = Kor::makePtr<Case>("c");
    auto const child = Kor::Ptr<Tin>(shelf->stockIs(red));
    auto const watcher = Kor::makePtr<Watcher>();
    watcher->isRegisteredNotifieeIs(true);
    watcher->isWeakReferenceIs(true);
    watcher->notifierIs(shelf);
    shelf = nullptr;
    EXPECT_EQ(watcher->told, 1);
    EXPECT_EQ(child->parent(), nullptr);
}

TEST(TypeRegistry, FailedDefinition) {
    // An exception ends the definition for good; what has been asked for stays bare.
    struct Broken {
        static Kor::KorType* make(Kor::TypeSeed const&) { throw std::bad_alloc(); }
    };
    static constexpr std::array<Kor::TypeSeed, 1> seeds{{{"paints::Broken", nullptr, &Broken::make}}};
    static constinit Kor::TypeModule module(seeds);
    EXPECT_THROW(Kor::TypeModule::Load const load(module), std::bad_alloc);
    EXPECT_TRUE(module.isInitialized());
    EXPECT_EQ(Kor::KorType::named("paints::Broken"), nullptr);
    EXPECT_EQ(Kor::IntrospectionReactor::global()->depth(), 0u);
}

struct DirReactor : Kor::Dir::Notifiee {
    void onEntry(Kor::Name const& name) override {
        auto const entry = std::as_const(*notifier()).entry(name);
        parents.push_back(entry ? entry->parent().ptr() : held->parent().ptr());
    }
    Kor::Ptr<Kor::Entity const> held; // which it is told has gone
    std::vector<Kor::Entity const*> parents;
};

TEST(Dir, SettlesTheParentBeforeItTells) {
    auto const dir = Kor::makePtr<Kor::Dir>("dir");
    auto const shelf = Kor::makePtr<Shelf>("shelf");
    auto const reactor = Kor::observe<DirReactor>(dir);
    reactor->held = shelf;
    dir->entityIs(shelf);
    dir->entryDel("shelf");
    EXPECT_EQ(reactor->parents, (std::vector<Kor::Entity const*>{dir.ptr(), nullptr}));
}

TEST(Dir, HoldsByName) {
    auto root = Kor::makePtr<Kor::Dir>("root");
    auto const branch = Kor::makePtr<Kor::Dir>("branch");
    auto shelf = Kor::makePtr<Shelf>("shelf");
    root->entityIs(branch);
    branch->entityIs(shelf);
    branch->entityIs(shelf);
    EXPECT_EQ(root->at("branch/shelf"), shelf);
    EXPECT_EQ(root->at("branch/shelf/none"), nullptr);
    EXPECT_EQ(shelf->fullName(), "root/branch/shelf");
    EXPECT_THROW(branch->entityIs(Kor::makePtr<Shelf>("shelf")), Kor::NameInUseException);
    for (char const* name : {"", "a/b", "a[b"}) { // what a path could not lead to
        EXPECT_THROW(branch->entityIs(Kor::makePtr<Shelf>(name)), Kor::RangeException) << name;
    }
    EXPECT_THROW(branch->entityIs(nullptr), Kor::RangeException);
    EXPECT_THROW(branch->entityIs(root), Kor::RangeException);
    EXPECT_THROW(root->entityIs(shelf), Kor::RangeException); // it has a parent
    EXPECT_THROW(branch->entryIs("other", shelf), Kor::RangeException);
    EXPECT_EQ(shelf->parent(), branch);
    branch->entryIs("shelf", nullptr);
    EXPECT_EQ(shelf->parent(), nullptr);
    root = nullptr;
    EXPECT_EQ(branch->parent(), nullptr);
}

} // namespace
