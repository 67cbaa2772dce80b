#pragma once

/// Every entity class of the model, random contents for each of its attributes, and reactors that write down
/// what they hear, so that what holds for all entities is tested once.

#include "model/LoamTunnelModel.h"
#include "support/Values.h"

namespace support {

using AllEntities =
    TypeList<TunnelTerminationConfig, TunnelTerminationStatus, VtepToNhIdMapConfig, VtepToNhIdMapStatus,
             OutAcAppConfig, OutAcAppConfigDir, OutAcRequest, OutAcConfig, OutAcStatus, OutAcAppStatus,
             OutAcAppStatusDir, EvecAppConfig, EvecAppConfigDir, EvecStatus, LifAppConfig, LifAppConfigDir,
             LifAppStatus, LifAppStatusDir, IvecAppConfig, IvecAppConfigDir, IvecAppStatus, IvecAppStatusDir,
             IvectAppConfig, IvectAppConfigDir, IvectAppStatus, IvectAppStatusDir, HwIvecs, TagPopPushConfig,
             TagPopPushStatus, TpidRewriteStatus, TpidVtAppConfig, TpidVtAppConfigDir, TcamSharingConfig,
             TcamSharingStatus, FapTypeProperties, FapTypeProperties::Properties,
             FapTypeProperties::AradProperties, FapTypeProperties::JerichoProperties,
             Hardware::LoamTunnel::TapAggNormalFapMask, ::TapAggNormalFapMask>;

template <class T>
Kor::Ptr<T> randomObject(Random& random) {
    using Object = std::remove_const_t<T>;
    if constexpr (std::is_default_constructible_v<Object>) {
        return Kor::makePtr<Object>();
    } else {
        return Kor::makePtr<Object>(randomValue<typename Object::ConstructorArgument>(random));
    }
}

/// An entity with a random key or, where it has none, a random name.
template <class X>
Kor::Ptr<X> randomEntity(Random& random) {
    if constexpr (std::is_void_v<typename X::ConstructorArgument>) {
        return Kor::makePtr<X>();
    } else {
        return randomObject<X>(random);
    }
}

/// A value of the keyed map `A` under that key.
template <class A>
auto randomValueAt(Random& random, typename A::Key const& key) {
    if constexpr (requires { typename A::KeyOf; }) {
        return [&]<class First, class... Rest>(Kor::detail::Storage<First, Rest...> const*) {
            return typename A::Value(key, randomValue<typename Rest::Type>(random)...);
        }(static_cast<Kor::detail::StorageTypeOf<typename A::Value> const*>(nullptr));
    } else if constexpr (requires { typename A::Referred; }) {
        return randomObject<typename A::Referred>(random);
    } else {
        return randomValue<typename A::Value>(random);
    }
}

/// A reactor that hears of the attribute `A` alone.
template <class X, class A>
struct ScalarWatcher : Kor::EntityForms<typename A::Name>::template ScalarForward<typename X::Notifiee,
                                                                                  ScalarWatcher<X, A>, A> {
    int told = 0;
    template <class>
    void changed() {
        ++told;
    }
};
template <class X, class A>
struct KeyedWatcher
    : Kor::EntityForms<typename A::Name>::template KeyedForward<typename X::Notifiee, KeyedWatcher<X, A>, A> {
    int told = 0;
    typename A::Key last{};
    template <class>
    void changed(typename A::Key const& key) {
        ++told;
        last = key;
    }
};

} // namespace support
