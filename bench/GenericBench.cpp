// What it costs to reach an attribute without knowing the type: by id through a box, beside the typed call
// and beside the reflection of Protocol Buffers. `boxed` are the operations on boxes, `by id` those that take
// and give the value itself. The bar is in the rows of `by id`: a get or set of a number takes no longer than
// protobuf's. A set of an entity tells the reactor of the box, typed and by id alike. In `look up`, protobuf
// has no bar: its reflection can only go through the members, and the row to compare with is `typed`.

#include "Beside.h"
#include "model/LoamTunnelModel.h"
#include "reflect/box/GenericIf.h"
#include "values/LoamTunnelTypes.h"

#include <google/protobuf/descriptor.pb.h>
#include <google/protobuf/dynamic_message.h>
#include <memory>
#include <string>
#include <vector>

using namespace Hardware;
using namespace Hardware::LoamTunnel;
using Kor::boxOf;
using Kor::U32;
using Kor::U64;
using Op = Kor::GenericIf::AttributeOp;

namespace {

namespace pb = google::protobuf;

constexpr U32 members = 1000;

/// A message with a number and a map from numbers to numbers, known by its description alone.
struct Peer {
    pb::DescriptorPool pool;
    pb::DynamicMessageFactory factory;
    std::unique_ptr<pb::Message> message;
    pb::FieldDescriptor const* size;
    pb::FieldDescriptor const* counts;
    pb::FieldDescriptor const* key;
    pb::FieldDescriptor const* value;

    Peer() {
        using Field = pb::FieldDescriptorProto;
        pb::FileDescriptorProto file;
        file.set_name("peer.proto");
        file.set_syntax("proto3");
        auto* const type = file.add_message_type();
        type->set_name("Peer");
        auto const add = [](pb::DescriptorProto& to, char const* name, int number) {
            auto* const field = to.add_field();
            field->set_name(name);
            field->set_number(number);
            field->set_label(Field::LABEL_OPTIONAL);
            field->set_type(Field::TYPE_UINT32);
            return field;
        };
        add(*type, "size", 1);
        auto* const map = add(*type, "counts", 2);
        map->set_label(Field::LABEL_REPEATED);
        map->set_type(Field::TYPE_MESSAGE);
        map->set_type_name("Peer.CountsEntry");
        auto* const entry = type->add_nested_type();
        entry->set_name("CountsEntry");
        entry->mutable_options()->set_map_entry(true);
        add(*entry, "key", 1);
        add(*entry, "value", 2);
        pb::Descriptor const* const made = pool.BuildFile(file)->FindMessageTypeByName("Peer");
        message.reset(factory.GetPrototype(made)->New());
        size = made->FindFieldByNumber(1);
        counts = made->FindFieldByNumber(2);
        key = counts->message_type()->FindFieldByNumber(1);
        value = counts->message_type()->FindFieldByNumber(2);
        auto const* const reflection = message->GetReflection();
        for (U32 i = 0; i < members; ++i) {
            pb::Message* const each = reflection->AddMessage(message.get(), counts);
            each->GetReflection()->SetUInt32(each, key, i);
            each->GetReflection()->SetUInt32(each, value, i);
        }
    }

    /// Its reflection has no lookup: the members are gone through.
    U32 count(U32 wanted) const {
        auto const* const reflection = message->GetReflection();
        int const size_ = reflection->FieldSize(*message, counts);
        for (int i = 0; i < size_; ++i) {
            pb::Message const& each = reflection->GetRepeatedMessage(*message, counts, i);
            if (each.GetReflection()->GetUInt32(each, key) == wanted) {
                return each.GetReflection()->GetUInt32(each, value);
            }
        }
        return 0;
    }
};

Peer& peer() {
    static Peer the;
    return the;
}

/// Get and set of a number, of what `box()` makes.
template <class MakeBox, class Get, class Set>
void scalar(std::string const& name, Kor::AttributeId id, MakeBox const& makeBox, Get const& get,
            Set const& set) {
    Beside::add("get of " + name, "by id", [=](benchmark::State& state) {
        Kor::Ptr<Kor::GenericIf> const box = makeBox();
        for (auto _ : state) {
            benchmark::DoNotOptimize(box->get<U32>(id));
        }
    });
    Beside::add("get of " + name, "boxed", [=](benchmark::State& state) {
        Kor::Ptr<Kor::GenericIf> const box = makeBox();
        for (auto _ : state) {
            benchmark::DoNotOptimize(Kor::unbox<U32>(*box->attributeOp({id, Op::get}, nullptr, nullptr)));
        }
    });
    Beside::add("get of " + name, "protobuf", [](benchmark::State& state) {
        pb::Reflection const* const reflection = peer().message->GetReflection();
        for (auto _ : state) {
            benchmark::DoNotOptimize(reflection->GetUInt32(*peer().message, peer().size));
        }
    });
    Beside::add("get of " + name, "typed", [=](benchmark::State& state) {
        for (auto _ : state) {
            benchmark::DoNotOptimize(get());
        }
    });
    Beside::add("set of " + name, "by id", [=](benchmark::State& state) {
        Kor::Ptr<Kor::GenericIf> const box = makeBox();
        U32 i = 0;
        for (auto _ : state) {
            box->set(id, ++i);
        }
    });
    Beside::add("set of " + name, "boxed", [=](benchmark::State& state) {
        Kor::Ptr<Kor::GenericIf> const box = makeBox();
        U32 i = 0;
        for (auto _ : state) {
            box->attributeOp({id, Op::set}, nullptr, boxOf(++i));
        }
    });
    Beside::add("set of " + name, "protobuf", [](benchmark::State& state) {
        pb::Reflection const* const reflection = peer().message->GetReflection();
        U32 i = 0;
        for (auto _ : state) {
            reflection->SetUInt32(peer().message.get(), peer().size, ++i);
        }
    });
    Beside::add("set of " + name, "typed", [=](benchmark::State& state) {
        Kor::Ptr<Kor::GenericIf> const box = makeBox(); // which an entity tells, as above
        U32 i = 0;
        for (auto _ : state) {
            set(++i);
        }
    });
}

} // namespace

int main(int argc, char** argv) {
    static EedbValue value;
    scalar(
        "a value", boxOf(value)->attributeId("word0"), [] { return boxOf(value); },
        [] {
            benchmark::DoNotOptimize(&value);
            return value.word0();
        },
        [](U32 i) {
            value.word0Is(i);
            benchmark::DoNotOptimize(value);
        });

    auto const properties = Kor::makePtr<FapTypeProperties::Properties>(Loam::fapTypeArad);
    scalar(
        "an entity", FapTypeProperties::Properties::attributeIdOf<Kor::name::isemHwSize>(),
        [=] { return boxOf(properties); }, [=] { return properties->isemHwSize(); },
        [=](U32 i) { properties->isemHwSizeIs(i); });

    Kor::AttributeId const reqCount = LifAppConfig::attributeIdOf<Kor::name::reqCount>();
    auto const config = lifAppConfigFactory(Loam::vtAppMpls);
    static std::vector<AradLifEntry> keys;
    for (U32 i = 0; i < members; ++i) {
        keys.emplace_back(lifAcMp, U64{i} << 20, U64{i} * i);
        config->reqCountIs(keys.back(), i);
    }
    Beside::add("look up one of 1,000", "by id", [=](benchmark::State& state) {
        auto const box = boxOf(config);
        U32 i = 0;
        for (auto _ : state) {
            benchmark::DoNotOptimize(box->get<U32>(reqCount, keys[i++ % members]));
        }
    });
    Beside::add("look up one of 1,000", "boxed", [=](benchmark::State& state) {
        auto const box = boxOf(config);
        U32 i = 0;
        for (auto _ : state) {
            auto const key = boxOf(keys[i++ % members], true);
            benchmark::DoNotOptimize(Kor::unbox<U32>(*box->attributeOp({reqCount, Op::get}, key, nullptr)));
        }
    });
    Beside::add("look up one of 1,000", "protobuf", [](benchmark::State& state) {
        U32 i = 0;
        for (auto _ : state) {
            benchmark::DoNotOptimize(peer().count(i++ % members));
        }
    });
    Beside::add("look up one of 1,000", "typed", [=](benchmark::State& state) {
        U32 i = 0;
        for (auto _ : state) {
            benchmark::DoNotOptimize(config->reqCount(keys[i++ % members]));
        }
    });
    Beside::add("walk 1,000", "boxed", [=](benchmark::State& state) {
        auto const box = boxOf(config);
        for (auto _ : state) {
            U32 sum = 0;
            for (auto at = box->attributeIteratorConst(reqCount); at; ++at) {
                sum += Kor::unbox<U32>(*at.value());
            }
            benchmark::DoNotOptimize(sum);
        }
    });
    Beside::add("walk 1,000", "typed", [=](benchmark::State& state) {
        for (auto _ : state) {
            U32 sum = 0;
            for (auto const& each : config->reqCountMap()) {
                sum += each.value;
            }
            benchmark::DoNotOptimize(sum);
        }
    });
    return Beside::run(argc, argv);
}
