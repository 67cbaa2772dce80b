#pragma once

/// The bytes of a boxed value, as they stand in a record: for tools that know no type beforehand.
///
///     Kor::Ptr<Kor::GenericIf> const box = type->genericIf(text, true);
///     std::vector<Kor::U8> const bytes = Kor::NboAttrLog::wireForm(*box);
///     Kor::NboAttrLog::fromWireForm(*type, bytes)->strRep();                 // the text again
///
/// Objects have no byte form, and of values those that hold text or lists of the platform alone. Each call
/// makes a stream of its own, of some 100 KiB; who has many values of one type writes them to an Out.
///
/// Any thread, once the libraries are loaded.

#include "attrlog/In.h"
#include "reflect/box/GenericIf.h"
#include "reflect/type/TypeModule.h"

#include <span>
#include <vector>

namespace Kor {

namespace NboAttrLog {
/// Kor::GenericException for a type without a byte form, Kor::RangeException for a string that is too long.
KOR_EXPORT std::vector<U8> wireForm(GenericIf const& box);

/// A const box of the value that all of the bytes are. Kor::GenericException for a type without a byte form,
/// Kor::AttrLogRecordException for too few or too many bytes, Kor::RangeException for what the type refuses.
KOR_EXPORT Ptr<GenericIf> fromWireForm(KorType const& type, std::span<U8 const> bytes);
} // namespace NboAttrLog

/// What the attribute log adds to the type object of a value. A library says once, for all of its types,
///
///     static Kor::WireTypes<MyTypes> const wireAtLoad;
struct WireType {
    void (*put)(NboAttrLog::Out& out, GenericIf const& box);
    Ptr<GenericIf> (*next)(NboAttrLog::In& in);

    /// That of the type of that full name; null if it has none.
    KOR_EXPORT static WireType const* named(std::string_view typeName);
    KOR_EXPORT static void add(std::string_view typeName, WireType const& type);
};

namespace detail {
template <class T>
concept Wired = !std::derived_from<T, PtrInterface> && NboAttrLog::WireValue<T> &&
                (!PatternValue<T> || std::is_constructible_v<T, NboAttrLog::In*, StreamBogon>);

template <Wired T>
inline constexpr WireType wireType{[](NboAttrLog::Out& out, GenericIf const& box) { out.put(unbox<T>(box)); },
                                   [](NboAttrLog::In& in) { return boxOf(in.next<T>(), true); }};
} // namespace detail

template <class Module>
struct WireTypes;
template <class... T>
struct WireTypes<TypeModuleOf<T...>> {
    WireTypes() {
        auto const add = []<class V>() {
            if constexpr (detail::Wired<V>) {
                WireType::add(typeName<V>(), detail::wireType<V>);
            }
        };
        (add.template operator()<T>(), ...);
    }
};

} // namespace Kor
