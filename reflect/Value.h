#pragma once

/// The value pattern: a value type is the list of its attributes, in the order of the model, and gets from it
/// its storage, constructors, accessors and comparison.
///
///     class EvecWord : public Kor::ValueOf<EvecWord,
///             Kor::Settable<Kor::name::value, U32>,                          // stored, default 0
///             Kor::View<Kor::name::tagsToRemove, U8, Kor::name::value, 0, 1>, // bits 0 to 1 of `value`
///             Kor::Operation<Kor::name::hash, U32()>>,                       // reached by its name
///         public Kor::Ordered<EvecWord>, public Kor::Hashed<EvecWord> {
///     public:
///         using ValueOf::ValueOf;
///     };
///
///     EvecWord word(0x13);
///     word.tagsToRemoveIs(2);          // cut to the width of the view; the other bits stay
///     word.value();                    // 0x12
///
/// A value is regular: default, copy, `==`, and `<` with `hash` where the declaration says so. The
/// constructor takes the stored attributes in order; those left out have their default. A value is a plain
/// copy without shared state, allocates nothing, and may be used on any thread that owns it.
///
/// A view's setter keeps the low bits of what it is given and cannot fail. A class declares a range by a
/// member `void korCheck() const` that throws: the constructor from attributes checks it, and a setter that
/// changes nothing does nothing; otherwise it stores first, so that a refused value stays stored when the
/// exception leaves. What comes from an attribute log is checked where a member `korChecksWire` is true, or
/// where a value has it as CheckedOnWire. Bits of a class of one number that are always set are `korAlways`.

#include "reflect/Attributes.h"
#include "reflect/FwkType.h"
#include "runtime/OneAtATime.h"
#include "runtime/String8.h"
#include "runtime/Types.h"

#include <compare>
#include <concepts>
#include <cstddef>
#include <type_traits>
#include <utility>

namespace Kor {

namespace NboAttrLog {
class In;
}

/// Tells the constructor that reads a value from an attribute log from all others: `EvecKey(in,
/// StreamBogon())` takes the stored attributes off the stream in their order, and raises what attrlog/In.h
/// says.
struct StreamBogon {};

/// The reading end of an attribute log. A template parameter, since the log itself is a layer above.
template <class T>
concept AttrLogReader = std::is_same_v<T, NboAttrLog::In>;

namespace detail {

/// Reads a T from the cursor on, and moves the cursor behind it. Defined in reflect/Text.h.
template <class T>
T readTextAt(String8::IteratorConst& it, String8::IteratorConst const& end);

template <class A>
struct Slot {
    typename A::Type value = A::initial();
    friend constexpr bool operator==(Slot const&, Slot const&) = default;
    friend constexpr auto operator<=>(Slot const&, Slot const&) = default;
};

/// The stored attributes of a value, in order.
template <class... S>
class Storage : Slot<S>... {
public:
    using Attributes = AttributeList<S...>;

    constexpr Storage() = default;
    constexpr explicit Storage(typename S::Type const&... values) requires(sizeof...(S) != 0)
        : Slot<S>{values}... {}

    template <class A>
    constexpr typename A::Type& at() {
        return static_cast<Slot<A>&>(*this).value;
    }
    template <class A>
    constexpr typename A::Type const& at() const {
        return static_cast<Slot<A> const&>(*this).value;
    }

    friend constexpr bool operator==(Storage const&, Storage const&) = default;
    friend constexpr auto operator<=>(Storage const&, Storage const&) = default;

    /// Calls `visit` with each stored attribute's value, in order.
    template <class Visit>
    constexpr void each([[maybe_unused]] Visit&& visit) const {
        (visit(at<S>()), ...);
    }
};

template <class... S>
Storage<S...> storageOf(AttributeList<S...>);
template <class... A>
using StorageOf = decltype(storageOf(Where<&Shape::isField, AttributeList<A...>>()));

/// Holds the storage and gives the constructors; a base of ValueOf, so that both packs are at hand.
template <class Self, class S>
class Stock;

template <class Self, class... S>
class Stock<Self, Storage<S...>> {
    template <std::size_t I>
    using At = typename AttributeAt<I, AttributeList<S...>>::type;
    template <class... V, std::size_t... I>
    static consteval bool areFirst(std::index_sequence<I...>) {
        return (std::convertible_to<V const&, typename At<I>::Type> && ...);
    }

public:
    constexpr Stock() = default;
    constexpr explicit(sizeof...(S) == 1) Stock(typename S::Type const&... values) requires(sizeof...(S) != 0)
        : storage_(values...) {
        made();
    }

    /// Of the first few; the rest have their defaults. Two, since g++ 12 loses the condition of `explicit`
    /// where a template is inherited.
    template <class V>
    requires(sizeof...(S) > 1 &&
             areFirst<V>(std::index_sequence<0>())) constexpr explicit Stock(V const& value)
        : Stock(typename At<0>::Type(value), At<1>::initial()) {}
    template <class... V>
    requires(sizeof...(V) > 1 && sizeof...(V) < sizeof...(S) &&
             areFirst<V...>(std::index_sequence_for<V...>())) constexpr Stock(V const&... values) {
        [&]<std::size_t... I>(std::index_sequence<I...>) {
            ((storage_.template at<At<I>>() = typename At<I>::Type(values)), ...);
        }
        (std::index_sequence_for<V...>());
        made();
    }

    template <AttrLogReader In>
    Stock([[maybe_unused]] In* in, StreamBogon) : storage_{nextOf<S>(in)...} { // braces: in order
        if constexpr (requires { requires Self::korChecksWire; }) {
            made();
        }
    }

    /// All stored attributes, in order.
    static constexpr Storage<S...> const& storage(Stock const& value) { return value.storage_; }

protected:
    [[no_unique_address]] Storage<S...> storage_;

private:
    template <class, class>
    friend class Stock;
    constexpr void made() {
        if constexpr (requires(Self const& self) { self.korCheck(); }) {
            static_cast<Self const&>(*this).korCheck();
        }
        if constexpr (requires { Self::korAlways; }) {
            storage_.template at<At<0>>() |= Self::korAlways;
        }
    }
    template <class A, class In>
    static typename A::Type nextOf(In* in) {
        auto value = in->template next<typename A::Type>();
        if constexpr (A::shape.checkedOnWire) {
            value.made();
        }
        return value;
    }
};

/// Of its class, too: an empty base that a value shared with its first member would take room.
template <class Self, class A>
struct NoAccessor {};
template <class Self, class A>
struct ReadWrite : A::Name::template Getter<Self, A>, A::Name::template Setter<Self, A> {};

/// The accessors that an attribute gives its class.
template <class Self, class A>
consteval auto accessors() {
    using Name = typename A::Name;
    constexpr Shape shape = A::shape;
    if constexpr (shape.role == Role::constant) {
        return std::type_identity<typename Name::template Constant<A>>();
    } else if constexpr (shape.role != Role::field && shape.role != Role::view) {
        return std::type_identity<NoAccessor<Self, A>>();
    } else if constexpr (shape.settable) {
        return std::type_identity<ReadWrite<Self, A>>();
    } else {
        return std::type_identity<typename Name::template Getter<Self, A>>();
    }
}
template <class Self, class A>
using Accessors = typename decltype(accessors<Self, A>())::type;

/// Folds one stored attribute into a running hash: an integer as its bytes, a value that says how it goes in
/// by `foldInto`, any other as its own finished hash.
template <class T>
constexpr void fold(OneAtATime& hash, T const& value) {
    if constexpr (requires { value.foldInto(hash); }) {
        value.foldInto(hash);
    } else if constexpr (requires { value.hash(); }) {
        hash.add(value.hash());
    } else if constexpr (std::is_enum_v<T>) {
        hash.add(static_cast<U32>(value));
    } else {
        hash.add(value);
    }
}

} // namespace detail

template <class Self, class... A>
class ValueOf : public detail::Stock<Self, detail::StorageOf<A...>>, public detail::Accessors<Self, A>... {
    using StockType = detail::Stock<Self, detail::StorageOf<A...>>;

public:
    using Attributes = AttributeList<A...>;
    static constexpr AttributeId firstAttributeId = 2;
    using StockType::StockType;

    constexpr ValueOf() = default;
    /// Reads the text of a Self, as Kor::sequenceToValue does. Needs reflect/Text.h.
    ValueOf(String8::IteratorConst& it, String8::IteratorConst const& end)
        : ValueOf(detail::readTextAt<Self>(it, end)) {}

    /// The box, reflect/box/GenericIf.h.
    using GenericIf_ = BoxOf<Self>;
    /// The type object, reflect/type/KorType.h, and its class.
    using _Type = TypeOf<Self>;
    static KorType* _fwkType() { return fwkTypeOf<Self>(); }

    friend constexpr bool operator==(Self const& a, Self const& b) {
        return StockType::storage(a) == StockType::storage(b);
    }

    /// The value of an attribute of the list. This and `set` are what the accessors forward to.
    template <class Attribute>
    constexpr typename Attribute::Type get() const {
        if constexpr (Attribute::shape.role == Role::view) {
            // In 64 bits, so that the compiler can merge it with a shift to another place.
            U64 const word = this->storage_.template at<WordOf<Attribute>>();
            return static_cast<typename Attribute::Type>((word & maskOf<Attribute>()) >> Attribute::first);
        } else {
            return this->storage_.template at<Attribute>();
        }
    }

    template <class Attribute>
    constexpr void set(typename Attribute::Type const& value) {
        if constexpr (Attribute::shape.role == Role::view) {
            using Word = WordOf<Attribute>;
            using W = typename Word::Type;
            constexpr W mask = maskOf<Attribute>();
            W const bits = static_cast<W>((static_cast<U64>(value) << Attribute::first) & mask);
            set<Word>(static_cast<W>((this->storage_.template at<Word>() & static_cast<W>(~mask)) | bits));
        } else {
            auto& slot = this->storage_.template at<Attribute>();
            if constexpr (requires(Self const& self) { self.korCheck(); }) {
                if (slot == value) {
                    return;
                }
                slot = value;
                static_cast<Self const&>(*this).korCheck();
            } else {
                slot = value;
            }
        }
    }

protected:
    template <class Attribute>
    using WordOf =
        typename detail::AttributeAt<detail::placeOfFirst(
                                         {std::is_same_v<typename A::Name, typename Attribute::Word>...}),
                                     Attributes>::type;

    template <class Attribute>
    static constexpr auto maskOf() {
        return static_cast<typename WordOf<Attribute>::Type>((~U64{0} >> (64 - Attribute::width))
                                                             << Attribute::first);
    }
};

/// A value that adds views and operations to another and no storage. It can be made from its base by copying
/// the stored attributes, and compares, hashes and travels as its base.
template <class Self, class Base, class... A>
class DerivedValueOf : public Base, public detail::Accessors<Self, A>... {
public:
    using BaseValue = Base;
    using Attributes = AttributeList<A...>;
    static constexpr AttributeId firstAttributeId = Base::firstAttributeId + 128;
    using Base::Base;

    using GenericIf_ = BoxOf<Self>;
    constexpr DerivedValueOf() = default;
    using _Type = TypeOf<Self>;
    static KorType* _fwkType() { return fwkTypeOf<Self>(); }
    constexpr explicit DerivedValueOf(Base const& base) : Base(base) {}
    DerivedValueOf(String8::IteratorConst& it, String8::IteratorConst const& end)
        : Base(detail::readTextAt<Self>(it, end)) {}
};

/// Gives a value `<`, `<=`, `>` and `>=`: by the stored attributes in declared order.
template <class Self>
struct Ordered {
    friend constexpr std::strong_ordering operator<=>(Self const& a, Self const& b) {
        return Self::storage(a) <=> Self::storage(b);
    }
};

/// Gives a value `operator!`: whether it is the default, which stands for none.
template <class Self>
struct Nullable {
    constexpr bool operator!() const { return static_cast<Self const&>(*this) == Self(); }
};

/// Gives a value `hash()`: the one-at-a-time hash over the stored attributes in declared order.
template <class Self>
struct Hashed {
    constexpr U32 hash() const noexcept {
        OneAtATime running;
        Self::storage(static_cast<Self const&>(*this)).each([&](auto const& each) {
            detail::fold(running, each);
        });
        return running.finish();
    }
};

} // namespace Kor
