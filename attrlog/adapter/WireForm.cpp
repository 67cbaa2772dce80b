#include "attrlog/adapter/WireForm.h"

#include "reflect/type/Dir.h"

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

// The record that carries a value.
constexpr NboAttrLog::StreamLimits limits{.ring = 0, .record = NboAttrLog::maxRecord};
constexpr NboAttrLog::MsgHeader header{.entityId = {3, 0}, .attributeId = 1, .variableLength = true};

/// What stands before its payload.
std::vector<U8> frame() {
    std::vector<U8> bytes(NboAttrLog::detail::headerMost);
    bytes.resize(
        static_cast<std::size_t>(NboAttrLog::detail::storeHeader(bytes.data(), header) - bytes.data()));
    return bytes;
}

} // namespace

WireType const* WireType::named(std::string_view typeName) {
    auto const at = known().find(typeName);
    return at != known().end() ? at->second : nullptr;
}

void WireType::add(std::string_view typeName, WireType const& type) {
    known().try_emplace(typeName, &type);
}

std::vector<U8> NboAttrLog::wireForm(GenericIf const& box) {
    WireType const& type = wireTypeOf(*box.type());
    auto const out = makePtr<Out>(limits);
    out->write(header, [&](Out& to) { type.put(to, box); });
    auto const bytes = out->readable().subspan(frame().size());
    return {bytes.begin(), bytes.end()};
}

Ptr<GenericIf> NboAttrLog::fromWireForm(KorType const& type, std::span<U8 const> bytes) {
    WireType const& reader = wireTypeOf(type);
    std::vector<U8> framed = frame();
    framed.insert(framed.end(), bytes.begin(), bytes.end());
    if (framed.size() > maxRecord) {
        throwAttrLogRecordException("record is longer than the limit");
    }
    detail::store(framed.data(), static_cast<U16>(framed.size() - detail::lengthBytes));
    auto const in = makePtr<In>(limits);
    in->feed(framed);
    MsgHeader read;
    in->nextRecord(read);
    Ptr<GenericIf> box = reader.next(*in);
    in->recordEnd();
    return box;
}

} // namespace Kor
