#include "forms/RecordView.h"

#include "forms/Path.h"
#include "forms/Refused.h"
#include "reflect/type/AttrLogType.h"

#include <algorithm>
#include <span>
#include <utility>
#include <vector>

namespace Kor::NboAttrLog {

namespace {

std::string stringOf(String8 const& text) {
    return std::string(text.view());
}

/// The number, for an attribute that has no name here.
std::string nameOf(KorType const* type, AttributeId attribute) {
    if (type != nullptr) {
        for (auto const& each : type->attributes()) {
            if (each->attributeId() == attribute) {
                return stringOf(each->name());
            }
        }
    }
    return std::to_string(attribute);
}

/// What a session says; a minus in front takes it back.
std::string controlName(AttributeId attribute) {
    constexpr char const* names[] = {"hello", "goodbye", "offer",   "offersKnown",
                                     "want",  "verdict", "request", "answer"};
    AttributeId const magnitude = magnitudeOf(attribute);
    return magnitude >= helloAttribute && magnitude <= answerAttribute
               ? std::string(attribute < 0 ? "-" : "").append(names[magnitude - helloAttribute])
               : std::to_string(attribute);
}

/// Whether its first part is a path, or a reason.
bool beginsWithText(AttributeId control) {
    AttributeId const magnitude = magnitudeOf(control);
    return magnitude == goodbyeAttribute || magnitude == offerAttribute || magnitude == wantAttribute ||
           magnitude == verdictAttribute;
}

std::size_t sideOf(EntityId id) {
    return id.low >> 1 & 1;
}

AttrLogType const* logOf(KorType const* type) {
    return type != nullptr ? AttrLogType::named(type->typeName().view()) : nullptr;
}

/// Whether it is made from a name, not from a key.
bool isNamed(KorType const& type) {
    auto const argument = type.constructorArgTypeQQueue().begin();
    return argument == type.constructorArgTypeQQueue().end() || (*argument).value.view() == typeName<Name>();
}

/// A key in a path; as it is where it is none here.
std::string keyInPath(KorType const* type, AttributeId attribute, std::string const& key) {
    KorAttr const* const of = type != nullptr ? type->attribute(attribute) : nullptr;
    if (of != nullptr && of->keyType() != nullptr) {
        try {
            return Forms::keyText(*Forms::readValue(*of->keyType(), key));
        } catch (Forms::Refused const&) {
        }
    }
    return key;
}

} // namespace

char const* textOf(RecordView::Kind kind) noexcept {
    constexpr char const* names[] = {"announcement", "gone",  "syncMode", "marker", "set",
                                     "deletion",     "child", "control",  "unknown"};
    return names[static_cast<std::size_t>(kind)];
}

RecordWalker::RecordWalker(StreamLimits const& limits) : limits_(limits) {
    for (auto& each : directions_) {
        each.in = makePtr<In>(limits);
    }
}

void RecordWalker::walk(Side from, std::span<U8 const> bytes, Visit const& visit) {
    Direction& direction = directions_[static_cast<std::size_t>(from) & 1];
    if (direction.isRecords) {
        take(direction, from, bytes, visit);
        return;
    }
    std::size_t const room = maxPreamble - direction.start.size();
    std::span<U8 const> const first = bytes.first(std::min(room, bytes.size()));
    direction.start.insert(direction.start.end(), first.begin(), first.end());
    std::size_t const length = preamble_ ? preamble_(direction.start) : 0;
    if (length == more && direction.start.size() < maxPreamble) {
        return;
    }
    if (length > direction.start.size()) {
        throwAttrLogRecordException("what stands before the records does not end");
    }
    direction.isRecords = true;
    direction.offset = length;
    std::vector<U8> const start = std::move(direction.start);
    take(direction, from, std::span(start).subspan(length), visit);
    take(direction, from, bytes.subspan(first.size()), visit);
}

U64 RecordWalker::rest(Side from) const noexcept {
    return direction(from).in->available() + direction(from).start.size();
}

void RecordWalker::take(Direction& direction, Side from, std::span<U8 const> bytes, Visit const& visit) {
    In& in = *direction.in;
    do {
        bytes = bytes.subspan(in.feed(bytes));
        RecordView record;
        while (in.nextRecord(record.header)) {
            record.from = from;
            record.offset = direction.offset;
            record.bytes = in.record();
            try {
                read(in, record);
            } catch (AttrLogRecordException const&) {
                throw;
            } catch (Exception const& exception) {
                record.fault = exception.what();
            }
            direction.offset += record.bytes.size();
            visit(record);
            MsgHeader const header = record.header;
            record = RecordView();
            record.header = header;
        }
    } while (!bytes.empty());
}

void RecordWalker::know(EntityId id, Known entity) {
    forget(id);
    U32& count = count_[sideOf(id)];
    if (count >= limits_.entities) {
        throwAttrLogRecordException("peer has more entities than the limit");
    }
    ++count;
    known_[id] = std::move(entity);
}

void RecordWalker::forget(EntityId id) {
    std::vector<EntityId> rest{id};
    while (!rest.empty()) {
        auto const node = known_.extract(rest.back());
        rest.pop_back();
        if (!node.empty()) {
            --count_[sideOf(node.key())];
            for (auto const& [key, child] : node.mapped().children) {
                rest.push_back(child);
            }
        }
    }
}

void RecordWalker::read(In& in, RecordView& record) {
    AttributeId const attribute = record.header.attributeId;
    if (record.header.entityId == MsgHeader::announcing) {
        if (attribute == newEntityAttribute) {
            readAnnouncement(in, record);
        } else {
            record.kind = RecordView::Kind::control;
            record.attribute = controlName(attribute);
            if (beginsWithText(attribute)) {
                std::string const text = stringOf(in.nextString());
                record.value = magnitudeOf(attribute) == goodbyeAttribute ? text : Forms::rootText(text);
            }
        }
        return;
    }
    auto const found = known_.find(record.header.entityId);
    KorType const* const type = found != known_.end() ? found->second.type : nullptr;
    record.type = type;
    record.path = found != known_.end() ? found->second.path : "";
    AttributeId const magnitude = magnitudeOf(attribute);
    record.attribute = std::to_string(magnitude);
    if (record.header.isMarker) {
        constexpr char const* types[] = {"start", "abort", "end"};
        U64 const marker = in.nextNumber();
        in.nextNumber();
        in.recordEnd();
        if (marker > 2) {
            throwAttrLogRecordException("record is an unknown marker");
        }
        record.kind = RecordView::Kind::marker;
        record.value = types[marker];
        record.attribute = nameOf(type, attribute);
    } else if (attribute == -newEntityAttribute) {
        in.recordEnd();
        record.kind = RecordView::Kind::gone;
        forget(record.header.entityId);
    } else if (attribute == syncModeAttribute) {
        record.kind = RecordView::Kind::syncMode;
        record.attribute.clear();
        record.value = std::to_string(in.nextU32());
        in.recordEnd();
    } else if (type != nullptr) {
        readAttribute(in, record, found->second);
    }
}

void RecordWalker::readAnnouncement(In& in, RecordView& record) {
    record.kind = RecordView::Kind::announcement;
    for (PayloadSection section; in.nextSection(section);) {
        if (section == PayloadSection::types) {
            while (in.recordLeft() != 0) {
                TypeId const named = in.next<TypeId>();
                record.value += record.value.empty() ? "" : " ";
                record.value += named.name().view();
                if (record.type == nullptr && AttrLogType::named(named.name().view()) != nullptr) {
                    record.type = KorType::named(named.name().view());
                }
            }
        } else if (section == PayloadSection::argument && record.type != nullptr) {
            std::string const text = stringOf(logOf(record.type)->argumentText(in));
            (isNamed(*record.type) ? record.root : record.path) = text;
        } else if (section == PayloadSection::root) {
            record.root = stringOf(in.next<Name>());
        } else if (section == PayloadSection::entityId) {
            record.child = in.nextEntityId();
        }
    }
    if (!record.child.isAssigned()) {
        throwAttrLogRecordException("record gives an id that is not the sender's to give");
    }
    if (!record.root.empty()) {
        record.path = Forms::rootText(record.root);
    } else if (record.path.empty() && record.type != nullptr) { // a class with neither name nor key
        record.path = stringOf(record.type->typeName());
    }
    know(record.child, {record.type, record.path, !record.root.empty()});
}

void RecordWalker::readAttribute(In& in, RecordView& record, Known& entity) {
    bool const isDelete = record.header.attributeId < 0;
    AttrLogRecordText const text = logOf(entity.type)->recordText(record.header.attributeId, in);
    if (text.attribute.empty()) {
        return;
    }
    record.attribute = stringOf(text.attribute);
    record.key = stringOf(text.key);
    record.value = stringOf(text.value);
    record.kind = isDelete                    ? RecordView::Kind::deletion
                  : text.childType != nullptr ? RecordView::Kind::child
                                              : RecordView::Kind::set;
    std::string const member = record.attribute + '[' + record.key + ']';
    if (isDelete) {
        if (auto const child = entity.children.extract(member); !child.empty()) {
            forget(child.mapped());
        }
        return;
    }
    if (text.entityId == 0) {
        return;
    }
    record.child = EntityId::ofNumber(text.entityId);
    std::string const path = entity.path + '.' + record.attribute + '[' +
                             keyInPath(entity.type, record.header.attributeId, record.key) + ']';
    if (text.childType != nullptr) {
        record.value = stringOf(text.childType->typeName());
        EntityId const before = std::exchange(entity.children[member], record.child);
        forget(before); // after which the entity may be gone, too: ids can be anything
        know(record.child, {text.childType, path});
    } else if (auto const referred = known_.find(record.child); referred != known_.end()) {
        Known& known = referred->second;
        known.path = known.isPlaced ? known.path : path;
        known.isPlaced = true;
        record.value = known.path;
    } else {
        record.value.clear();
    }
}

} // namespace Kor::NboAttrLog
