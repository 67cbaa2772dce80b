#pragma once

/// Kor::StreamAdapterOf<X>, the stream adapter of the entity class X, also named X::KorNboAttrLogSa: all
/// decisions that depend on the attributes of X, made from its attribute list, those of its bases first.
/// attrlog/adapter/StreamAdapter.h tells what an adapter does. What it sends is in attrlog/adapter/Sending.h
/// and Passes.h, what it applies in Applying.h, the records in AttributeRecords.h.
///
/// It is heavy, and only the source file that makes the classes of a library known needs it:
///
///     static Kor::AttrLogTypes<MyTypes> const attrLogAtLoad;            // attrlog/adapter/AttrLogTypes.h
///
/// There is one for each entity and stream. What it costs, raises and leaves out is in StreamAdapter.h.

#include "attrlog/adapter/Applying.h"
#include "runtime/NotifieeOf.h"

namespace Kor {

template <class X>
class StreamAdapterTwin;
namespace detail {
template <class X>
struct Sent {
    using Notifier = X;
    using Attributes = WireList<X>;
    using Hearer = StreamAdapterTwin<X>;
};
} // namespace detail
/// The reactor in the entity's list that stands for the adapter.
template <class X>
class StreamAdapterTwin final : public NotifieeAdapter<StreamAdapterOf<X>, detail::Sent<X>> {
public:
    using StreamAdapterTwin::NotifieeAdapter::NotifieeAdapter;
    template <class A, class... Key>
    void changed(Key const&... key) {
        if (auto* const owner = this->korReactorAdapter()) {
            owner->template changed<A>(key...);
        }
    }
};

template <class X>
class StreamAdapterOf final : public AdapterOwner<detail::ApplyingOf<X>, StreamAdapterTwin<X>> {
    using Base = AdapterOwner<detail::ApplyingOf<X>, StreamAdapterTwin<X>>;

public:
    using KorNboAttrLogSaAdapter_ = StreamAdapterTwin<X>;

    StreamAdapterOf(Entity::Kor_BitSet const& flags, unsigned int n, Ptr<NboAttrLog::Out> const& out,
                    PtrInterface* context, Ptr<X> const& entity)
        : Base(flags, n, out, context) {
        if (this->flag(Base::Bit::weak)) {
            this->isWeakReferenceIs(true);
        }
        StreamAdapter::notifierIs(entity);
        this->adapterIs(makePtr<KorNboAttrLogSaAdapter_>(this), entity);
        this->peerPassesFromSyncMode();
    }
    ~StreamAdapterOf() override { this->adapterDel(); }

    void doRemountSelf(Ptr<NboAttrLog::Out> const& out) override {
        Ptr<StreamAdapter> const self(this);
        this->children_.delAll();
        StreamAdapter::doRemountSelf(out);
    }
    void korDetach() override {
        Ptr<StreamAdapter> const self(this);
        this->children_.delAll();
        this->adapterDel();
        StreamAdapter::korDetach();
    }
};

} // namespace Kor
