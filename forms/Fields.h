#pragma once

/// The fields of a value by name, over type objects alone: what `AradLifAcMp vsi=100` and JSON can say of it.
///
///     for (Kor::Forms::Field const& field : Kor::Forms::fieldsOf(type)) {
///         std::cout << field.name << ' ' << field.most << '\n';       // vsi 65535
///     }
///
/// A field is a stored attribute, a view of its bits, or two operations `x()` and `xIs(v)`. A value that
/// holds others, each reached by operations that take a bool called as the one for true, such as `isAc0`, has
/// their fields too, as `ac0.vid1` and `ac1.vid1`.
///
/// What is found of a type is kept, behind a lock, so that asking again is one look-up. What is wrong is a
/// Refused (forms/Refused.h). Any thread.

#include "forms/Refused.h"
#include "reflect/box/GenericIf.h"
#include "reflect/type/KorType.h"

#include <string>
#include <string_view>
#include <vector>

namespace Kor::Forms {

using Box = Ptr<GenericIf>;

/// The short name of a type, with those of the types around it, such as "FapTypeProperties::Properties".
KOR_EXPORT std::string shortName(KorType const& type);

/// The type of that full name, or of that last part of it; null if there is none. WrongUsage if there are
/// several.
KOR_EXPORT KorType* findType(std::string_view name);
/// The same; WrongUsage if there is none.
KOR_EXPORT KorType& typeNamed(std::string_view name);
/// The same of a value or an enumeration.
KOR_EXPORT KorType const& valueTypeNamed(std::string_view name);

/// An argument of a constructor or an operation.
struct Argument {
    std::string name;
    KorType* type;
};
KOR_EXPORT std::vector<Argument> constructorArguments(KorType const& type);
KOR_EXPORT std::vector<Argument> operationArguments(KorAttr const& operation);
/// "(app: VtAppId)".
KOR_EXPORT std::string signature(std::vector<Argument> const& arguments);

/// A value of constants alone, which its type says all of.
KOR_EXPORT bool isStateless(KorType const& type);
/// A value whose text is in quotes, as that of its one attribute may be.
KOR_EXPORT bool isQuotedType(KorType const& type);
/// A bool.
KOR_EXPORT bool isBoolType(KorType const& type);
/// A whole number or a bool.
KOR_EXPORT bool isNumberType(KorType const& type);
/// The largest number of such a type by itself; 0 for others.
KOR_EXPORT U64 mostOfType(KorType const& type);
/// The default of a value.
KOR_EXPORT Box defaultOf(KorType const& type);
/// Arguments in a box, as constructors and operations take them.
KOR_EXPORT Ptr<GenericIf> argumentsOf(std::vector<Box> const& boxes);

/// The number that stands for all of a value: a whole number, a bool or an enumerator. 0 for others.
KOR_EXPORT U64 numberOf(GenericIf const& box);
/// The value of such a type. Refused for a number that it does not hold.
KOR_EXPORT Box boxOfNumber(KorType const& type, U64 number);

class KOR_EXPORT Field {
public:
    std::string name;
    KorType const* type;
    /// The largest number that it keeps; 0 where it is no unsigned number.
    U64 most = 0;
    /// What the value raises for a number above; empty where it cuts, or takes all.
    std::string refusal{};
    /// Set by the constructor.
    bool isStored = false;

    /// Whether it is two operations, and of the value itself.
    bool isPair() const;
    /// Whether set() can change it.
    bool isSettable() const { return setter_ != nullptr; }
    /// The words that stand for numbers: enumerators, or false and true.
    std::vector<std::string> words() const;
    Box get(GenericIf const& value) const;
    /// Lets out what the value refuses, as a Kor::Exception.
    void set(Box const& value, Box const& to) const;

private:
    friend class FieldsOf;

    KorAttr const* getter_ = nullptr;
    KorAttr const* setter_ = nullptr;
    // Of a value within.
    KorAttr const* partGetter_ = nullptr;
    KorAttr const* partSetter_ = nullptr;
    bool partFlag_ = false;
};

/// First those of values within, then those of the type itself, then those of its base.
KOR_EXPORT std::vector<Field> const& fieldsOf(KorType const& type);
/// Refused if there is none.
KOR_EXPORT Field const& fieldNamed(KorType const& type, std::string_view name);

} // namespace Kor::Forms
