#pragma once

/// A kind of entry that `encode` takes: a value class, the table and variant of the row that it becomes, and
/// its encoder. A kind is one declaration in forms/Kinds.cpp:
///
///     kindOf<AradLifAcMp, LifTable>(1, AradLifAcMp(lifAcMp))
///
/// What can be set by name follows from the value's attribute list: each settable attribute, and each
/// operation `xIs(v)` that has an operation `x()` beside it. Parts of a value that are values themselves, and
/// are reached by two operations that take a flag, are named in the declaration; their attributes are then
/// set as `ac0.vid1`:
///
///     kindOf<OutAcValue, OutAcBank, Part<"ac0", name::acFormat, name::acFormatIs, true, OutAcFormat>,
///     ...>(...)
///
/// What the encoder requires of the caller, and the widths do not say, is declared as limits.

#include "forms/Text.h"
#include "platform/Hardware/ChipType.h"
#include "reflect/Enumeration.h"
#include "reflect/Value.h"
#include "reflect/box/GenericIf.h"
#include "runtime/Exception.h"
#include "tables/TableInfos.h"
#include "values/AradLifEntry.h"

#include <algorithm>
#include <array>
#include <functional>
#include <limits>
#include <memory>
#include <optional>
#include <string>
#include <tuple>
#include <utility>
#include <vector>

namespace Kor::Forms {

/// What of a value can be set by name.
struct AttributeInfo {
    std::string name;
    /// The largest number that it keeps.
    U64 most;
    /// The words that stand for numbers, where it is an enumeration or a bool.
    std::vector<Kor::Enumerator> words;
};

/// The most that an encoder takes of an attribute on some chips.
struct Limit {
    enum Over { refused, cut };
    std::string_view attribute;
    U64 most;
    Hardware::layout::ChipSet chips;
    /// Whether more is outside the encoder's contract, or loses its high bits in the row.
    Over over = refused;
};

/// A value that is being put together by attribute number.
class KOR_EXPORT Draft {
public:
    virtual ~Draft() = default;
    /// Takes a number of at most `most`. Lets a Kor::RangeException of the value out.
    virtual void set(std::size_t attribute, U64 number) = 0;
    virtual U64 get(std::size_t attribute) const = 0;
    /// Runs the value's encoder. Requires that the table knows the chip and that no limit is exceeded.
    virtual void write(Hardware::ChipType chip, U8* row) const = 0;
    /// The entry of an application's request that this is, if it is one of a logical interface.
    virtual std::optional<Hardware::LoamTunnel::AradLifEntry> lif() const = 0;
};

struct KOR_EXPORT Kind {
    std::string name;
    /// Another name for it, if not empty.
    std::string alias;
    Hardware::TableInfo const* table;
    U8 variant;
    std::vector<AttributeInfo> attributes;
    std::vector<Limit> limits;
    /// The type of its values.
    Kor::KorType const* type;
    std::function<std::unique_ptr<Draft>()> draft;
    /// One that starts as the value in the box; null when that is not of this kind.
    std::function<std::unique_ptr<Draft>(Kor::GenericIf const& box)> draftOf;

    bool isCalled(std::string_view word) const { return word == name || (!alias.empty() && word == alias); }
};

/// A word as a template argument.
template <std::size_t Size>
struct Literal {
    char text[Size];
    // NOLINTNEXTLINE(google-explicit-constructor): "ac0" is to stand as it is
    consteval Literal(char const (&from)[Size]) { std::copy_n(from, Size, text); }
};

/// A part of a value, read by `x(Flag)` and written by `xIs(Flag, part)`.
template <Literal Prefix, class Getter, class Setter, bool Flag, class PartValue>
struct Part {
    using Value = PartValue;
    static constexpr std::string_view prefix = Prefix.text;
    template <class Whole>
    static void write(Whole& whole, PartValue const& part) {
        Setter::call(whole, Flag, part);
    }
    template <class Whole>
    static PartValue read(Whole const& whole) {
        return Getter::call(whole, Flag);
    }
};

namespace detail {

/// One attribute of V, by function.
template <class V>
struct Accessor {
    AttributeInfo info;
    std::function<void(V&, U64)> set;
    std::function<U64(V const&)> get;
};

template <class V>
using Accessors = std::vector<Accessor<V>>;

template <class T>
constexpr bool isNumber = std::is_integral_v<T> || std::is_enum_v<T>;

template <class T>
std::vector<Kor::Enumerator> wordsOf() {
    if constexpr (std::is_enum_v<T>) {
        return {Kor::enumerators<T>.begin(), Kor::enumerators<T>.end()};
    } else if constexpr (std::is_same_v<T, bool>) {
        return {{0, "false"}, {1, "true"}};
    } else {
        return {};
    }
}

/// The most that an attribute keeps: what is read back after all ones were set. A value that refuses those by
/// an exception keeps what it is given, and an enumeration its enumerators.
template <class T, class V>
U64 mostOf(V probe, std::function<void(V&, T)> const& set, std::function<T(V const&)> const& get) {
    if constexpr (std::is_enum_v<T>) {
        return Kor::enumerators<T>.back().number;
    } else {
        constexpr T allOnes = std::numeric_limits<T>::max();
        try {
            set(probe, allOnes);
        } catch (Kor::Exception const&) {
            return allOnes;
        }
        return get(probe);
    }
}

template <class T, class V>
void add(Accessors<V>& all, V const& probe, std::string_view name, std::function<void(V&, T)> const& set,
         std::function<T(V const&)> const& get) {
    all.push_back({{std::string(name), mostOf<T, V>(probe, set, get), wordsOf<T>()},
                   [set](V& value, U64 number) { set(value, static_cast<T>(number)); },
                   [get](V const& value) { return static_cast<U64>(get(value)); }});
}

/// Whether `setter` is `getter` and "Is".
constexpr bool isSetterOf(std::string_view setter, std::string_view getter) {
    return setter.size() == getter.size() + 2 && setter.starts_with(getter) && setter.ends_with("Is");
}

/// An operation `xIs(v)`: adds `x` where the list has an operation `x()`.
template <class Setter, class Arg, class... A, class V>
void addPair(Kor::AttributeList<A...>, Accessors<V>& all, V const& probe) {
    using T = typename Arg::Type;
    if constexpr (isNumber<T>) {
        auto const tryGetter = [&]<class Getter, class Signature>(Kor::Operation<Getter, Signature>) {
            if constexpr (std::is_same_v<Signature, T()> && isSetterOf(Setter::text, Getter::text)) {
                add<T, V>(
                    all, probe, Getter::text, [](V& value, T number) { Setter::call(value, number); },
                    [](V const& value) -> T { return Getter::call(value); });
            }
        };
        auto const tryAttribute = [&]<class Each>(Each each) {
            if constexpr (Each::shape.isOperation()) {
                tryGetter(each);
            }
        };
        (tryAttribute(A{}), ...);
    }
}

template <class List, class V, class Name, class Arg>
void addOperation(Kor::Operation<Name, void(Arg)>, Accessors<V>& all, V const& probe) {
    addPair<Name, Arg>(List{}, all, probe);
}

/// Any other operation sets nothing.
template <class List, class V, class Name, class Signature>
void addOperation(Kor::Operation<Name, Signature>, Accessors<V>&, V const&) {}

template <class... A, class V>
void addList(Kor::AttributeList<A...> list, Accessors<V>& all, V const& probe) {
    auto const addOne = [&]<class Each>(Each each) {
        if constexpr (Each::shape.isOperation()) {
            addOperation<decltype(list)>(each, all, probe);
        } else if constexpr (Each::shape.settable) {
            using T = typename Each::Type;
            if constexpr (isNumber<T>) {
                add<T, V>(
                    all, probe, Each::Name::text,
                    [](V& value, T number) { value.template set<Each>(number); },
                    [](V const& value) { return value.template get<Each>(); });
            }
        }
    };
    (addOne(A{}), ...);
}

/// All that can be set on V: its own attributes, then those of the value that it derives from.
template <class V>
Accessors<V> accessors(V const& probe) {
    Accessors<V> all;
    addList(typename V::Attributes{}, all, probe);
    if constexpr (requires { typename V::BaseValue; }) {
        addList(typename V::BaseValue::Attributes{}, all, probe);
    }
    return all;
}

/// The value and its parts, which are put into it when it is complete: reading one back from the value may
/// not give what was written.
template <class V, class... P>
struct Pieces {
    V value;
    std::tuple<typename P::Value...> parts{};
    std::array<bool, sizeof...(P) + 1> touched{};

    V whole() const {
        V result = value;
        [&]<std::size_t... I>(std::index_sequence<I...>) {
            ((touched[I] ? P::write(result, std::get<I>(parts)) : void()), ...);
        }
        (std::index_sequence_for<P...>());
        return result;
    }
};

template <class V, class... P>
Accessors<Pieces<V, P...>> pieceAccessors(V const& initial) {
    using All = Pieces<V, P...>;
    Accessors<All> all;
    auto const addPart = [&]<std::size_t I, class Each>(std::integral_constant<std::size_t, I>, Each) {
        for (auto const& each : accessors(Each::read(initial))) {
            AttributeInfo info = each.info;
            info.name = std::string(Each::prefix) + '.' + info.name;
            all.push_back({info,
                           [set = each.set](All& pieces, U64 number) {
                               pieces.touched[I] = true;
                               set(std::get<I>(pieces.parts), number);
                           },
                           [get = each.get](All const& pieces) { return get(std::get<I>(pieces.parts)); }});
        }
    };
    [&]<std::size_t... I>(std::index_sequence<I...>) {
        (addPart(std::integral_constant<std::size_t, I>(), P{}), ...);
    }
    (std::index_sequence_for<P...>());
    for (auto const& each : accessors(initial)) {
        all.push_back({each.info, [set = each.set](All& pieces, U64 number) { set(pieces.value, number); },
                       [get = each.get](All const& pieces) { return get(pieces.whole()); }});
    }
    return all;
}

template <class V, class... P>
class DraftOf final : public Draft {
public:
    DraftOf(V const& initial, std::shared_ptr<Accessors<Pieces<V, P...>> const> all)
        : pieces_{initial, {P::read(initial)...}}, accessors_(std::move(all)) {}

    void set(std::size_t attribute, U64 number) override { (*accessors_)[attribute].set(pieces_, number); }
    U64 get(std::size_t attribute) const override { return (*accessors_)[attribute].get(pieces_); }
    void write(Hardware::ChipType chip, U8* row) const override {
        pieces_.whole().writeToChipFormat(chip, row);
    }
    std::optional<Hardware::LoamTunnel::AradLifEntry> lif() const override {
        if constexpr (std::derived_from<V, Hardware::LoamTunnel::AradLifEntry>) {
            return pieces_.whole();
        } else {
            return std::nullopt;
        }
    }

private:
    Pieces<V, P...> pieces_;
    std::shared_ptr<Accessors<Pieces<V, P...>> const> accessors_;
};

/// A value that V is a view of, with an encoder of its own.
template <class V>
concept ViewsEntry = requires(typename V::BaseValue const& base, U8* row) {
    base.writeToChipFormat(Hardware::ChipType(), row);
};

/// What is in the box, if it is a V, or what a V is a view of, and of V's kind: an entry's type says what it
/// is.
template <class V>
std::optional<V> valueOfKind(Kor::GenericIf const& box, V const& initial) {
    std::optional<V> value;
    if (box.type() == V::_fwkType()) {
        value = Kor::unbox<V>(box);
    } else if constexpr (ViewsEntry<V>) {
        if (box.type() == V::BaseValue::_fwkType()) {
            value = V(Kor::unbox<typename V::BaseValue>(box));
        }
    }
    if constexpr (requires { initial.lifType(); }) {
        if (value && value->lifType() != initial.lifType()) {
            value.reset();
        }
    }
    return value;
}

} // namespace detail

/// The kind of V, whose entries start as `initial` and become rows of that variant of Row.
template <class V, class Row, class... P>
Kind kindOf(U8 variant, V const& initial, std::vector<Limit> limits = {}, std::string alias = "") {
    auto const all = std::make_shared<detail::Accessors<detail::Pieces<V, P...>> const>(
        detail::pieceAccessors<V, P...>(initial));
    Kind kind{std::string(Kor::shortTypeName<V>()),
              std::move(alias),
              Hardware::tableInfo(Row::tableName),
              variant,
              {},
              std::move(limits),
              V::_fwkType(),
              [initial, all] { return std::make_unique<detail::DraftOf<V, P...>>(initial, all); },
              [initial, all](Kor::GenericIf const& box) -> std::unique_ptr<Draft> {
                  std::optional<V> const value = detail::valueOfKind(box, initial);
                  return value ? std::make_unique<detail::DraftOf<V, P...>>(*value, all) : nullptr;
              }};
    for (auto const& each : *all) {
        kind.attributes.push_back(each.info);
    }
    return kind;
}

} // namespace Kor::Forms
