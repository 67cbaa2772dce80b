#pragma once

/// Boxes: any value or object behind one interface, for tools that know no type beforehand. Who knows the
/// type of an attribute beforehand needs no boxes for it: see get() and set().
///
///     using Op = Kor::GenericIf::AttributeOp;
///     Kor::Ptr<Kor::GenericIf> box = Kor::KorType::genericIf(entity, false);       // of the entity's own type
///     Kor::AttributeId const count = box->attributeId("reqCount");                    // 259
///     Kor::Ptr<Kor::GenericIf> key = box->type()->attribute(count)->keyType()->genericIf(text, true);
///     box->attributeOp({count, Op::get}, key, nullptr)->strRep();                     // "3"
///     box->attributeOp({count, Op::set}, key, Kor::boxOf(U32{4}));                    // reactors are told
///     for (auto at = box->attributeIteratorConst(count); at; ++at) { at.key()->strRep(); }
///     box->get<U32>(size);  box->set(size, U32{4});  box->get<U32>(count, entry);
///
/// The box of a value holds a copy, and writing changes that copy alone. The box of an object holds a counted
/// reference; writes go through the object's setters, with version, range checks and notification, and their
/// exceptions pass through. A const box reads only. A read makes new boxes, as const as this one.
///
/// What the operations accept, by kind of attribute (any other raises):
///
///     scalar           get, set
///     map of values    get, contains, delete: by key; count, version; set: key and value, or the value alone
///                      where it has its key inside
///     map of children  the same; set takes a list of the child's constructor arguments and returns the child
///     map of objects   the same; set takes a key, and an object or null
///     operation        get, with a list of arguments in the place of the key
///     value as a whole, id 0      equals, with the other value in the place of the key
///
/// An absent key reads as the value type's default, or as null where the members are objects.
///
/// The box of an object hears every change of it, unless it is detached (`notifierIs(nullptr)`) or switched
/// off, and tells its listener; with an activity (`activityIs`, runtime/Activity.h) in a later run.
///
/// Errors are Kor::GenericException, but for what a setter raises. A call that fails has changed nothing, but
/// what a setter did before. Types and counts are checked; the length behind a Kor::BytePtr cannot be.
///
/// Cost: an attribute is found by id in a table. What is boxed is allocated, from a short list of blocks that
/// the thread keeps; get() and set() allocate nothing. A box belongs to the thread of its entity.

#include "reflect/type/KorType.h"
#include "runtime/Activity.h"
#include "runtime/Exception.h"
#include "runtime/LinkedQueue.h"

namespace Kor {

namespace detail {
struct BoxTable;
struct Reached;
} // namespace detail

/// What the generic interface raises: a call that the box, as it is, cannot answer. Id 60.
class KOR_EXPORT GenericException : public Exception {
public:
    explicit GenericException(String8 message)
        : Exception(std::move(message), IdBitArray().add(Id::generic), true) {}
};
/// A box, an argument or a key is missing or of another type.
struct KOR_EXPORT GenericTypeException : GenericException {
    using GenericException::GenericException;
};
/// A write through a const box.
struct KOR_EXPORT GenericConstException : GenericException {
    using GenericException::GenericException;
};
/// One argument too many.
struct KOR_EXPORT UnknownArgException : GenericException {
    using GenericException::GenericException;
};
/// An attribute that the type does not have, by id or name.
struct KOR_EXPORT UnknownAttrException : GenericException {
    using GenericException::GenericException;
};
/// A key for an attribute or operation that takes none.
struct KOR_EXPORT BadIndexAttrException : GenericException {
    using GenericException::GenericException;
};
/// An operation that the attribute does not have.
struct KOR_EXPORT OpNotSupportedException : GenericException {
    using GenericException::GenericException;
};

class KOR_EXPORT GenericIf : public ActivityOf<PtrInterface::NotifieeConst> {
public:
    struct AttributeOp {
        /// From 128 up they write.
        enum OpId : U32 {
            get = 0,
            count = 1,
            version = 2,
            contains = 3,
            equals = 100,
            set = 128,
            del = 129,
        };
        AttributeId attributeId;
        OpId opId;
    };
    using OpId = AttributeOp::OpId;
    using Key = Ptr<GenericIf const>;

    class List;
    class List_;
    class AttributeIteratorConst;

    /// Hears of the changes of a boxed object. The box holds it.
    class KOR_EXPORT Listener : public PtrInterface {
    public:
        /// The attribute has changed: under that key, or as a whole, with a null key.
        virtual void onAttribute(GenericIf& box, AttributeId attribute, Key const& key) = 0;
    };

    ~GenericIf() override;

    static void* operator new(std::size_t size);
    static void operator delete(void* block, std::size_t size) noexcept;

    bool isConst() const noexcept { return isConst_; }
    Ptr<Listener> const& listener() const noexcept { return listener_; }
    void listenerIs(Ptr<Listener> listener) noexcept { listener_ = std::move(listener); }

    virtual KorType* type() const = 0;
    /// What is in the box, as the type that the caller expects: the value for exactly its type, the object
    /// also for each of its bases. Raises for any other type. The pointer is good while the box is.
    virtual void* voidPtrIs(Ptr<KorType const> const& type) const = 0;
    /// The name of an attribute, "unknown" for an id that there is not.
    virtual String8 attributeString(AttributeId attribute) const;
    /// The id of an attribute; raises for a name that there is not.
    virtual AttributeId attributeId(String8 name) const;
    /// Does something with an attribute, see above. The result may be null.
    virtual Ptr<GenericIf> attributeOp(AttributeOp const& op, Key const& key, Ptr<GenericIf> const& value);
    /// The value of an attribute of type T, or of its member under a key, as attributeOp() with `get` gives
    /// it in a box. Raises what that raises, and for an attribute of another type.
    template <class T, class... K>
    requires(sizeof...(K) <= 1) T get(AttributeId attribute, K const&... key);
    /// Sets an attribute, as attributeOp() with `set` does.
    template <class T>
    void set(AttributeId attribute, T const& value);
    /// What is in the box as text (reflect/Text.h).
    virtual String8 strRep() const = 0;
    virtual void korDoZombieReactors(bool zombie);

    // Walks over a map. Use AttributeIteratorConst, which calls the operations on its state.

    virtual AttributeIteratorConst attributeIteratorConst(AttributeId attribute) const;
    /// At exactly this key, or at the end.
    virtual AttributeIteratorConst attributeIteratorKeyConst(AttributeId attribute, Key const& key) const;
    virtual Ptr<GenericIf> attributeIterator_iterObj(AttributeIteratorConst const& at);
    virtual Key attributeIterator_iterObj(AttributeIteratorConst const& at) const;
    virtual void* attributeIterator_iterInc(AttributeIteratorConst const& at) const;
    virtual Key attributeIterator_iterKey(AttributeIteratorConst const& at) const;
    virtual void* attributeIterator_iterClone(AttributeIteratorConst const& at) const;
    virtual bool attributeIterator_nonNull(AttributeIteratorConst const& at) const;
    virtual void* attributeIterator_iterDel(AttributeIteratorConst const& at) const;
    virtual AttributeIteratorConst attributeIterator(AttributeId attribute);
    virtual AttributeIteratorConst attributeIteratorKey(AttributeId attribute, Key const& key);

    /// A box of the same class, with a copy of the value or for the same object.
    virtual Ptr<GenericIf> clone() = 0;
    Ptr<GenericIf> clone() const { return const_cast<GenericIf*>(this)->clone(); }

    /// Lets a new box hear of changes.
    static Ptr<GenericIf> active(Ptr<GenericIf> box) {
        box->hasNotificationActiveIs(true);
        return box;
    }

    /// Tells the listener.
    void onAttribute(AttributeId attribute) override;
    void onAttribute(AttributeId attribute, Key const& key);

    // None returns. The word is what was wrong: a type, a parameter, an attribute or an operation.
    [[noreturn]] static void throwTypeException(char const* word);
    [[noreturn]] static void throwConstException(char const* word);
    [[noreturn]] static void throwUnknownArgException(char const* word);
    [[noreturn]] static void throwUnknownAttrException(char const* word);
    [[noreturn]] static void throwBadIndexAttrException(char const* word);
    [[noreturn]] static void throwOpNotSupportedException(char const* word, OpId op, bool unused);

protected:
    explicit GenericIf(bool isConst) : isConst_(isConst) {}

    /// Raises for a write through a const box.
    void checkWrite(OpId op) const;

    /// What the attributes of the table are of. At a null place, of a box that has lost its object, nothing
    /// can be read or written.
    void placeIs(detail::BoxTable const& table, void* place, bool isEntity) noexcept {
        table_ = &table;
        place_ = place;
        isOfEntity_ = isEntity;
    }
    [[noreturn]] void throwNoObject() const;

private:
    // False when it takes boxes, or when the call is to be refused. `keyType` is null for a call without key.
    bool read(AttributeId attribute, KorType const* keyType, void const* key, KorType const* type,
              void* into);
    bool write(AttributeId attribute, KorType const* type, void const* value);
    detail::Reached reached(AttributeId attribute) const noexcept;
    AttributeIteratorConst walk(AttributeId attribute, Key const* key) const;

    Ptr<Listener> listener_;
    detail::BoxTable const* table_ = nullptr;
    void* place_ = nullptr;
    bool isOfEntity_ = false;
    bool isConst_;
};

/// A member of a list of boxes.
class KOR_EXPORT GenericIfListMember : public PtrInterface {
public:
    explicit GenericIfListMember(Ptr<GenericIf> theValue) : value(std::move(theValue)) {}

    Ptr<GenericIf> value;
    Ptr<GenericIfListMember> next;
};

/// Arguments in order, for a constructor or an operation.
class KOR_EXPORT GenericIf::List : public LinkedQueue<GenericIfListMember, GenericIf, Ptr<GenericIf>> {
public:
    using KorGenericIf = GenericIfListMember;
    static KorType* _fwkType();
};

/// The box in which a list travels.
///
///     auto arguments = Kor::makePtr<Kor::GenericIf::List_>();
///     arguments->list().enq(Kor::boxOf(Hardware::Loam::vtAppMpls));
class KOR_EXPORT GenericIf::List_ final : public GenericIf {
public:
    explicit List_(List const& list = {}, bool isConst = false) : GenericIf(isConst), list_(list) {}

    List& list() noexcept { return list_; }
    List const& list() const noexcept { return list_; }

    KorType* type() const override { return List::_fwkType(); }
    void* voidPtrIs(Ptr<KorType const> const& type) const override;
    String8 strRep() const override;
    using GenericIf::clone;
    Ptr<GenericIf> clone() override;

private:
    List list_;
};

/// A place in a map of a boxed object, which it keeps alive. It walks as Kor::HashMap does, also while the
/// map changes; `++` is at the end once the box holds another object.
class KOR_EXPORT GenericIf::AttributeIteratorConst {
public:
    /// `state` is that of the box's class, and belongs to the iterator.
    AttributeIteratorConst(Ptr<GenericIf const> box, AttributeId attribute, void* state) noexcept
        : box_(std::move(box)), attribute_(attribute), state_(state) {}
    AttributeIteratorConst(AttributeIteratorConst const& other)
        : AttributeIteratorConst(other.box_, other.attribute_,
                                 other.box_->attributeIterator_iterClone(other)) {}
    AttributeIteratorConst& operator=(AttributeIteratorConst other) noexcept {
        box_.swap(other.box_);
        std::swap(attribute_, other.attribute_);
        std::swap(state_, other.state_);
        return *this;
    }
    ~AttributeIteratorConst() { box_->attributeIterator_iterDel(*this); }

    explicit operator bool() const { return box_->attributeIterator_nonNull(*this); }
    AttributeIteratorConst& operator++() {
        box_->attributeIterator_iterInc(*this);
        return *this;
    }
    /// Const boxes; null at the end.
    Key key() const { return box_->attributeIterator_iterKey(*this); }
    Key value() const { return box_->attributeIterator_iterObj(*this); }

    Ptr<GenericIf const> const& box() const noexcept { return box_; }
    AttributeId attributeId() const noexcept { return attribute_; }
    void* state() const noexcept { return state_; }

private:
    Ptr<GenericIf const> box_;
    AttributeId attribute_;
    void* state_;
};

/// The box of a counted object.
class KOR_EXPORT GenericIfPtrInterface : public GenericIf {
public:
    /// The box of the same object as one of the base class; null where that has none.
    Ptr<GenericIf> baseGenericIf();
    Ptr<GenericIf const> baseGenericIf() const;

    String8 strRep() const override;

protected:
    using GenericIf::GenericIf;
    /// The object; raises for a box that has none any more.
    PtrInterface& object() const;
};

/// The box of an entity. It answers for the attributes that all entities have: they can be read.
class KOR_EXPORT GenericIfEntity : public GenericIfPtrInterface {
public:
    String8 attributeString(AttributeId attribute) const override;
    Ptr<GenericIf> attributeOp(AttributeOp const& op, Key const& key, Ptr<GenericIf> const& value) override;

protected:
    using GenericIfPtrInterface::GenericIfPtrInterface;
};

namespace detail {

/// A box of the value by its type's object; raises for a type without boxes.
KOR_EXPORT Ptr<GenericIf> boxValue(KorType* type, void const* value, bool isConst);

} // namespace detail

/// A box of a copy of the value, or of the object that a counted pointer holds; null for a null pointer.
template <class T>
Ptr<GenericIf> boxOf(T const& value, bool isConst = false) {
    using Pointed = detail::Pointed<T>;
    if constexpr (std::is_void_v<Pointed>) {
        return detail::boxValue(fwkTypeOf<T>(), &value, isConst);
    } else {
        return KorType::genericIf(const_cast<std::remove_const_t<Pointed>*>(value.ptr()),
                                  isConst || std::is_const_v<Pointed>);
    }
}

/// What is in the box: a copy of the value, or the object. Raises for another type.
template <class T>
T unbox(GenericIf const& box) {
    using Pointed = detail::Pointed<T>;
    if constexpr (std::is_void_v<Pointed>) {
        return *static_cast<T const*>(box.voidPtrIs(fwkTypeOf<T>()));
    } else {
        return static_cast<Pointed*>(box.voidPtrIs(fwkTypeOf<std::remove_const_t<Pointed>>()));
    }
}

template <class T, class... K>
requires(sizeof...(K) <= 1) T GenericIf::get(AttributeId attribute, K const&... key) {
    T value{};
    KorType const* const keyTypes[] = {fwkTypeOf<K>()..., nullptr};
    void const* const keys[] = {&key..., nullptr};
    if (!read(attribute, keyTypes[0], keys[0], fwkTypeOf<T>(), &value)) {
        Ptr<GenericIf> const box = attributeOp({attribute, OpId::get}, Key(boxOf(key, true)...), nullptr);
        if (!box) {
            throwTypeException("the result, which is null");
        }
        value = unbox<T>(*box);
    }
    return value;
}

template <class T>
void GenericIf::set(AttributeId attribute, T const& value) {
    if (!write(attribute, fwkTypeOf<T>(), &value)) {
        attributeOp({attribute, OpId::set}, nullptr, boxOf(value));
    }
}

} // namespace Kor
