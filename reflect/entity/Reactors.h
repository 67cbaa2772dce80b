#pragma once

/// The reactors of an entity: X::NotifieeConst and X::Notifiee with a hook for each attribute of X that
/// changes, and Kor::observe, which makes, registers and attaches one:
///
///     struct Watcher : LifAppConfig::Notifiee {
///         explicit Watcher(Board& board) : board_(board) {}
///         void onReqCount(AradLifEntry const& entry) override {
///             if (auto const* config = notifier()) {           // null once another reactor has detached this one
///                 board_.show(entry, config->reqCount(entry));
///             }
///         }
///         Board& board_;
///     };
///     auto watcher = Kor::observe<Watcher>(config, board);     // keep it: the entity does not
///
/// The hooks of an attribute `x` are onX() or, with a key, onX(key). They are called on the stack of the
/// change, when it is stored (runtime/Notification.h). A keyed attribute also has onX() and
/// onXkorImmediate(), for code that calls them itself: no change does.

#include "reflect/FwkType.h"
#include "reflect/entity/Levels.h"

namespace Kor {

namespace detail {

template <class X>
class ReactorRoot;

/// Of a reactor of the library's own, which hears of all attributes of a list alike: a struct with the entity
/// class, `Notifier`, the `Attributes` that are heard of, and the reactor class, `Hearer`.
template <class Of>
concept HearerTag = requires {
    typename Of::Hearer;
    typename Of::Notifier;
};

// The hooks of an entity class, or those that the reactor of a tag overrides. Each is a class on the one
// before it, known by the class or the tag and a number, so that names stay short.

template <class Of, std::size_t I>
struct HookAt;
template <class Of, std::size_t I>
consteval auto hooksUpTo() {
    if constexpr (I != 0) {
        using A = typename AttributeAt<I - 1, typename Of::Attributes>::type;
        if constexpr (!A::shape.hasHooks()) {
            return hooksUpTo<Of, I - 1>();
        } else if constexpr (HearerTag<Of> && A::shape.keyed) {
            return std::type_identity<typename A::Name::template KeyedForward<HookAt<Of, I>>>();
        } else if constexpr (HearerTag<Of>) {
            return std::type_identity<typename A::Name::template ScalarForward<HookAt<Of, I>>>();
        } else if constexpr (A::shape.keyed) {
            return std::type_identity<typename A::Name::template KeyedHooks<HookAt<Of, I>>>();
        } else {
            return std::type_identity<typename A::Name::template ScalarHooks<HookAt<Of, I>>>();
        }
    } else if constexpr (HearerTag<Of>) {
        return std::type_identity<typename Of::Notifier::Notifiee>();
    } else {
        return std::type_identity<ReactorRoot<Of>>();
    }
}
template <class Of>
using AllHooks = typename decltype(hooksUpTo<Of, Of::Attributes::size>())::type;

template <class Of, std::size_t I>
struct HookAt {
    using Attribute = typename AttributeAt<I - 1, typename Of::Attributes>::type;
    using Below = typename decltype(hooksUpTo<Of, I - 1>())::type;
    template <class Hooks, class... Key>
    static void forward(Hooks* hooks, Key const&... key) {
        static_cast<typename Of::Hearer*>(hooks)->template changed<Attribute>(key...);
    }
};

template <class... A>
std::tuple<DeferredKey<typename A::Key>...> deferredKeysOf(AttributeList<A...>);
template <class Derived, class X, class Base, class... A>
NotifieeOf<Derived, X, Base, typename A::Key...> notifieeOf(AttributeList<A...>);

/// An entity class below another one of the pattern.
template <class X>
concept HeirEntity = Declared<typename X::BaseEntity>;

/// Below the hooks: the list of the entity, and the keys that wait for delivery.
template <class X>
class ReactorRoot
    : public decltype(notifieeOf<typename X::NotifieeConst, X,
                                 std::conditional_t<std::derived_from<X, Entity>, Entity::NotifieeConst,
                                                    PtrInterface::NotifieeConst>>(
          Where<&Shape::keyed, typename X::Attributes>())) {};

/// An entity below another one has that one's list. Its reactors add hooks and keys to that one's.
template <HeirEntity X>
class ReactorRoot<X> : public X::BaseEntity::NotifieeConst {
    using Base = typename X::BaseEntity::NotifieeConst;
    using Deferred = decltype(deferredKeysOf(Where<&Shape::keyed, typename X::Attributes>()));

public:
    static constexpr std::size_t deferredKeys = Base::deferredKeys + std::tuple_size_v<Deferred>;

    // Also while the notifier ends, when it is no longer the whole of one.
    __attribute__((no_sanitize("vptr"))) X const* notifier() const noexcept {
        return static_cast<X const*>(Base::notifier());
    }
    /// A notifier of another class counts as none, also one of the base's.
    void notifierIs(Ptr<PtrInterface const> const& notifierOrNull) override {
        Base::notifierIs(ptrCast<X const>(notifierOrNull));
    }

protected:
    void deferredDel() noexcept override {
        std::apply([](auto&... each) { ((each.changes = 0), ...); }, deferred_);
        Base::deferredDel();
    }
    template <std::size_t i>
    auto& deferred() noexcept {
        if constexpr (i < Base::deferredKeys) {
            return Base::template deferred<i>();
        } else {
            return std::get<i - Base::deferredKeys>(deferred_);
        }
    }

private:
    [[no_unique_address]] Deferred deferred_;
};

/// The attributes of an entity and of the entities that it derives from, in order.
template <class X>
struct AllAttributes : std::type_identity<AttributeList<>> {};
template <Declared X>
struct AllAttributes<X>
    : Joined<typename AllAttributes<typename X::BaseEntity>::type, typename X::Attributes> {};

} // namespace detail

/// X::NotifieeConst, a reactor that reads.
template <class X>
class ReactorConst : public detail::AllHooks<X> {};

/// X::Notifiee, a reactor that may also write.
template <class X>
class Reactor : public X::NotifieeConst {
public:
    X* notifier() const noexcept {
        return const_cast<X*>(static_cast<X const*>(X::NotifieeConst::notifier()));
    }
};

namespace detail {

// What a reactor class overrides, as far as can be seen from outside.

enum class HookUse { none, overridden, wrong };

/// Called with the address of a hook as A has it; tells the class that declares it.
template <class A>
struct HookProbe {
    template <class C>
    std::type_identity<C> operator()(void (C::*)()) const;
};
template <class A>
requires(A::shape.keyed) struct HookProbe<A> {
    template <class C>
    std::type_identity<C> operator()(void (C::*)(typename A::Key const&)) const;
};
/// Of a hook that takes anything: of the only one, or the only one with a key.
template <bool keyed>
struct AnyHookProbe {
    template <class Hook>
    void operator()(Hook) const;
    template <class C, class K>
    requires(keyed) void operator()(void (C::*)(K)) const;
};

template <class R>
using NotifierOf = std::remove_const_t<std::remove_pointer_t<decltype(std::declval<R const&>().notifier())>>;

/// Not of Kor::Entity or Kor::PtrInterface, which have no hooks of attributes.
template <class R>
inline constexpr bool isEntityReactor = Declared<NotifierOf<R>>;

template <class R, class A>
consteval HookUse hookUse() {
    using Name = typename A::Name;
    if constexpr (!A::shape.hasHooks()) {
        return HookUse::none;
    } else if constexpr (requires { Name::template probe<R>(HookProbe<A>()); }) {
        using C = typename decltype(Name::template probe<R>(HookProbe<A>()))::type;
        return std::derived_from<C, typename NotifierOf<R>::NotifieeConst> ? HookUse::overridden
                                                                           : HookUse::none;
    } else if constexpr (
        requires { Name::template probe<R>(AnyHookProbe<A::shape.keyed>()); } ||
        requires { typename Name::template TemplateHook<R, typename A::Key>; }) {
        return HookUse::wrong;
    } else {
        return HookUse::overridden; // one that is not public cannot be named here
    }
}
/// The hook of every reactor, which a plain one may live by, as if it were one of an attribute.
struct ZeroReferences {
    using Name = ZeroReferences;
    static constexpr Shape shape{.role = Role::singleton};
    template <class R, class Probe>
    static auto probe(Probe probe) -> decltype(probe(&R::onZeroReferences));
};

template <class R, class List>
struct HooksOf;
template <class R, class... A>
struct HooksOf<R, AttributeList<A...>> {
    static constexpr bool any = placeOfFirst({hookUse<R, A>() == HookUse::overridden...}) != sizeof...(A);
    /// The first attribute, if any, whose hook takes something else than its key.
    using Wrong = typename AttributeAt<placeOfFirst({hookUse<R, A>() == HookUse::wrong...}),
                                       AttributeList<A..., void>>::type;
};

} // namespace detail

/// Hands each change to `changed<A>(key...)` of the tag's reactor class.
template <detail::HearerTag Tag>
struct NotifieeNamed<Tag> : std::type_identity<detail::AllHooks<Tag>> {};

/// Makes a reactor of the class R with the arguments, registers it, and attaches it to the entity, which it
/// hears of from now on. Returns the one pointer to it: neither the entity nor anybody else keeps it. It
/// holds the entity; `reactor->notifierIs(nullptr)` detaches it. Does not compile for a reactor that
/// overrides no hook, or whose hook takes something else than the key of its attribute. A hook that is not
/// public cannot be seen and counts as an override, so write `override`; so does onZeroReferences(), which
/// one hears that becomes weak afterwards. Throws Kor::RangeException for a null entity, and what R's
/// constructor throws.
template <class R, class E, class... Argument>
requires(detail::isEntityReactor<R>) [[nodiscard]] Ptr<R> observe(E const& entity, Argument&&... argument) {
    using X = detail::NotifierOf<R>;
    using Hooks = detail::HooksOf<R, typename detail::Joined<typename detail::AllAttributes<X>::type,
                                                             AttributeList<detail::ZeroReferences>>::type>;
    using Writes = std::conditional_t<std::derived_from<R, typename X::Notifiee>, X, X const>;
    static_assert(std::is_void_v<typename Hooks::Wrong>,
                  "the hook of the attribute named here takes something else than its key: declare it as "
                  "void onX(Key const&) override, or as void onX() override for an attribute without a key");
    static_assert(!std::is_void_v<typename Hooks::Wrong> || Hooks::any,
                  "this reactor overrides no hook of the entity, so that it would hear nothing");
    static_assert(std::is_convertible_v<E const&, Ptr<Writes>>,
                  "this reactor is one of another entity class, or may write what is const here");
    if constexpr (std::is_convertible_v<E const&, Ptr<Writes>>) {
        // Converted, where the entity is of a derived class.
        Ptr<Writes> const observed = entity; // NOLINT(performance-unnecessary-copy-initialization)
        if (!observed) {
            throwRangeException("Kor::observe: the entity is null");
        }
        Ptr<R> reactor = makePtr<R>(std::forward<Argument>(argument)...);
        reactor->isRegisteredNotifieeIs(true);
        reactor->notifierIs(observed);
        return reactor;
    }
    return nullptr; // not in a program that compiles
}
template <class R, class... Any>
requires(!detail::isEntityReactor<R>) std::nullptr_t observe(Any&&...) {
    static_assert(detail::isEntityReactor<R>,
                  "observe takes a class that derives from the NotifieeConst or Notifiee of an entity class");
    return nullptr;
}

} // namespace Kor
