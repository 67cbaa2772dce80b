#pragma once

/// Every entity class of the model, random contents for each of its attributes, and reactors that write down
/// what they hear, so that what holds for all entities is tested once.

#include "model/LoamTunnelModel.h"
#include "support/Values.h"

#include <functional>

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

/// Asks for that many LIFs, so often each.
inline void fill(LifAppConfig& config, Kor::U32 lifs, Kor::U32 count = 1) {
    for (Kor::U32 i = 0; i < lifs; ++i) {
        config.reqCountIs(lifEntry(i), count);
    }
}

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
    if constexpr (A::shape.keyInside) {
        return [&]<class First, class... Rest>(Kor::detail::Storage<First, Rest...> const*) {
            return typename A::Value(key, randomValue<typename Rest::Type>(random)...);
        }(static_cast<Kor::detail::StorageTypeOf<typename A::Value> const*>(nullptr));
    } else if constexpr (A::shape.reference) {
        return randomObject<typename A::Type>(random);
    } else {
        return randomValue<typename A::Value>(random);
    }
}

/// Where a hook of one attribute stands, and who is told.
template <class X, class A, class Watcher>
struct WatchedAt {
    using Attribute = A;
    using Below = typename X::Notifiee;
    template <class Hooks, class... Key>
    static void forward(Hooks* hooks, Key const&... key) {
        static_cast<Watcher*>(hooks)->template changed<A>(key...);
    }
};

/// A reactor that hears of the attribute `A` alone.
template <class X, class A>
struct ScalarWatcher : A::Name::template ScalarForward<WatchedAt<X, A, ScalarWatcher<X, A>>> {
    int told = 0;
    std::function<void()> look{}; // what it does when it is told
    template <class>
    void changed() {
        ++told;
        if (look) {
            look();
        }
    }
};
template <class X, class A>
struct KeyedWatcher : A::Name::template KeyedForward<WatchedAt<X, A, KeyedWatcher<X, A>>> {
    int told = 0;
    typename A::Key last{};
    Kor::AttributeId reported = 0; // whose handler has thrown
    std::function<void()> look{};
    template <class>
    void changed(typename A::Key const& key) {
        ++told;
        last = key;
        if (auto const now = look) { // which may be another one then
            now();
        }
    }
    void onNotificationException(Kor::AttributeId attribute) override { reported = attribute; }
};

} // namespace support
