#pragma once

/// Kor::AttrLogTypes, which makes the entity classes of a module known to the attribute log: one constant
/// object in the source file that loads them. As heavy as reflect/registry/TypeOf.h. At load, on any thread.
///
///     static Kor::AttrLogTypes<MyTypes> const attrLogAtLoad;    // MyTypes: a Kor::TypeModuleOf

#include "attrlog/adapter/StreamAdapterOf.h"
#include "reflect/type/TypeModule.h"

namespace Kor {

/// What AttrLogType says of the class X.
template <class X>
struct AttrLogTypeOf {
    static Ptr<Entity> newEntity(NboAttrLog::In& in) {
        if constexpr (std::is_default_constructible_v<X> && !std::is_constructible_v<X, Name>) {
            in.nextString();
            return makePtr<X>();
        } else {
            return makePtr<X>(in.template next<typename X::ConstructorArgument>());
        }
    }
    static String8 argumentText(NboAttrLog::In& in) {
        using Argument = typename X::ConstructorArgument;
        if constexpr (std::is_void_v<Argument> || std::is_same_v<Argument, Name>) {
            return in.nextString();
        } else {
            return valueToStrep(in.template next<Argument>());
        }
    }
    static Ptr<Entity::KorNboAttrLogSa> streamAdapterIs(Entity& entity, Entity::Kor_BitSet flags,
                                                        unsigned int id, Ptr<NboAttrLog::Out> const& out,
                                                        PtrInterface* context) {
        if (Ptr<Entity::KorNboAttrLogSa> there = entity.korNboAttrLogSa(out)) {
            if (dynamic_cast<StreamAdapterOf<X>*>(there.ptr()) != nullptr) {
                U32 const mask = Entity::Kor_BitSet::notificationBitMask().word();
                if (((there->kor_bitSet().word() ^ flags.word()) & mask) != 0) {
                    there->notificationFlagsIs(flags);
                }
                return there;
            }
            entity.korNboAttrLogSaDel(out); // of another class
        }
        auto const adapter =
            makePtr<StreamAdapterOf<X>>(flags, id, out, context, Ptr<X>(&static_cast<X&>(entity)));
        adapter->hasNotificationActiveIs(true);
        if (auto* const demuxer = adapter->streamDemuxer()) {
            demuxer->reactorIs(*adapter);
        }
        return adapter;
    }
    static AttrLogRecordText recordText(AttributeId attribute, NboAttrLog::In& in) {
        AttrLogRecordText text;
        bool const isDelete = attribute < 0;
        detail::forEach(detail::WireList<X>(), [&]<class A>() {
            if (magnitudeOf(attribute) != X::template attributeIdOf<typename A::Name>()) {
                return;
            }
            text.attribute = A::Name::text;
            if constexpr (A::shape.child) {
                text.childType = isDelete ? nullptr : A::Type::_fwkType();
            }
            if (A::shape.keyed || !isDelete) {
                detail::takeApart<A>(in, isDelete, [&](auto const& first, auto const&... value) {
                    (A::shape.keyed ? text.key : text.value) = valueToStrep(first);
                    if constexpr (A::shape.child || A::shape.reference) {
                        text.entityId = (U64{0} + ... + value.number());
                    } else {
                        ((text.value = valueToStrep(value)), ...);
                    }
                });
            }
            in.recordEnd();
        });
        return text;
    }
    static void childAttrLogIs(Entity& owner, AttributeId attribute, Ptr<NboAttrLog::Out> const& out) {
        if (Ptr<StreamAdapter> const adapter = ptrCast<StreamAdapter>(owner.korNboAttrLogSa(out))) {
            adapter->childAttrLogIs(attribute);
        }
    }

    static constexpr AttrLogType type{&newEntity, &streamAdapterIs, &recordText, &argumentText,
                                      &childAttrLogIs};
};

/// Makes those of a module's types known to the attribute log, at load, that have one.
template <class Module>
struct AttrLogTypes;
template <class... T>
struct AttrLogTypes<TypeModuleOf<T...>> {
    AttrLogTypes() {
        auto const add = []<class X>() {
            if constexpr (detail::hasAttrLog<X>) {
                AttrLogType::add(typeName<X>(), AttrLogTypeOf<X>::type);
            }
        };
        (add.template operator()<T>(), ...);
    }
};

} // namespace Kor
