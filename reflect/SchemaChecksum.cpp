/// The number by which two libraries know that they have the same types.

#include "reflect/KorType.h"
#include "reflect/TypeModule.h"

namespace Kor {

namespace {

/// FNV-1a of 64 bits.
class Digest {
public:
    Digest& add(std::string_view text) {
        add(U64{text.size()});
        for (char const c : text) {
            addByte(static_cast<U8>(c));
        }
        return *this;
    }
    Digest& add(U64 number) {
        for (int shift = 0; shift < 64; shift += 8) {
            addByte(static_cast<U8>(number >> shift));
        }
        return *this;
    }
    Digest& add(KorType const* type) { return add(type != nullptr ? type->typeName().view() : ""); }
    U64 value() const { return value_; }

private:
    void addByte(U8 byte) { value_ = (value_ ^ byte) * 0x100000001b3; }

    U64 value_ = 0xcbf29ce484222325;
};

} // namespace

U64 TypeModule::checksum() const {
    Digest digest;
    for (KorType const* type : defined()) {
        KorTypeFlags const flags = type->typeFlags();
        digest.add(type).add(type->base()).add(type->scope());
        digest.add(flags.isValue + 2u * flags.isEntity + 4u * flags.isEnumType +
                   8u * flags.hasGenericIfSupport);
        digest.add(type->valAttr() != nullptr ? type->valAttr()->name().view() : "");
        for (auto const* queue : {&type->constructorArgNameQQueue(), &type->constructorArgTypeQQueue()}) {
            for (auto const& each : *queue) {
                digest.add(each.value.view());
            }
        }
        for (auto const& attr : type->attributes()) {
            digest.add(attr->name().view()).add(static_cast<U64>(attr->attributeId()));
            digest.add(attr->type()).add(attr->keyType()).add(attr->keyAttributeName().view());
            for (auto const& argument : attr->arguments()) {
                digest.add(argument.name.view()).add(argument.type.view());
            }
            digest.add(attr->flags().word0).add(attr->flags().word1).add(attr->introspectionFlags().word);
        }
    }
    return digest.value();
}

} // namespace Kor
