#include "attrlog/Recording.h"
#include "attrlog/session/Session.h"
#include "forms/RecordView.h"
#include "tools/Commands.h"
#include "tools/Failure.h"
#include "tools/Streams.h"

#include <array>
#include <cerrno>
#include <map>
#include <optional>
#include <string>
#include <system_error>
#include <tuple>
#include <vector>

namespace tool {

namespace {

using namespace Kor::NboAttrLog;

char const* sideText(Side side) {
    return side == Side::accepting ? "accepting" : "connecting";
}
Side otherSide(Side side) {
    return side == Side::accepting ? Side::connecting : Side::accepting;
}

std::string seconds(U64 microseconds) {
    std::string const part = std::to_string(microseconds % 1'000'000);
    return std::to_string(microseconds / 1'000'000) + '.' + std::string(6 - part.size(), '0') + part;
}

/// Reads a recording, and walks the records of the sides that are wanted.
class Player {
public:
    Player(std::string file, LogOptions const& options)
        : file_(std::move(file)), options_(options), input_(file_) {}

    /// Calls `visit(record, microseconds)` with each. Refused where the recording or a record is unsound.
    template <class Visit>
    void play(Visit const& visit) {
        U64 chunkAt = 0;
        RecordingChunk chunk;
        Side from{};
        std::optional<RecordWalker> walker;
        try {
            RecordingIn recording(input_.stream());
            limits = recording.limits();
            walker.emplace(limits);
            walker->preambleIs(Session::preambleOf);
            for (chunkAt = recording.offset(); recording.next(chunk); chunkAt = recording.offset()) {
                from = chunk.from;
                walker->walk(from, chunk.bytes, [&](RecordView const& record) {
                    if (options_.from.empty() || options_.from == sideText(record.from)) {
                        visit(record, chunk.microseconds);
                    }
                });
            }
            isCut = recording.isCut();
            for (Side const side : {Side::accepting, Side::connecting}) {
                rest += walker->rest(side);
            }
        } catch (Kor::AttrLogRecordException const& exception) {
            throw Refused(shown(file_) + ": unsound record at byte " +
                          std::to_string(walker->faultOffset(from)) + " of the " + sideText(from) +
                          " side, in the chunk at byte " + std::to_string(chunkAt) + ": " + exception.what());
        } catch (Kor::RangeException const& exception) {
            throw Refused(shown(file_) + ": " + exception.what());
        }
    }

    StreamLimits limits;
    bool isCut = false;
    U64 rest = 0;

private:
    std::string file_;
    LogOptions const& options_;
    InputFile input_;
};

/// Where something of the state stands: entity, attribute, key. An entity as such has neither attribute nor
/// key.
using StatePlace = std::array<std::string, 3>;
using State = std::map<StatePlace, std::string>;

void note(State& state, RecordView const& record) {
    using Kind = RecordView::Kind;
    if (record.kind == Kind::announcement) {
        state[{record.path, "", ""}] = record.value.substr(0, record.value.find(' '));
    } else if (record.kind == Kind::set || record.kind == Kind::child) {
        state[{record.path, record.attribute, record.key}] = record.value;
    }
}

/// What the entities have: sent to nobody, and read as it leaves.
void addState(State& state, Kor::Ptr<Kor::Entity> const& entity, StreamLimits const& limits) {
    auto const demuxer = Kor::makePtr<Demuxer>(Side::accepting, limits);
    RecordWalker walker(limits);
    demuxer->mount(entity);
    bool isMore = true;
    while (isMore) {
        isMore = demuxer->flow();
        for (auto bytes = demuxer->out()->readable(); !bytes.empty(); bytes = demuxer->out()->readable()) {
            walker.walk(Side::accepting, bytes, [&](RecordView const& record) { note(state, record); });
            demuxer->out()->nextBytes(bytes.size());
        }
    }
}

/// Applies what both sides have sent, in its order, to entities of our own. What one side announces the other
/// may write: so there is a demultiplexer for the records of each, and an entity is mounted on both, under
/// one id, from where nothing is sent.
class Replica {
public:
    explicit Replica(StreamLimits const& limits) : limits_(limits) {
        for (Side const from : {Side::accepting, Side::connecting}) {
            auto& demuxer = demuxers_[static_cast<std::size_t>(from)];
            demuxer = Kor::makePtr<Demuxer>(otherSide(from), limits);
            demuxer->peerFlagsIs(sendsNothing);
            demuxer->rootHookIs([this, from](Kor::Ptr<Kor::Entity> const& offered) {
                std::string const type(offered->fwkType()->typeName().view());
                Kor::String8 const key = offered->korKeyText();
                std::string const name((key.empty() ? offered->name() : key).view());
                return roots_[{from, type, name}] = offered; // also of one that comes again
            });
        }
    }
    void apply(RecordView const& record) {
        if (record.kind == RecordView::Kind::control) {
            return;
        }
        Demuxer& sender = demuxerOf(record.from);
        Demuxer& other = demuxerOf(otherSide(record.from));
        auto const receive = [&] {
            sender.in()->feed(record.bytes);
            if (!sender.receive()) {
                throw Refused("record at byte " + std::to_string(record.offset) + " of the " +
                              sideText(record.from) + " side: " + std::string(sender.closeReason().view()));
            }
        };
        if (record.kind == RecordView::Kind::child) {
            receiveChild(record, other, receive);
            return;
        }
        receive();
        if (record.kind == RecordView::Kind::gone) {
            other.reactorDel(record.header.entityId);
        } else if (record.kind == RecordView::Kind::announcement && other.reactor(record.child) == nullptr) {
            if (auto* const adapter = sender.reactor(record.child)) {
                Kor::Ptr<Kor::Entity> const entity = adapter->korNotifierEntity();
                Anchor const anchor(other.constrainer(), record.child, entity.ptr());
                entity->korNboAttrLogSaIs(sendsNothing, 0, other.out(), &other);
            }
        }
    }
    void addTo(State& state) {
        for (auto const& [name, root] : roots_) {
            addState(state, root, limits_);
        }
    }
    Stats stats(Side from) const { return demuxers_[static_cast<std::size_t>(from)]->stats(); }

private:
    using Anchor = Kor::MsgChannel::DeserializingEidAnchor;
    static constexpr Kor::Entity::Kor_BitSet sendsNothing{1u << Kor::StreamAdapter::Bit::noSending};

    Demuxer& demuxerOf(Side from) { return *demuxers_[static_cast<std::size_t>(from)]; }
    /// The parent's adapter towards the other side mounts the child, too, when it hears of it.
    template <class Receive>
    static void receiveChild(RecordView const& record, Demuxer& other, Receive const& receive) {
        Kor::Ptr<Kor::StreamAdapter> const parent = other.reactor(record.header.entityId);
        if (!parent || other.reactor(record.child) != nullptr) {
            receive();
            return;
        }
        Anchor const anchor(other.constrainer(), record.child, parent->korNotifierEntity());
        parent->flagSet(Kor::StreamAdapter::Bit::active, true);
        receive();
        parent->flagSet(Kor::StreamAdapter::Bit::active, false);
    }

    StreamLimits limits_;
    std::array<Kor::Ptr<Demuxer>, 2> demuxers_;
    std::map<std::tuple<Side, std::string, std::string>, Kor::Ptr<Kor::Entity>> roots_;
};

State stateOf(Context& context, std::string const& file, LogOptions const& options) {
    Player player(file, options);
    std::optional<Replica> replica;
    player.play([&](RecordView const& record, U64) {
        (replica ? *replica : replica.emplace(player.limits)).apply(record);
    });
    State state;
    if (!replica) {
        return state;
    }
    replica->addTo(state);
    for (Side const from : {Side::accepting, Side::connecting}) {
        Stats const stats = replica->stats(from);
        U64 const passedOver = stats.refusedRecords + stats.unknownEntities + stats.unknownAttributes;
        if (passedOver != 0) {
            context.note(
                shown(file) + ": " + std::to_string(passedOver) + " records of the " + sideText(from) +
                " side are not applied: refused, or of what the other side has or this program does not "
                "know");
        }
    }
    return state;
}

} // namespace

void logShow(Context& context, LogOptions const& options) {
    std::vector<std::string> columns{"time", "from", "record", "entity", "attribute", "key", "value"};
    if (options.more > 0) {
        columns.insert(columns.end(), {"id", "child", "offset", "size", "fault"});
    }
    if (options.more > 1) {
        columns.emplace_back("bytes");
    }
    RowPrinter printer(context.out, columns, options.output);
    auto const idText = [](Kor::EntityId id) { return id.number() != 0 ? Cell(id.number()) : Cell(); };
    Player player(options.files.at(0), options);
    try {
        player.play([&](RecordView const& record, U64 microseconds) {
            std::vector<Cell> cells{
                seconds(microseconds),     sideText(record.from),          textOf(record.kind),
                Cell::orNone(record.path), Cell::orNone(record.attribute), Cell::orNone(record.key),
                Cell::orNone(record.value)};
            if (options.more > 0) {
                cells.insert(cells.end(), {idText(record.header.entityId), idText(record.child),
                                           record.offset, record.bytes.size(), Cell::orNone(record.fault)});
            }
            if (options.more > 1) {
                std::string bytes;
                for (U8 const byte : record.bytes) {
                    bytes += hex(byte, 2).substr(2);
                }
                cells.emplace_back(bytes);
            }
            printer.add(cells);
        });
    } catch (Refused const&) {
        printer.end(); // what came before
        throw;
    }
    printer.end();
}

void logCheck(Context& context, LogOptions const& options) {
    std::string const& file = options.files.at(0);
    Player player(file, options);
    U64 records = 0, bytes = 0, unknown = 0;
    player.play([&](RecordView const& record, U64) {
        ++records;
        bytes += record.bytes.size();
        unknown += record.kind == RecordView::Kind::unknown && record.fault.empty();
        if (!record.fault.empty()) {
            throw Refused(shown(file) + ": record at byte " + std::to_string(record.offset) + " of the " +
                          sideText(record.from) + " side is refused: " + record.fault);
        }
    });
    if (unknown != 0) {
        context.note(std::to_string(unknown) +
                     " records are of entities or attributes that are not known here");
    }
    if (player.rest != 0) {
        context.note("the recording ends within a record: " + std::to_string(player.rest) + " bytes of it");
    }
    if (player.isCut) {
        context.note("the recording was full before the connection ended");
    }
    Listing listing({"sound", "records", "bytes"});
    listing.add({true, records, bytes});
    listing.print(context.out, options.output);
}

void logReplay(Context& context, LogOptions const& options) {
    Listing listing({"entity", "attribute", "key", "value"});
    for (auto const& [place, value] : stateOf(context, options.files.at(0), options)) {
        listing.add({place[0], Cell::orNone(place[1]), Cell::orNone(place[2]), value});
    }
    listing.print(context.out, options.output);
}

void logDiff(Context& context, LogOptions const& options) {
    State const before = stateOf(context, options.files.at(0), options);
    State const after = stateOf(context, options.files.at(1), options);
    Listing listing({"difference", "entity", "attribute", "key", "before", "after"});
    auto const add = [&](char const* what, StatePlace const& place, Cell was, Cell is) {
        context.status = differsStatus;
        listing.add(
            {what, place[0], Cell::orNone(place[1]), Cell::orNone(place[2]), std::move(was), std::move(is)});
    };
    for (auto was = before.begin(), is = after.begin(); was != before.end() || is != after.end();) {
        if (is == after.end() || (was != before.end() && was->first < is->first)) {
            add("gone", was->first, was->second, Cell());
            ++was;
        } else if (was == before.end() || is->first < was->first) {
            add("new", is->first, Cell(), is->second);
            ++is;
        } else {
            if (was->second != is->second) {
                add("changed", was->first, was->second, is->second);
            }
            ++was;
            ++is;
        }
    }
    listing.print(context.out, options.output);
}

} // namespace tool
