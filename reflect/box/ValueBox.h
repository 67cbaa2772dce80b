#pragma once

/// The boxes of values, scalars, strings and enumerators: each holds a copy.

#include "reflect/box/BoxTables.h"

#include <string>

namespace Kor {

namespace detail {

struct PlainBox : GenericIf {
    template <class T>
    PlainBox(T const&, bool isConst) : GenericIf(isConst) {}
};

/// The box of a value, on that of the base value. The tables reach all attributes in this box's own copy, so
/// that those of the base and of the derived class tell the same.
template <class T, class Below>
class KOR_EXPORT ValueBox : public Below {
public:
    using typename GenericIf::AttributeOp;
    using typename GenericIf::Key;
    using typename GenericIf::OpId;

    ValueBox(T const& value, bool isConst) : Below(value, isConst), value_(value) {
        this->registeredFlagIs(true); // such a box observes nothing
        this->placeIs(detail::BoxTables<T>::table, &value_, GenericIf::Holds::value);
    }

    KorType* type() const override { return fwkTypeOf<T>(); }
    void* voidPtrIs(Ptr<KorType const> const& type) const override {
        if (type != fwkTypeOf<T>()) {
            detail::throwUnboxed(type.ptr());
        }
        return const_cast<T*>(&value_);
    }
    Ptr<GenericIf> attributeOp(AttributeOp const& op, Key const& key, Ptr<GenericIf> const& value) override {
        if (op.attributeId == 0 && op.opId == OpId::equals) {
            T const other = unbox<T>(detail::needKey(key, "korOpArg"));
            return boxOf<bool>(value_ == other, this->isConst());
        }
        // This box has a table of all. NOLINTNEXTLINE(bugprone-parent-virtual-call)
        return GenericIf::attributeOp(op, key, value);
    }
    String8 strRep() const override {
        if constexpr (std::is_pointer_v<T>) {
            return "'buffer'";
        } else {
            return valueToStrep(value_);
        }
    }
    using GenericIf::clone;
    Ptr<GenericIf> clone() override { return GenericIf::active(makePtr<BoxOf<T>>(value_, this->isConst())); }

    static Ptr<GenericIf> genericIfListConstructor(Key const& arguments) {
        detail::ArgumentReader reader(arguments.ptr(), shortTypeName<T>());
        if constexpr (PatternValue<T>) {
            return GenericIf::active(makePtr<BoxOf<T>>(
                detail::valueOfArguments<T>(reader, static_cast<detail::StorageTypeOf<T> const*>(nullptr)),
                false));
        } else {
            T const value = reader.empty() ? T() : reader.template next<T>("value");
            reader.end();
            return GenericIf::active(makePtr<BoxOf<T>>(value, false));
        }
    }

protected:
    T value_;
};

} // namespace detail

/// The box of a value, a scalar, a string.
template <class T>
class KOR_EXPORT BoxOf : public detail::ValueBox<T, detail::PlainBox> {
public:
    using detail::ValueBox<T, detail::PlainBox>::ValueBox;

    /// Replaces what is in the box, unchecked.
    virtual void valIs(T const& value) { this->value_ = value; }
};

/// The box of a derived value.
template <class T>
requires requires {
    typename T::BaseValue;
}
class KOR_EXPORT BoxOf<T> : public detail::ValueBox<T, BoxOf<typename T::BaseValue>> {
    using Base = detail::ValueBox<T, BoxOf<typename T::BaseValue>>;

public:
    using Base::Base;

    using Base::valIs;
    virtual void valIs(T const& value) { this->value_ = value; }
    void valIs(typename T::BaseValue const& value) override { valIs(T(value)); }
};

/// The box of an enumerator.
template <class E>
requires std::is_enum_v<E>
class KOR_EXPORT BoxOf<E> final : public detail::ValueBox<E, detail::PlainBox> {
public:
    using detail::ValueBox<E, detail::PlainBox>::ValueBox;
    using typename GenericIf::AttributeOp;
    using typename GenericIf::Key;

    AttributeId attributeId(String8 name) const override {
        return name == "value" ? 1 : GenericIf::attributeId(std::move(name));
    }
    /// Attribute 1, the enumerator, is read by any operation.
    Ptr<GenericIf> attributeOp(AttributeOp const& op, Key const&, Ptr<GenericIf> const&) override {
        if (op.attributeId != 1) {
            GenericIf::throwUnknownAttrException(std::string(shortTypeName<E>()).c_str());
        }
        return makePtr<BoxOf>(this->value_, false);
    }

    virtual void valIs(E value) { this->value_ = value; }
};

} // namespace Kor
