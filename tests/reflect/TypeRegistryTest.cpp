/// Made-up types: how they are defined from their declarations, and what their boxes accept and refuse, with
/// lists of arguments, walks and changes. The first test has to be the first one that asks for them.

#include "reflect/registry/TypeOf.h"
#include "reflect/type/Dir.h"
#include "reflect/type/IntrospectionReactor.h"
#include "reflect/type/TypeModule.h"

#include <array>
#include <gtest/gtest.h>
#include <string>
#include <utility>
#include <vector>

KOR_NAME(tint, Tint)
KOR_NAME(shade, Shade)
KOR_NAME(low, Low)
KOR_NAME(most, Most)
KOR_NAME(mix, Mix)
KOR_NAME(label, Label, entity)
KOR_NAME(weight, Weight, entity)
KOR_NAME(paint, Paint, entity)
KOR_NAME(sample, Sample, entity)
KOR_NAME(stock, Stock, entity)
KOR_NAME(other, Other, entity)

namespace crates {

using Kor::U32;
using Kor::U8;

enum Hue : U32 { red = 1, blue = 4 };
KOR_ENUMERATION(Hue)
KOR_ENUMERATION_BODY(Hue)

class Colour
    : public Kor::ValueOf<
          Colour, Kor::Stored<Kor::name::tint, Hue, red>, Kor::Settable<Kor::name::shade, U32>,
          Kor::View<Kor::name::low, U8, Kor::name::shade, 0, 3>, Kor::Constant<Kor::name::most, U32, 7>,
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
    struct Hearer {}; // a word by which the library tells its own reactors
    virtual U32 mix(U32 shade) const { return shade; }
};

class BigTin final : public Kor::EntityOver<BigTin, Tin, Kor::Override<Kor::name::mix>> {
public:
    using EntityOver::EntityOver;
};

class Shelf
    : public Kor::EntityOf<
          Shelf, Kor::ValueMap<Kor::name::paint, U32, U32>,
          Kor::KeyedMap<Kor::name::sample, Colour, Kor::name::tint>, Kor::EntityMap<Kor::name::stock, Tin>,
          Kor::ReferenceMap<Kor::name::other, U32, Tin>, Kor::Operation<Kor::name::mix, void()>> {
public:
    using EntityOver::EntityOver;
    void mix() { paintIs(1, 1); }
};

/// Its own attribute stands at the next level of ids.
class LongShelf final : public Kor::EntityOver<LongShelf, Shelf, Kor::Singleton<Kor::name::weight, U32>> {
public:
    using EntityOver::EntityOver;
};

class Drawer final : public Kor::EntityOf<Drawer, Kor::KeyAttribute<Kor::name::label, Kor::String8>> {
public:
    using EntityOver::EntityOver;
};
class Chest final : public Kor::EntityOf<Chest, Kor::EntityMap<Kor::name::stock, Drawer>> {
public:
    using EntityOver::EntityOver;
};

using Module = Kor::TypeModuleOf<Hue, Colour, Colour::Gloss, Dark, Tin, BigTin, Shelf, LongShelf>;
constinit Kor::TypeModule chests(Kor::TypeModuleOf<Drawer, Chest>::seeds);
constinit Kor::TypeModule module(Module::seeds);
void load() {
    static Kor::TypeModule::Load const load(module);
}

} // namespace crates

namespace {

using namespace crates;
using Kor::boxOf;
using Kor::GenericIf;
using Op = GenericIf::AttributeOp;
using Box = Kor::Ptr<GenericIf>;

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
    auto const& reactor = Kor::IntrospectionReactor::global();

    // Not ready: a type is bare, and defined later. The object stays the same.
    reactor->state()->isReady = false;
    Kor::KorType* const early = Tin::_fwkType();
    load();
    EXPECT_EQ(Tin::_fwkType(), early); // asked for before the module was there, and known all the same
    Kor::KorType* const shelf = Shelf::_fwkType();
    EXPECT_FALSE(module.isInitialized());
    EXPECT_TRUE(shelf->attributes().empty());
    EXPECT_EQ(shelf->size(), 0u);
    EXPECT_EQ(shelf->fullName(), "crates::Shelf");
    reactor->state()->isReady = true;
    std::size_t const before = reactor->types().size();
    module.init();
    module.init();
    EXPECT_EQ(reactor->types().size(), before + 8);
    EXPECT_EQ(reactor->depth(), 0u);
    EXPECT_EQ(Shelf::_fwkType(), shelf);
    EXPECT_EQ(Kor::KorType::named("crates::Shelf"), shelf);
    EXPECT_EQ(Kor::makePtr<Shelf>("s")->fwkType(), shelf);

    using Lines = std::vector<std::string>;
    EXPECT_EQ(attributesOf(_fwkType_Hue()), (Lines{"1 red crates::Hue", "4 blue crates::Hue"}));
    EXPECT_TRUE(_fwkType_Hue()->isEnumType() && _fwkType_Hue()->isValue());
    EXPECT_EQ(_fwkType_Hue()->valAttr()->attributeId(), 1);

    EXPECT_EQ(attributesOf(Dark::_fwkType()),
              (Lines{"-2 tint crates::Hue", "-3 shade U32", "-4 low U8", "-5 most U32",
                     "-6 mix(tint crates::Hue) U32", "130 weight U8"}));
    EXPECT_EQ(Dark::_fwkType()->base(), Colour::_fwkType());
    std::vector<Kor::KorType*> derived;
    for (auto const& each : Colour::_fwkType()->derivedTypeQQueue()) {
        derived.push_back(each.value.ptr());
    }
    EXPECT_EQ(derived, std::vector{Dark::_fwkType()}); // once
    EXPECT_EQ(Dark::_fwkType()->constructorArgTypeQ(1), "crates::Hue");
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
              (Lines{"154 korHasAttrLogInterface bool", "258 label crates::Hue", "259 weight U32",
                     "260 mix(shade U32) U32", "0 fwkKey crates::Hue"}));
    EXPECT_EQ(own(BigTin::_fwkType())[1], "260 mix(shade U32) U32");
    EXPECT_EQ(Kor::makePtr<BigTin>(red)->attributeString(260), "mix");
    EXPECT_EQ(BigTin::_fwkType()->constructorArgNameQ(1), "label");
    EXPECT_EQ(own(shelf), (Lines{"154 korHasAttrLogInterface bool", "258 paint U32 [U32 ]",
                                 "259 sample crates::Colour [crates::Hue tint]",
                                 "260 stock(label crates::Hue) crates::Tin [crates::Hue label]",
                                 "261 other crates::Tin [U32 ]", "262 mix Kor::Builtin<void*>"}));
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

TEST(TypeRegistry, AnHeirLetsTheChildrenOfItsBaseGo) {
    struct Watcher : Shelf::Notifiee {
        int told = 0;
        void onStock(Hue const&) override { ++told; }
    };
    auto shelf = Kor::makePtr<LongShelf>("c");
    auto const child = Kor::Ptr<Tin>(shelf->stockIs(red));
    auto const watcher = Kor::observe<Watcher>(shelf);
    watcher->isWeakReferenceIs(true);
    shelf = nullptr;
    EXPECT_EQ(watcher->told, 1);
    EXPECT_EQ(child->parent(), nullptr);
}

TEST(TypeRegistry, FailedDefinition) {
    // An exception ends the definition for good; what has been asked for stays bare.
    struct Broken {
        static Kor::KorType* make(Kor::TypeSeed const&) { throw std::bad_alloc(); }
    };
    static constexpr std::array<Kor::TypeSeed, 1> seeds{{{"crates::Broken", nullptr, &Broken::make}}};
    static constinit Kor::TypeModule module(seeds);
    EXPECT_THROW(Kor::TypeModule::Load const load(module), std::bad_alloc);
    EXPECT_TRUE(module.isInitialized());
    EXPECT_EQ(Kor::KorType::named("crates::Broken"), nullptr);
    EXPECT_EQ(Kor::IntrospectionReactor::global()->depth(), 0u);
}

struct NameReactor : Kor::Dir::Notifiee {
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
    auto const reactor = Kor::observe<NameReactor>(dir);
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

/// What a refusal says behind the words of its class, which the test knows.
std::string wordOf(std::string const& kind, Kor::Exception const& refusal, std::string const& lead = "") {
    std::string const message = refusal.what();
    return kind + (message.starts_with(lead) ? message.substr(lead.size()) : " not led in: " + message);
}

/// What came of it: a text, "null", or the word of the refusal with the class's first letters in front.
template <class Attempt>
std::string outcome(Attempt const& attempt) {
    try {
        Kor::Ptr<GenericIf const> const box = attempt();
        return box ? box->strRep().charPtr() : "null";
    } catch (Kor::GenericTypeException const& e) {
        return wordOf("type: ", e, "missing or of the wrong type: ");
    } catch (Kor::GenericConstException const& e) {
        return wordOf("const: ", e);
    } catch (Kor::UnknownArgException const& e) {
        return wordOf("arg: ", e, "one argument too many for ");
    } catch (Kor::UnknownAttrException const& e) {
        return wordOf("attr: ", e, "no such attribute: ");
    } catch (Kor::BadIndexAttrException const& e) {
        return wordOf("index: ", e, "a key was given, but none is taken by ");
    } catch (Kor::OpNotSupportedException const& e) {
        return wordOf("op: ", e);
    }
}

Box list(std::initializer_list<Box> arguments) {
    auto box = Kor::makePtr<GenericIf::List_>();
    for (Box const& each : arguments) {
        box->list().enq(each);
    }
    return box;
}

struct Cell {
    Kor::AttributeId attribute;
    U32 op;
    Box key, value;
    std::string expected;
};

void check(Box const& box, std::vector<Cell> const& cells) {
    for (auto const& cell : cells) {
        std::string const got = outcome([&] {
            return box->attributeOp({cell.attribute, static_cast<Op::OpId>(cell.op)}, cell.key, cell.value);
        });
        EXPECT_EQ(got, cell.expected) << cell.attribute << " op " << cell.op;
    }
}

TEST(GenericIf, Values) {
    load();
    Colour const colour(blue, 0x123);
    Box const box = boxOf(colour);
    EXPECT_EQ(box->attributeId("low"), 4);
    EXPECT_EQ(outcome([&] { return (box->attributeId("none"), Box()); }), "attr: crates::Colour::none");
    check(box, {
                   {2, Op::get, nullptr, nullptr, "'blue'"},
                   {2, Op::get, boxOf(U32{1}), nullptr, "index: tint"},
                   {2, Op::set, nullptr, boxOf(red), "op: tint does not support set"},
                   {3, Op::get, nullptr, nullptr, "291"},
                   {3, Op::set, nullptr, nullptr, "type: shade"},
                   {3, Op::set, nullptr, boxOf(red), "type: U32"},
                   {3, Op::set, nullptr, boxOf(U32{0x456}), "null"},
                   {4, Op::set, nullptr, boxOf(U8{0xff}), "null"}, // cut to the view, the rest stays
                   {3, Op::get, nullptr, nullptr, std::to_string(0x45f)},
                   {3, Op::count, nullptr, nullptr, "op: shade does not support count"},
                   {3, 77, nullptr, nullptr, "op: shade does not support operation 77"},
                   {5, Op::get, nullptr, nullptr, "7"},
                   {5, Op::set, nullptr, boxOf(U32{1}), "op: most does not support set"},
                   {6, Op::set, list({boxOf(red)}), nullptr, "op: mix does not support set"},
                   {6, Op::get, nullptr, nullptr, "type: Kor::GenericIf::List_"},
                   {6, Op::get, list({}), nullptr, "type: tint"},
                   {6, Op::get, list({nullptr}), nullptr, "type: tint"},
                   {6, Op::get, list({boxOf(red), boxOf(red)}), nullptr, "arg: mix"},
                   {6, Op::get, list({boxOf(red)}), nullptr, std::to_string(0x460)},
                   {0, Op::equals, nullptr, nullptr, "type: korOpArg"},
                   {0, Op::equals, boxOf(U32{1}), nullptr, "type: Colour"},
                   {0, Op::equals, boxOf(colour), nullptr, "False"},
                   {0, Op::get, nullptr, nullptr, "attr: crates::Colour has none with the id 0"},
                   {130, Op::get, nullptr, nullptr, "attr: crates::Colour has none with the id 130"},
                   {-5, Op::get, nullptr, nullptr, "attr: crates::Colour has none with the id -5"},
               });
    EXPECT_EQ(colour.shade(), 0x123u); // the box has a copy

    Box const fixed = boxOf(colour, true);
    check(fixed, {
                     {3, Op::set, boxOf(red), nullptr, "const: attempting to modify a const instance"},
                     {99, 200, nullptr, nullptr, "const: attempting to modify a const instance"},
                     {3, Op::get, nullptr, nullptr, "291"},
                 });
    EXPECT_TRUE(fixed->attributeOp({3, Op::get}, nullptr, nullptr)->isConst());
    Box const copy = box->clone();
    copy->attributeOp({3, Op::set}, nullptr, boxOf(U32{1}));
    EXPECT_EQ(Kor::unbox<Colour>(*box).shade(), 0x45fu);

    // A derived value is one value, and unboxes as nothing else.
    Box const dark = boxOf(Dark(blue, 0x123));
    EXPECT_EQ(outcome([&] { return boxOf(Kor::unbox<Colour>(*dark)); }), "type: Colour");
    EXPECT_EQ(outcome([&] { return boxOf(Kor::unbox<Kor::Ptr<Tin>>(*dark)); }), "type: Tin");
    check(dark, {
                    {130, Op::set, nullptr, boxOf(U8{0}), "null"},
                    {3, Op::get, nullptr, nullptr, std::to_string(0x120)},
                    {3, Op::set, nullptr, boxOf(U32{0x457}), "null"},
                    {130, Op::get, nullptr, nullptr, "7"},
                    {0, Op::equals, boxOf(Dark(blue, 0x457)), nullptr, "True"},
                    {6, Op::get, list({boxOf(red)}), nullptr, std::to_string(0x458)},
                });

    check(boxOf(red, true), {
                                {1, Op::set, nullptr, nullptr, "'red'"},
                                {2, Op::get, nullptr, nullptr, "attr: Hue"},
                            });
    EXPECT_EQ(boxOf(red)->attributeId("value"), 1);

    Kor::KorType const* const type = Colour::_fwkType();
    std::pair<Box, std::string> const made[] = {
        {list({}), boxOf(Colour())->strRep().charPtr()},
        {list({boxOf(blue), boxOf(U32{0x45f})}), box->strRep().charPtr()},
        {list({boxOf(blue)}), "type: shade"},
        {list({boxOf(blue), boxOf(blue)}), "type: U32"},
        {list({boxOf(blue), boxOf(U32{1}), boxOf(U32{1})}), "arg: Colour"},
        {nullptr, "type: Kor::GenericIf::List_"},
        {boxOf(red), "type: Kor::GenericIf::List_"},
    };
    for (auto const& each : made) {
        EXPECT_EQ(outcome([&] { return type->genericIf(each.first.ptr(), true); }), each.second);
    }
}

TEST(GenericIf, Entities) {
    load();
    auto const shelf = Kor::makePtr<LongShelf>("shelf");
    Box const box = Kor::KorType::genericIf(shelf.ptr(), false);
    Box const one = boxOf(U32{1}), two = boxOf(U32{2}), key = boxOf(red);
    auto const tin = Kor::makePtr<Tin>(blue);
    U32 const reads = shelf->mutableReads();
    check(box, {
                   {258, Op::get, nullptr, nullptr, "type: key"},
                   {258, Op::get, one, nullptr, "0"},
                   {258, Op::set, nullptr, two, "type: kor_index"},
                   {258, Op::set, one, nullptr, "type: paint"},
                   {258, Op::set, key, nullptr, "type: U32"}, // the key first
                   {258, Op::set, one, key, "type: U32"},
                   {258, Op::contains, one, nullptr, "False"},
                   {258, Op::set, one, two, "null"},
                   {258, Op::count, one, nullptr, "1"},
                   {258, Op::contains, one, nullptr, "True"},
                   {258, Op::equals, one, nullptr, "op: paint does not support equals"},
                   {258, Op::del, nullptr, nullptr, "type: key"},
                   {258, Op::contains, nullptr, nullptr, "type: key"},
                   {258, Op::del, one, nullptr, "2"},
                   {258, Op::del, one, nullptr, "0"},
                   {259, Op::set, key, boxOf(Colour(red, 5)), "index: sample"},
                   {259, Op::set, nullptr, nullptr, "type: sample"},
                   {259, Op::set, nullptr, boxOf(Colour(red, 5)), "null"},
                   {259, Op::get, nullptr, nullptr, "type: key"},
                   {259, Op::get, key, nullptr, boxOf(Colour(red, 5))->strRep().charPtr()},
                   {260, Op::get, key, nullptr, "null"},
                   {260, Op::set, key, list({key}), "index: stock"},
                   {260, Op::set, nullptr, nullptr, "type: Kor::GenericIf::List_"},
                   {260, Op::set, nullptr, list({}), "type: label"},
                   {260, Op::set, nullptr, list({key, key}), "arg: stock"},
                   {260, Op::set, nullptr, list({key}), "'shelf/stock[\\'red\\']'"},
                   {260, Op::get, key, nullptr, "'shelf/stock[\\'red\\']'"},
                   {260, Op::del, key, nullptr, "''"},
                   {261, Op::set, nullptr, boxOf(tin), "type: kor_index"},
                   {261, Op::set, one, key, "type: Tin"},
                   {261, Op::set, one, boxOf(shelf), "type: Tin"},
                   {261, Op::set, one, boxOf(tin), "null"},
                   {261, Op::contains, one, nullptr, "True"},
                   {261, Op::set, one, nullptr, "null"},
                   {261, Op::count, nullptr, nullptr, "0"},
                   {262, Op::get, nullptr, nullptr, "type: Kor::GenericIf::List_"},
                   {262, Op::get, list({}), nullptr, "null"},
                   {386, Op::set, nullptr, boxOf(U32{9}), "null"},
                   {386, Op::get, nullptr, nullptr, "9"},
                   {130, Op::get, nullptr, nullptr, "'shelf'"},
                   {130, Op::set, nullptr, boxOf(Kor::Name("x")), "op: name does not support set"},
                   {500, Op::get, nullptr, nullptr, "attr: crates::LongShelf has none with the id 500"},
                   {154, Op::get, list({}), nullptr, "True"},
                   {154, Op::get, nullptr, nullptr, "type: Kor::GenericIf::List_"},
                   {154, Op::get, list({one}), nullptr, "arg: korHasAttrLogInterface"},
               });
    EXPECT_EQ(shelf->mutableReads() - reads, 5u);
    EXPECT_EQ(shelf->paint(1), 1u); // by the operation

    // The object, as each of its classes, and as no other.
    for (Kor::KorType* type :
         {LongShelf::_fwkType(), Shelf::_fwkType(), Kor::Entity::_fwkType(), Kor::PtrInterface::_fwkType()}) {
        EXPECT_EQ(box->voidPtrIs(type), shelf.ptr());
    }
    EXPECT_EQ(outcome([&] { return (box->voidPtrIs(Tin::_fwkType()), Box()); }), "type: Tin");
    EXPECT_EQ(box->clone()->voidPtrIs(Shelf::_fwkType()), shelf.ptr());
    box->notifierIs(tin); // of another class: none
    check(box, {{258, Op::count, nullptr, nullptr, "type: crates::LongShelf, the box has no object"}});
    EXPECT_THROW(box->voidPtrIs(Shelf::_fwkType()), Kor::GenericTypeException);
    EXPECT_THROW(box->attributeIteratorConst(258), Kor::GenericTypeException);

    Kor::KorType const* const type = Tin::_fwkType();
    EXPECT_EQ(outcome([&] { return type->genericIf(list({}).ptr(), false); }), "type: label");
    Box const made = type->genericIf(list({key}).ptr(), true);
    EXPECT_FALSE(made->isConst());
    check(made, {{0, Op::get, nullptr, nullptr, "'red'"},
                 {258, Op::set, nullptr, key, "op: label does not support set"}});
    EXPECT_EQ(Shelf::_fwkType()->newEntity("new", nullptr)->name(), "new");
    EXPECT_EQ(type->newEntity("new", nullptr), nullptr);
}

TEST(GenericIf, WithoutBoxes) {
    load();
    auto const shelf = Kor::makePtr<LongShelf>("shelf");
    Box const box = boxOf(shelf);
    box->set(386, U32{9});
    shelf->paintIs(1, 5);
    shelf->sampleIs(Colour(red, 5));
    U32 const reads = shelf->mutableReads();
    EXPECT_EQ(box->get<U32>(386), 9u);
    EXPECT_EQ(box->get<U32>(258, U32{1}), 5u);
    EXPECT_EQ(box->get<U32>(258, U32{2}), 0u);
    EXPECT_EQ(box->get<Colour>(259, red), Colour(red, 5));
    EXPECT_EQ(shelf->mutableReads() - reads, 4u);
    EXPECT_EQ(box->get<Kor::Name>(130), "shelf"); // what takes boxes takes them
    EXPECT_EQ(boxOf(Dark(blue, 0x123))->get<U8>(4), 3);

    EXPECT_THROW(box->get<U8>(386), Kor::GenericTypeException);
    EXPECT_THROW(box->get<U32>(258, red), Kor::GenericTypeException);
    EXPECT_THROW(box->get<U32>(258), Kor::GenericTypeException);
    EXPECT_THROW(box->get<U32>(386, U32{1}), Kor::BadIndexAttrException);
    EXPECT_THROW(box->get<U32>(260, red), Kor::GenericTypeException);
    EXPECT_THROW(box->get<U32>(262), Kor::GenericTypeException);
    EXPECT_THROW(box->get<U32>(999), Kor::UnknownAttrException);
    EXPECT_THROW(box->set(386, U8{1}), Kor::GenericTypeException);
    EXPECT_THROW(boxOf(Colour())->set(5, U32{1}), Kor::OpNotSupportedException);
    EXPECT_THROW(boxOf(shelf, true)->set(386, U32{1}), Kor::GenericConstException);
    box->notifierIs(nullptr);
    EXPECT_THROW(box->get<U32>(386), Kor::GenericTypeException);
    EXPECT_THROW(box->set(386, U32{1}), Kor::GenericTypeException);
}

TEST(GenericIf, Walks) {
    load();
    auto shelf = Kor::makePtr<Shelf>("shelf");
    for (U32 i = 0; i < 100; ++i) {
        shelf->paintIs(i, i * i);
    }
    Box const box = Kor::KorType::genericIf(shelf.ptr(), false);
    EXPECT_FALSE(box->attributeIteratorKeyConst(258, boxOf(U32{1000})));
    EXPECT_EQ(outcome([&] { return box->attributeIteratorKeyConst(258, nullptr).key(); }), "type: kor_index");
    EXPECT_THROW(box->attributeIteratorConst(262), Kor::UnknownAttrException);
    EXPECT_TRUE(box->attributeIteratorKeyConst(258, boxOf(U32{7})).key()->isConst());

    auto at = box->attributeIteratorConst(258);
    U32 seen = 0;
    for (; at; ++at, ++seen) {
        auto const key = Kor::unbox<U32>(*at.key());
        EXPECT_EQ(Kor::unbox<U32>(*at.value()), key * key);
        shelf->paintDel(key); // the walk goes on
    }
    EXPECT_EQ(seen, 100u);
    EXPECT_EQ(at.key(), nullptr);

    shelf->paintIs(1, 1);
    shelf->paintIs(2, 1);
    auto walk = box->attributeIteratorConst(258);
    auto const copy = walk;
    ++walk;
    EXPECT_NE(walk.key()->strRep(), copy.key()->strRep());
    box->notifierIs(nullptr);
    shelf = nullptr;
    ++walk; // the map is gone
    EXPECT_FALSE(walk);
}

TEST(GenericIf, Changes) {
    load();
    struct Listener : GenericIf::Listener {
        void onAttribute(GenericIf&, Kor::AttributeId id, GenericIf::Key const& key) override {
            heard += std::to_string(id) + (key ? "[" + std::string(key->strRep().view()) + "] " : " ");
        }
        std::string heard;
    };
    auto const listener = Kor::makePtr<Listener>();
    auto shelf = Kor::makePtr<LongShelf>("shelf");
    Box box = Kor::KorType::genericIf(shelf.ptr(), true);
    box->listenerIs(listener);
    auto const expect = [&](char const* heard) {
        EXPECT_EQ(listener->heard, heard);
        listener->heard.clear();
    };
    shelf->paintIs(1, 1);
    shelf->weightIs(3);
    shelf->stockIs(red);
    expect("258[1] 386 260['red'] ");

    auto const sm = Kor::makePtr<Kor::ActivitySm>();
    box->activityIs(sm);
    shelf->paintIs(2, 1);
    shelf->weightIs(4);
    shelf->stockIs(blue);
    shelf->stockDel(red);
    shelf->sampleIs(Colour(red, 5));
    expect("");
    sm->run();
    expect("258[2] 259['red'] 260 386 ");
    shelf->paintIs(3, 1);
    sm->run();
    expect("258[3] ");
    // One that was switched off, put away and revived is on, and hears of what waits for the activity.
    box->hasNotificationActiveIs(false);
    box->korDoZombieReactors(true);
    box->korDoZombieReactors(false);
    shelf->paintIs(4, 1);
    sm->run();
    expect("258[4] ");
    box->activityIs(nullptr);

    box->hasNotificationActiveIs(false);
    shelf->weightIs(5);
    box->hasNotificationActiveIs(true);
    box->korDoZombieReactors(true);
    shelf->weightIs(6);
    box->korDoZombieReactors(false);
    shelf->weightIs(7);
    expect("386 ");
    box->isWeakReferenceIs(true);
    shelf = nullptr;
    EXPECT_EQ(box->notifier(), nullptr);
}

TEST(GenericIf, TextOfObjects) {
    load();
    auto const root = Kor::makePtr<Kor::Dir>("root");
    auto const shelf = Kor::makePtr<Shelf>("it's");
    root->entityIs(shelf);
    auto const tin = shelf->stockIs(red);
    Kor::String8 const text = Kor::KorType::genericIf(tin.ptr(), true)->strRep();
    EXPECT_EQ(text, "'root/it\\'s/stock[\\'red\\']'");
    auto const words = [](char const* of) {
        try {
            return Kor::strepToValue<Kor::Ptr<Tin>>(of) ? std::string("found") : std::string("null");
        } catch (Kor::RangeException const& e) {
            return std::string(e.what());
        }
    };
    EXPECT_EQ(words(text.charPtr()), "there is no object root/it's/stock['red']");
    Kor::textRootIs(root);
    EXPECT_EQ(Kor::unbox<Kor::Ptr<Tin>>(*Tin::_fwkType()->genericIf(text, false)), tin);
    EXPECT_EQ(words(" None "), "null");
    EXPECT_EQ(words("'root'"), "the reference is not to a crates::Tin");
    for (char const* wrong : {"'roots'", "'root/x'", "'root/it\\'s/stock[\\'blue\\']'",
                              "'root/it\\'s/paint[\\'1'", "'root/it\\'s/[]/x'"}) {
        EXPECT_NE(words(wrong), "found") << wrong;
    }
    static Kor::TypeModule::Load const loadChests(chests);
    auto const chest = Kor::makePtr<Chest>("chest");
    root->entityIs(chest);
    for (char const* key : {"", "a]/b", "]'/[\"]/", "\\]/'"}) {
        Kor::Ptr<Drawer> const drawer = chest->stockIs(key);
        EXPECT_EQ(Kor::strepToValue<Kor::Ptr<Drawer>>(Kor::valueToStrep(drawer->fullName())), drawer) << key;
    }
    Kor::textRootIs(nullptr);
}

} // namespace
