#include "reflect/box/GenericIf.h"

#include "reflect/box/GenericBox.h"
#include "reflect/type/TypeSpec.h"
#include "runtime/BlockList.h"

#include <map>
#include <string>
#include <utility>

namespace Kor {

// Refusals

namespace {

std::string opName(GenericIf::OpId op) {
    using Op = GenericIf::AttributeOp;
    std::map<GenericIf::OpId, char const*> const names{
        {Op::get, "get"},       {Op::count, "count"}, {Op::version, "version"}, {Op::contains, "contains"},
        {Op::equals, "equals"}, {Op::set, "set"},     {Op::del, "delete"}};
    auto const at = names.find(op);
    return at != names.end() ? at->second : "operation " + std::to_string(static_cast<U32>(op));
}

/// The attribute of an id that a type does not have.
[[noreturn]] void throwNoAttribute(GenericIf const& box, AttributeId id) {
    GenericIf::throwUnknownAttrException(
        format("%s has none with the id %d", box.type()->typeName().charPtr(), id).charPtr());
}

} // namespace

void GenericIf::throwTypeException(char const* word) {
    throw GenericTypeException(format("missing or of the wrong type: %s", word));
}
void GenericIf::throwConstException(char const* word) {
    throw GenericConstException(word);
}
void GenericIf::throwUnknownArgException(char const* word) {
    throw UnknownArgException(format("one argument too many for %s", word));
}
void GenericIf::throwUnknownAttrException(char const* word) {
    throw UnknownAttrException(format("no such attribute: %s", word));
}
void GenericIf::throwBadIndexAttrException(char const* word) {
    throw BadIndexAttrException(format("a key was given, but none is taken by %s", word));
}
void GenericIf::throwOpNotSupportedException(char const* word, OpId op, bool) {
    throw OpNotSupportedException(format("%s does not support %s", word, opName(op).c_str()));
}

void GenericIf::checkWrite(OpId op) const {
    if (isConst_ && op >= AttributeOp::set) {
        throwConstException("attempting to modify a const instance");
    }
}

void* GenericIf::operator new(std::size_t size) {
    return detail::newBlock(size);
}

void GenericIf::operator delete(void* block, std::size_t size) noexcept {
    detail::deleteBlock(block, size);
}

// Without boxes

inline detail::Reached GenericIf::reached(AttributeId attribute) const noexcept {
    void* object = place_;
    for (detail::BoxTable const* at = table_; at != nullptr; at = at->base) {
        auto const place = static_cast<std::size_t>(S64{attribute} - at->first);
        if (place < at->attributes.size() && at->attributes[place].name != nullptr) [[likely]] {
            return {&at->attributes[place], object};
        }
        object = at->base != nullptr ? at->toBase(object) : nullptr;
    }
    if (attribute == fwkKeyAttr && table_ != nullptr && table_->key != nullptr) {
        return {table_->key, place_};
    }
    return {};
}

bool GenericIf::read(AttributeId attribute, KorType const* keyType, void const* key, KorType const* type,
                     void* into) {
    auto const [found, object] = reached(attribute);
    bool done = false;
    if (object != nullptr && keyType != nullptr) {
        done = found->keyed != nullptr && found->keyed->read(object, keyType, key, type, into);
    } else if (object != nullptr) {
        done = found->read != nullptr && found->read(object, type, into);
    }
    if (done && isOfEntity_) {
        EntityAccess::mutableReadsInc(static_cast<Entity const&>(*notifier()));
    }
    return done;
}

bool GenericIf::write(AttributeId attribute, KorType const* type, void const* value) {
    auto const at = reached(attribute);
    Ptr<PtrInterface const> const keep = notifier(); // a setter's reactors may let the box go
    return at.object != nullptr && !isConst_ && at.attribute->write != nullptr &&
           at.attribute->write(at.object, type, value);
}

// What type objects make

Ptr<GenericIf> KorType::genericIf(void const* value, bool isConst) const {
    return spec_->ofValue != nullptr ? spec_->ofValue(value, isConst) : nullptr;
}
Ptr<GenericIf> KorType::genericIf(GenericIf const* arguments, bool) const {
    return spec_->ofArguments != nullptr ? spec_->ofArguments(arguments) : nullptr;
}
Ptr<GenericIf> KorType::genericIf(String8 const& text, bool isConst) const {
    return spec_->ofText != nullptr ? spec_->ofText(text, isConst) : nullptr;
}
Ptr<GenericIf> KorType::genericIf_(PtrInterface* object, bool isConst) const {
    return spec_->ofObject != nullptr ? spec_->ofObject(object, isConst) : nullptr;
}
Ptr<GenericIf> KorType::genericIf(PtrInterface* object, bool isConst) {
    return object != nullptr ? object->fwkType()->genericIf_(object, isConst) : nullptr;
}

// What all boxes do

GenericIf::~GenericIf() = default;

String8 GenericIf::attributeString(AttributeId attribute) const {
    KorAttr const* const found = type()->attribute(attribute);
    return found != nullptr ? String8(found->name()) : String8("unknown");
}

// By value, as the slot has it. NOLINTNEXTLINE(performance-unnecessary-value-param)
AttributeId GenericIf::attributeId(String8 name) const {
    KorAttr const* const found = type()->typeAttr()->attr(name);
    if (found == nullptr) {
        throwUnknownAttrException(format("%s::%s", type()->typeName().charPtr(), name.charPtr()).charPtr());
    }
    return found->attributeId();
}

Ptr<GenericIf> GenericIf::attributeOp(AttributeOp const& op, Key const& key, Ptr<GenericIf> const& value) {
    checkWrite(op.opId);
    if (table_ != nullptr && place_ == nullptr) {
        throwNoObject();
    }
    auto const at = reached(op.attributeId);
    if (at.attribute == nullptr) {
        throwNoAttribute(*this, op.attributeId);
    }
    Ptr<PtrInterface const> const keep = notifier(); // a setter's reactors may let the box go
    auto const* const entity = isOfEntity_ ? static_cast<Entity const*>(keep.ptr()) : nullptr;
    return detail::attributeOp(at, isConst_, entity, op.opId, key, value);
}

void GenericIf::korDoZombieReactors(bool zombie) {
    korMarkedForDeletionIs(zombie);
}

// Walks

namespace {

detail::Walk* walkOf(GenericIf::AttributeIteratorConst const& at) {
    return static_cast<detail::Walk*>(at.state());
}

/// The walk of an iterator that is not at its end; null otherwise.
detail::Walk* standing(GenericIf::AttributeIteratorConst const& at) {
    detail::Walk* const walk = walkOf(at);
    return walk != nullptr && walk->access->walkNonNull(walk) ? walk : nullptr;
}

} // namespace

GenericIf::AttributeIteratorConst GenericIf::walk(AttributeId attribute, Key const* key) const {
    auto const at = reached(attribute);
    if (at.attribute == nullptr || at.attribute->keyed == nullptr) {
        throwNoAttribute(*this, attribute);
    }
    detail::KeyedAccess const& keyed = *at.attribute->keyed;
    GenericIf const* const from = key != nullptr ? &detail::needKey(*key, keyed.keyName) : nullptr;
    if (place_ == nullptr) {
        throwNoObject();
    }
    return {this, attribute, keyed.walk(at.object, from)};
}

GenericIf::AttributeIteratorConst GenericIf::attributeIteratorConst(AttributeId attribute) const {
    return walk(attribute, nullptr);
}
GenericIf::AttributeIteratorConst GenericIf::attributeIteratorKeyConst(AttributeId attribute,
                                                                       Key const& key) const {
    return walk(attribute, &key);
}
GenericIf::AttributeIteratorConst GenericIf::attributeIterator(AttributeId attribute) {
    return attributeIteratorConst(attribute);
}
GenericIf::AttributeIteratorConst GenericIf::attributeIteratorKey(AttributeId attribute, Key const& key) {
    return attributeIteratorKeyConst(attribute, key);
}

Ptr<GenericIf> GenericIf::attributeIterator_iterObj(AttributeIteratorConst const& at) {
    detail::Walk* const walk = standing(at);
    return walk != nullptr ? walk->access->walkValue(walk, isConst_) : nullptr;
}
GenericIf::Key GenericIf::attributeIterator_iterObj(AttributeIteratorConst const& at) const {
    return const_cast<GenericIf*>(this)->attributeIterator_iterObj(at);
}
void* GenericIf::attributeIterator_iterInc(AttributeIteratorConst const& at) const {
    if (detail::Walk* const walk = walkOf(at)) {
        walk->access->walkInc(walk, reached(at.attributeId()).object);
    }
    return nullptr;
}
GenericIf::Key GenericIf::attributeIterator_iterKey(AttributeIteratorConst const& at) const {
    detail::Walk* const walk = standing(at);
    return walk != nullptr ? walk->access->walkKey(walk) : nullptr;
}
void* GenericIf::attributeIterator_iterClone(AttributeIteratorConst const& at) const {
    detail::Walk* const walk = walkOf(at);
    return walk != nullptr ? walk->access->walkClone(walk) : nullptr;
}
bool GenericIf::attributeIterator_nonNull(AttributeIteratorConst const& at) const {
    return standing(at) != nullptr;
}
void* GenericIf::attributeIterator_iterDel(AttributeIteratorConst const& at) const {
    if (detail::Walk* const walk = walkOf(at)) {
        walk->access->walkDel(walk);
    }
    return nullptr;
}

void GenericIf::onAttribute(AttributeId attribute) {
    onAttribute(attribute, nullptr);
}
void GenericIf::onAttribute(AttributeId attribute, Key const& key) {
    if (Ptr<Listener> const listener = listener_) {
        listener->onAttribute(*this, attribute, key);
    }
}

// Lists

KorType* GenericIf::List::_fwkType() {
    return fwkTypeOf<GenericIf::List>();
}

void* GenericIf::List_::voidPtrIs(Ptr<KorType const> const& type) const {
    if (type != List::_fwkType()) {
        detail::throwUnboxed(type.ptr());
    }
    return const_cast<List*>(&list_);
}

String8 GenericIf::List_::strRep() const {
    std::string text = "[";
    for (GenericIfListMember const& each : list_) {
        text.append(text.size() > 1 ? ", " : "").append(each.value ? each.value->strRep().view() : "None");
    }
    return text + "]";
}

Ptr<GenericIf> GenericIf::List_::clone() {
    return makePtr<List_>(list_, isConst());
}

// Boxes of objects

namespace {

template <auto read>
constexpr detail::BoxAttribute readOnly(char const* name) {
    return {.name = name, .shape = {.role = Role::computed}, .get = [](void* object, bool isConst) {
                return boxOf((static_cast<Entity*>(object)->*read)(), isConst);
            }};
}

/// What every entity has. It is looked at without being counted as a read.
constexpr std::pair<AttributeId, detail::BoxAttribute> entityAttributes[] = {
    {Entity::nameAttr, readOnly<&Entity::name>("name")},
    {Entity::versionAttr, readOnly<&Entity::version>("version")},
    {Entity::mutableReadsAttr, readOnly<&Entity::mutableReads>("mutableReads")},
    {Entity::fullNameAttr, readOnly<&Entity::fullName>("fullName")},
    {Entity::korHasAttrLogInterfaceAttr,
     {.name = "korHasAttrLogInterface",
      .shape = {.role = Role::operation},
      .call =
          [](void* object, detail::ArgumentReader& arguments, bool isConst) {
              arguments.end();
              return boxOf(static_cast<Entity*>(object)->korHasAttrLogInterface(), isConst);
          }}},
};

} // namespace

void GenericIf::throwNoObject() const {
    throwTypeException(format("%s, the box has no object", type()->typeName().charPtr()).charPtr());
}

PtrInterface& GenericIfPtrInterface::object() const {
    if (!notifier()) {
        throwNoObject();
    }
    return *const_cast<PtrInterface*>(notifier().ptr());
}

Ptr<GenericIf> GenericIfPtrInterface::baseGenericIf() {
    KorType const* const base = type()->base();
    return base != nullptr ? base->genericIf_(&object(), isConst()) : nullptr;
}
Ptr<GenericIf const> GenericIfPtrInterface::baseGenericIf() const {
    return const_cast<GenericIfPtrInterface*>(this)->baseGenericIf();
}

String8 GenericIfPtrInterface::strRep() const {
    return valueToStrepOfRawPtr(notifier().ptr(), typeid(PtrInterface));
}

String8 GenericIfEntity::attributeString(AttributeId attribute) const {
    return static_cast<Entity&>(object()).attributeString(attribute);
}

Ptr<GenericIf> GenericIfEntity::attributeOp(AttributeOp const& op, Key const& key,
                                            Ptr<GenericIf> const& value) {
    checkWrite(op.opId);
    for (auto const& [id, attribute] : entityAttributes) {
        if (id == op.attributeId) {
            return detail::attributeOp({&attribute, static_cast<Entity*>(&object())}, isConst(), nullptr,
                                       op.opId, key, value);
        }
    }
    return GenericIfPtrInterface::attributeOp(op, key, value);
}

// The operations

namespace detail {

void throwUnboxed(KorType const* expected) {
    GenericIf::throwTypeException(expected != nullptr ? expected->name().charPtr() : "nothing");
}

Ptr<GenericIf> boxValue(KorType* type, void const* value, bool isConst) {
    Ptr<GenericIf> box = type->genericIf(value, isConst);
    if (!box) {
        GenericIf::throwTypeException(format("%s, which has no boxes", type->typeName().charPtr()).charPtr());
    }
    return box;
}

GenericIf const& needKey(GenericIf::Key const& key, char const* name) {
    if (!key) {
        GenericIf::throwTypeException(name);
    }
    return *key;
}

ArgumentReader::ArgumentReader(GenericIf const* arguments, std::string_view what) : what_(what) {
    auto const* const box = dynamic_cast<GenericIf::List_ const*>(arguments);
    if (box == nullptr) {
        GenericIf::throwTypeException("Kor::GenericIf::List_");
    }
    list_ = box->list();
}

GenericIf const& ArgumentReader::next(std::string_view name) {
    current_ = list_.deq();
    if (!current_) {
        GenericIf::throwTypeException(std::string(name).c_str());
    }
    return *current_;
}

void ArgumentReader::end() const {
    if (!empty()) {
        GenericIf::throwUnknownArgException(std::string(what_).c_str());
    }
}

namespace {

/// Everything but a key, a list or an operation is as for a scalar.
void needNoKey(BoxAttribute const& attribute, GenericIf::Key const& key) {
    if (key) {
        GenericIf::throwBadIndexAttrException(attribute.name);
    }
}

void needValue(BoxAttribute const& attribute, Ptr<GenericIf> const& value) {
    if (!value) {
        GenericIf::throwTypeException(attribute.name);
    }
}

Ptr<GenericIf> setMember(Reached at, GenericIf::Key const& key, Ptr<GenericIf> const& value) {
    BoxAttribute const& attribute = *at.attribute;
    KeyedAccess const& keyed = *attribute.keyed;
    if (attribute.shape.child) {
        needNoKey(attribute, key);
        ArgumentReader arguments(value.ptr(), attribute.name);
        GenericIf const& childKey = arguments.next(keyed.keyName);
        keyed.contains(at.object, childKey); // its type is looked at before what follows it
        arguments.end();
        return keyed.set(at.object, &childKey, nullptr);
    }
    if (attribute.shape.keyInside) {
        needNoKey(attribute, key);
        needValue(attribute, value);
        return keyed.set(at.object, nullptr, value.ptr());
    }
    needKey(key, keyed.keyName);
    if (!value && !attribute.shape.reference) {
        keyed.contains(at.object, *key); // its type is looked at before the value
        GenericIf::throwTypeException(attribute.name);
    }
    return keyed.set(at.object, key.ptr(), value.ptr());
}

} // namespace

Ptr<GenericIf> attributeOp(Reached at, bool isConst, Entity const* entity, GenericIf::OpId op,
                           GenericIf::Key const& key, Ptr<GenericIf> const& value) {
    using Op = GenericIf::AttributeOp;
    BoxAttribute const& attribute = *at.attribute;
    auto const countRead = [&] {
        if (entity != nullptr) {
            EntityAccess::mutableReadsInc(*entity);
        }
    };
    auto const unsupported = [&] { GenericIf::throwOpNotSupportedException(attribute.name, op, false); };

    if (attribute.shape.isOperation()) {
        if (op != Op::get) {
            unsupported();
        }
        ArgumentReader arguments(key.ptr(), attribute.name);
        return attribute.call(at.object, arguments, isConst);
    }
    if (!attribute.shape.keyed) {
        needNoKey(attribute, key);
        if (op == Op::get) {
            countRead();
            return attribute.get(at.object, isConst);
        }
        if (op != Op::set || attribute.set == nullptr) {
            unsupported();
        }
        needValue(attribute, value);
        attribute.set(at.object, *value);
        return nullptr;
    }
    KeyedAccess const& keyed = *attribute.keyed;
    switch (op) {
    case Op::get: {
        Ptr<GenericIf> found = keyed.get(at.object, needKey(key, "key"), isConst);
        countRead();
        return found;
    }
    case Op::count:
        return boxOf(keyed.count(at.object), isConst);
    case Op::version:
        return boxOf(keyed.version(at.object), isConst);
    case Op::contains:
        return boxOf(keyed.contains(at.object, needKey(key, "key")), isConst);
    case Op::set:
        if (!attribute.shape.settable) {
            unsupported();
        }
        return setMember(at, key, value);
    case Op::del:
        return keyed.del(at.object, needKey(key, "key"));
    default:
        unsupported();
    }
    return nullptr;
}

} // namespace detail

} // namespace Kor
