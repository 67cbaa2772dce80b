#pragma once

/// Kor::AttrLogTypes, which makes the entity classes of a module known to the attribute log.

#include "attrlog/adapter/Applying.h"
#include "attrlog/adapter/Sending.h"
#include "reflect/TypeModule.h"

namespace Kor {

/// What AttrLogType says of the class X.
template <class X>
class AttrLogTypeOf final : public AttrLogType {
public:
    constexpr AttrLogTypeOf() noexcept = default;

    Ptr<Entity> newEntity(NboAttrLog::In& in) const override {
        if constexpr (std::is_default_constructible_v<X> && !std::is_constructible_v<X, Name>) {
            in.nextString();
            return makePtr<X>();
        } else {
            return makePtr<X>(in.template next<typename X::ConstructorArgument>());
        }
    }
    AttrLogRecordText recordText(AttributeId attribute, NboAttrLog::In& in) const override {
        return StreamAdapterOf<X>::recordText(attribute, in);
    }
    String8 argumentText(NboAttrLog::In& in) const override {
        using Argument = typename X::ConstructorArgument;
        if constexpr (std::is_void_v<Argument> || std::is_same_v<Argument, Name>) {
            return in.nextString();
        } else {
            return valueToStrep(in.template next<Argument>());
        }
    }
    Ptr<Entity::KorNboAttrLogSa> streamAdapterIs(Entity& entity, Entity::Kor_BitSet flags, unsigned int id,
                                                 Ptr<NboAttrLog::Out> const& out,
                                                 PtrInterface* context) const override {
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
    void childAttrLogIs(Entity& owner, AttributeId attribute,
                        Ptr<NboAttrLog::Out> const& out) const override {
        if (Ptr<StreamAdapter> const adapter = ptrCast<StreamAdapter>(owner.korNboAttrLogSa(out))) {
            adapter->childAttrLogIs(attribute);
        }
    }
};

/// Makes those of a module's types known to the attribute log, at load, that have one: every `Of`th type from
/// `First` on, so that several files can share the work.
template <class Module, std::size_t First = 0, std::size_t Of = 1>
struct AttrLogTypes;
template <class... T, std::size_t First, std::size_t Of>
struct AttrLogTypes<TypeModuleOf<T...>, First, Of> {
    AttrLogTypes() {
        []<std::size_t... I>(std::index_sequence<I...>) {
            (load<I, T>(), ...);
        }
        (std::index_sequence_for<T...>());
    }

private:
    template <std::size_t I, class X>
    static void load() {
        if constexpr (I % Of == First && detail::hasAttrLog<X>) {
            static constinit AttrLogTypeOf<X> const type;
            AttrLogType::Load(typeName<X>(), type);
        }
    }
};

} // namespace Kor
