#pragma once

/// Where types are defined: the scopes that are open, and the order in which types came.
///
///     auto reactor = Kor::IntrospectionReactor::global();
///     reactor->handleNameSpace("Hardware");
///     reactor->handleType(type, base);
///     reactor->defNoninstantiatingAttr(type, "reqCount", u32, entry, flags, {2}, 259);
///     reactor->handleScopeExit();
///     reactor->handleScopeExit();
///
/// The modules of types do this (reflect/type/TypeModule.h) while libraries are loaded; nobody else needs to,
/// and nothing of it costs anything later. One thread.

#include "reflect/type/KorType.h"

#include <vector>

namespace Kor {

class KOR_EXPORT IntrospectionReactor : public PtrInterface {
public:
    class State : public PtrInterface {
    public:
        /// Whether types may be defined now.
        bool isReady = true;
    };

    static Ptr<IntrospectionReactor> const& global();

    Ptr<State> const& state() const noexcept { return state_; }
    void stateIs(Ptr<State> state) noexcept { state_ = std::move(state); }

    void handleNameSpace(char const* /*name*/) { scopes_.push_back(nullptr); }
    /// Opens a type, nested in the type that is open, if one is.
    void handleType(Ptr<KorType const> const& type, Ptr<KorType const> const& base);
    /// Closes the innermost namespace or type.
    void handleScopeExit();

    /// Makes an attribute of `owner` and puts it at the end of its order.
    void defNoninstantiatingAttr(Ptr<KorType> const& owner, Name const& name, Ptr<KorType> const& type,
                                 Ptr<KorType> const& keyType, AttrFlags const& flags,
                                 KorAttrIntrospectionFlags introspection, AttributeId id);
    /// Opens an attribute that was made by KorTypeAttr::attrIs or copied from a base, and is in the order.
    void handleAttr(Ptr<KorAttr> const& attr);
    void handleAttrContextExit() noexcept { open_ = nullptr; }

    /// The types in the order in which they were opened.
    std::vector<KorType*> const& types() const noexcept { return types_; }
    /// How many scopes are open.
    std::size_t depth() const noexcept { return scopes_.size(); }

private:
    Ptr<State> state_ = makePtr<State>();
    std::vector<KorType*> scopes_; // null for a namespace
    std::vector<KorType*> types_;
    Ptr<KorAttr> open_;
};

} // namespace Kor
