#include "chip/Row.h"

#include <cctype>
#include <ostream>

namespace Hardware {

namespace layout {

namespace {

/// The signature of an operation, as the trace shows it.
struct Signature {
    bool isVirtual;
    std::string result;
    std::string arguments;
};

Signature signature(Op op, std::string_view type) {
    switch (op) {
    case Op::set:
        return {false, "void", '(' + std::string(Kor::shortName(type)) + ')'};
    case Op::get:
    case Op::getAllFields:
        return {false, std::string(Kor::shortName(type)), "() const"};
    case Op::len:
    case Op::offset:
        return {false, "U16", "() const"};
    case Op::valid:
        return {false, "bool", "() const"};
    case Op::fieldWidth:
    case Op::fieldOffset:
        return {true, "U16", "(U32) const"};
    case Op::getField64:
        return {true, "U64", "(U32) const"};
    case Op::setField64:
        return {true, "void", "(U32, U64)"};
    case Op::getSchanAddress:
        break;
    }
    return {};
}

} // namespace

std::string operationName(Op op, std::string_view field) {
    std::string name(field);
    switch (op) {
    case Op::set:
        return name + "Is";
    case Op::get:
        return name;
    case Op::len:
        return name + "Len";
    case Op::offset:
        return name + "Offset";
    case Op::valid: {
        std::string capital = name;
        capital[0] = static_cast<char>(std::toupper(static_cast<unsigned char>(capital[0])));
        return "is" + capital + "Valid";
    }
    case Op::fieldWidth:
        return "fieldWidth";
    case Op::fieldOffset:
        return "fieldOffset";
    case Op::getField64:
        return "getField64";
    case Op::setField64:
        return "setField64";
    case Op::getAllFields:
        return "getAllFields";
    case Op::getSchanAddress:
        return "getSchanAddress";
    }
    return name;
}

void traceOperation(Kor::TraceFacility& facility, bool on, Op op, Subject const& subject, U8 chipType,
                    U8 variant, U32 fieldId) {
    Signature const form = signature(op, subject.type);
    std::string const name = operationName(op, subject.field);
    int const level = op == Op::setField64 ? 0 : 8;
    Kor::traceCompose(
        facility, level, on, {"LoamTunnelMetaInfo", __LINE__, name.c_str()}, [&](std::ostream& text) {
            text << (form.isVirtual ? "virtual " : "") << form.result << ' ' << subject.table << "::" << name
                 << form.arguments << " chipType: " << static_cast<char>(chipType)
                 << " variant: " << static_cast<char>(variant);
            if (op == Op::getField64) {
                text << " chipField: " << fieldId;
            }
        });
}

Kor::Breach breach(Op op, Subject const& subject, U32 chipType, U32 variant, std::string const& what) {
    return {std::string(subject.table) + "::" + operationName(op, subject.field),
            what + " (chip " + std::to_string(chipType) + ", variant " + std::to_string(variant) + ')'};
}

void requireGeometry(bool holds, std::string_view table, char const* operation, U32 chipType, U32 variant) {
    Kor::require(holds, [&] {
        return Kor::Breach{std::string(table) + "::" + operation, "no such row on chip " +
                                                                      std::to_string(chipType) +
                                                                      ", variant " + std::to_string(variant)};
    });
}

void requireWholeRow(bool holds, std::string_view table, U32 chipType, U32 variant, U32 len, U32 words) {
    Kor::require(holds, [&] {
        return breach(Op::getAllFields, {table, "", ""}, chipType, variant,
                      "a buffer of " + std::to_string(len) + " bytes is too short for " +
                          std::to_string(words) + " words");
    });
}

} // namespace layout

} // namespace Hardware
