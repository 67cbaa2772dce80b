#include "attrlog/adapter/WireForm.h"

#include "reflect/Dir.h"

#include <unordered_map>

namespace Kor {

namespace {

auto& known() {
    static auto* const types = new std::unordered_map<std::string_view, WireType const*>;
    return *types;
}

WireTypes<FrameworkTypes> const wireAtLoad;

WireType const& wireTypeOf(KorType const& type) {
    WireType const* const found = WireType::named(type.typeName().view());
    if (found == nullptr) {
        GenericIf::throwTypeException(
            format("%s, which has no byte form", type.typeName().charPtr()).charPtr());
    }
    return *found;
}

} // namespace

WireType const* WireType::named(std::string_view typeName) {
    auto const at = known().find(typeName);
    return at != known().end() ? at->second : nullptr;
}

WireType::Load::Load(std::string_view typeName, WireType const& type) {
    known().try_emplace(typeName, &type);
}

namespace NboAttrLog {

namespace {

constexpr StreamLimits limits{.ring = 0, .record = maxRecord};

/// A record of what `write` puts into it.
template <class Write>
std::vector<U8> record(Write const& write) {
    auto const out = makePtr<Out>(limits);
    out->write({.entityId = EntityId{3, 0}, .attributeId = 1, .variableLength = true}, write);
    auto const bytes = out->readable();
    return {bytes.begin(), bytes.end()};
}

std::vector<U8> emptyRecord() {
    return record([](Out&) {});
}

} // namespace

std::vector<U8> wireForm(GenericIf const& box) {
    WireType const& type = wireTypeOf(*box.type());
    std::vector<U8> bytes = record([&](Out& out) { type.put(out, box); });
    bytes.erase(bytes.begin(), bytes.begin() + static_cast<std::ptrdiff_t>(emptyRecord().size()));
    return bytes;
}

Ptr<GenericIf> fromWireForm(KorType const& type, std::span<U8 const> bytes) {
    WireType const& reader = wireTypeOf(type);
    std::vector<U8> framed = emptyRecord();
    framed.insert(framed.end(), bytes.begin(), bytes.end());
    if (framed.size() > maxRecord) {
        throwAttrLogRecordException("record is longer than the limit");
    }
    detail::store(framed.data(), static_cast<U16>(framed.size() - detail::lengthBytes));
    auto const in = makePtr<In>(limits);
    in->feed(framed);
    MsgHeader header;
    in->nextRecord(header);
    Ptr<GenericIf> box = reader.next(*in);
    in->recordEnd();
    return box;
}

} // namespace NboAttrLog

} // namespace Kor
