#include "attrlog/session/Session.h"
#include "console/Command.h"
#include "console/Streams.h"
#include "console/Terminal.h"
#include "forms/RecordView.h"
#include "forms/Recording.h"
#include "tools/Commands.h"

#include <array>
#include <cerrno>
#include <cstring>
#include <map>
#include <optional>
#include <sstream>
#include <string>
#include <system_error>
#include <tuple>
#include <vector>

namespace tool {

namespace {

using namespace Kor::NboAttrLog;

/// The recordings of attribute logs, forms/Recording.h.
struct LogOptions {
    std::vector<std::string> files;
    /// The side whose bytes are looked at: "accepting" or "connecting"; empty for both.
    std::string side;
    /// Microseconds of the recording; what comes before the first is told as the state that it leads to.
    std::optional<U64> from, until;
    int more = 0;
    Output output;
};

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
        : file_(std::move(file)), options_(options), input_(file_) {
        if (options.from && options.until && *options.from > *options.until) {
            throw WrongUsage("--from " + seconds(*options.from) + " is after --until " +
                             seconds(*options.until) + ": there is nothing between them");
        }
    }

    /// Calls `visit(record, microseconds)` with each. Refused where the recording or a record is unsound.
    template <class Visit>
    void play(Progress& progress, Visit const& visit) {
        U64 records = 0;
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
                if (options_.until && chunk.microseconds > *options_.until) {
                    return;
                }
                walker->walk(from, chunk.bytes, [&](RecordView const& record) {
                    ++records;
                    if (options_.side.empty() || options_.side == sideText(record.from)) {
                        visit(record, chunk.microseconds);
                    }
                });
                progress.step([&] {
                    return std::to_string(records) + " records to the second " + seconds(chunk.microseconds) +
                           "; reads byte " + std::to_string(recording.offset()) + " of " + shown(file_);
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
/// Numbers in keys go by their size.
struct ByPlace {
    bool operator()(StatePlace const& a, StatePlace const& b) const {
        for (std::size_t i = 0; i < a.size(); ++i) {
            if (int const order = ::strverscmp(a[i].c_str(), b[i].c_str()); order != 0) {
                return order < 0;
            }
        }
        return false;
    }
};
using State = std::map<StatePlace, Cell, ByPlace>;

/// Keys and values of records, as the output has them.
class Looks {
public:
    explicit Looks(Output const& output) : output_(output) {}

    std::string key(RecordView const& record) const {
        Kor::KorAttr const* const attribute = attributeOf(record);
        auto const box = attribute == nullptr || output_.form == Form::text // which the record has
                             ? nullptr
                             : boxOf(attribute->keyType(), record.key);
        return box ? written(output_.form, box) : record.key;
    }
    Cell value(RecordView const& record) const {
        using Kind = RecordView::Kind;
        if (record.kind == Kind::announcement || record.kind == Kind::child) {
            return typeNames(record.value);
        }
        Kor::KorAttr const* const attribute = attributeOf(record);
        bool const isAsItIs = output_.form == Form::text && output_.format != Format::json;
        if (attribute == nullptr || record.kind != Kind::set || isAsItIs) {
            return Cell::orNone(record.value);
        }
        auto const box = boxOf(attribute->type(), record.value);
        return !box                             ? Cell::orNone(record.value)
               : output_.format == Format::json ? Cell::raw(written(Form::json, box))
                                                : Cell(written(output_.form, box));
    }
    /// Of an announcement the nearest type alone.
    Cell type(RecordView const& record) const {
        return typeNames(record.value.substr(0, record.value.find(' ')));
    }

private:
    static Kor::KorAttr const* attributeOf(RecordView const& record) {
        if (record.type != nullptr) {
            for (auto const& each : record.type->attributes()) {
                if (each->name() == Kor::String8(record.attribute)) {
                    return each.ptr();
                }
            }
        }
        return nullptr;
    }
    /// Null for what is no value, such as the path of an object.
    static Box boxOf(Kor::KorType const* type, std::string const& text) {
        if (type != nullptr && !type->isEntity() && !text.empty()) {
            try {
                return readValue(*type, text);
            } catch (Refused const&) {
            }
        }
        return nullptr;
    }
    Cell typeNames(std::string const& text) const {
        if (output_.form == Form::text) {
            return text;
        }
        std::string all;
        std::istringstream names(text);
        for (std::string name; names >> name;) {
            all += (all.empty() ? "" : " ") + Kor::Forms::shortTypeText(name);
        }
        return all;
    }
    Output output_;
};

/// Those that nobody has referred to yet: each with its key and its type.
using Unplaced = std::map<Kor::EntityId, std::pair<std::string, Cell>>;

void note(State& state, Unplaced& unplaced, RecordView const& record, Looks const& looks) {
    using Kind = RecordView::Kind;
    if (record.kind == Kind::announcement && record.root.empty()) {
        unplaced[record.child] = {record.path, looks.type(record)};
    } else if (record.kind == Kind::announcement) {
        state[{record.path, "", ""}] = looks.type(record);
    } else if (auto type = unplaced.extract(record.child); record.kind == Kind::set && !type.empty()) {
        state[{record.value, "", ""}] = type.mapped().second;
        state[{record.path, record.attribute, looks.key(record)}] = looks.value(record);
    } else if (record.kind == Kind::set || record.kind == Kind::child) {
        state[{record.path, record.attribute, looks.key(record)}] = looks.value(record);
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
                std::string const& name = announced_.root.empty() ? announced_.path : announced_.root;
                return (roots_[{from, announced_.root.empty(), type, name}] =
                            offered); // also one that comes again
            });
        }
    }
    void apply(RecordView const& record) {
        if (record.kind == RecordView::Kind::control) {
            return;
        }
        announced_ = {record.path, record.root};
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
    /// What the entities have: sent to nobody, and read as it leaves.
    State state(Looks const& looks) const {
        State state;
        for (Side const from : {Side::accepting, Side::connecting}) {
            auto const demuxer = Kor::makePtr<Demuxer>(Side::accepting, limits_);
            RecordWalker walker(limits_);
            Unplaced unplaced;
            for (auto const& [which, root] : roots_) {
                auto const& [side, isUnnamed, type, name] = which;
                if (side != from || root->korNboAttrLogSa(demuxer->out()) != nullptr) {
                    continue; // or it is there since another one refers to it
                }
                isUnnamed ? demuxer->mount(root) : demuxer->mountRoot(root, {.path = Kor::Name(name)});
                bool isMore = true;
                while (isMore) {
                    isMore = demuxer->flow();
                    for (auto bytes = demuxer->out()->readable(); !bytes.empty();
                         bytes = demuxer->out()->readable()) {
                        walker.walk(Side::accepting, bytes,
                                    [&](RecordView const& record) { note(state, unplaced, record, looks); });
                        demuxer->out()->nextBytes(bytes.size());
                    }
                }
            }
            for (auto const& [id, unnamed] : unplaced) { // to which nothing refers any more
                state.try_emplace({unnamed.first, "", ""}, unnamed.second);
            }
        }
        return state;
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
    struct {
        std::string path, root;
    } announced_; // last
    /// By side, those without a name behind the others, type, and name or key.
    std::map<std::tuple<Side, bool, std::string, std::string>, Kor::Ptr<Kor::Entity>> roots_;
};

/// At the end; and before the time that is asked for, if one is.
State stateOf(Context& context, std::string const& file, LogOptions const& options, State* before = nullptr) {
    Player player(file, options);
    Looks const looks(options.output);
    std::optional<Replica> replica;
    bool isBefore = before != nullptr;
    Progress progress(context);
    player.play(progress, [&](RecordView const& record, U64 microseconds) {
        if (isBefore && microseconds >= options.from.value_or(0)) {
            isBefore = false;
            *before = replica ? replica->state(looks) : State();
        }
        (replica ? *replica : replica.emplace(player.limits)).apply(record);
    });
    if (!replica) {
        return {};
    }
    State state = replica->state(looks);
    if (isBefore) {
        *before = state;
    }
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

/// Seconds, with at most six digits behind a point, in microseconds.
U64 parseTime(std::string const& option, std::string_view text) {
    std::string_view const whole = text.substr(0, text.find('.'));
    std::string part(text.substr(std::min(whole.size() + 1, text.size())));
    constexpr std::size_t digits = 6;
    constexpr U64 most = 1'000'000'000'000;
    part.resize(std::max(part.size(), digits), '0');
    auto const isNumber = [](std::string_view each) {
        return !each.empty() && each.find_first_not_of("0123456789") == each.npos;
    };
    auto const seconds = isNumber(whole) ? parseNumber(whole) : std::nullopt;
    if (!seconds || *seconds > most || text.ends_with('.') || !isNumber(part) || part.size() > digits) {
        throw WrongUsage(option + ": '" + shown(text) +
                         "' is no time in seconds, such as 1.5, as log show lists them");
    }
    return *seconds * 1'000'000 + std::stoull(part);
}

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
    Looks const looks(options.output);
    std::optional<Replica> replica;
    bool isBefore = options.from.has_value();
    auto const begin = [&] {
        isBefore = false;
        for (auto const& [place, value] : replica ? replica->state(looks) : State()) {
            std::vector<Cell> cells{seconds(*options.from), Cell(), "state", place[0], Cell::orNone(place[1]),
                                    Cell::orNone(place[2]), value};
            cells.resize(columns.size());
            printer.add(cells);
        }
    };
    Progress progress(context, Progress::unlessResults);
    try {
        player.play(progress, [&](RecordView const& record, U64 microseconds) {
            if (isBefore && microseconds < *options.from) {
                (replica ? *replica : replica.emplace(player.limits)).apply(record);
                return;
            }
            if (isBefore) {
                begin();
            }
            std::vector<Cell> cells{
                seconds(microseconds),     sideText(record.from),          textOf(record.kind),
                Cell::orNone(record.path), Cell::orNone(record.attribute), Cell::orNone(looks.key(record)),
                looks.value(record)};
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
    } catch (Broken const&) {
        throw;
    } catch (Refused const&) {
        progress.end();
        printer.end(); // what came before
        throw;
    }
    if (isBefore) {
        begin();
    }
    progress.end();
    printer.end();
}

void logCheck(Context& context, LogOptions const& options) {
    std::string const& file = options.files.at(0);
    Player player(file, options);
    U64 records = 0, bytes = 0, unknown = 0;
    Progress progress(context);
    player.play(progress, [&](RecordView const& record, U64) {
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
    std::vector<std::string> columns{"entity", "attribute", "key", "value"};
    if (!options.from) {
        Listing listing(columns);
        for (auto const& [place, value] : stateOf(context, options.files.at(0), options)) {
            listing.add({place[0], Cell::orNone(place[1]), Cell::orNone(place[2]), value});
        }
        return listing.print(context.out, options.output);
    }
    columns.emplace_back("before");
    State before;
    std::map<StatePlace, std::array<Cell, 2>, ByPlace> both;
    for (auto const& [place, value] : stateOf(context, options.files.at(0), options, &before)) {
        both[place][0] = value;
    }
    for (auto const& [place, value] : before) {
        both[place][1] = value;
    }
    Listing listing(columns);
    for (auto const& [place, values] : both) {
        listing.add({place[0], Cell::orNone(place[1]), Cell::orNone(place[2]), values[0], values[1]});
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
        if (is == after.end() || (was != before.end() && ByPlace()(was->first, is->first))) {
            add("gone", was->first, was->second, Cell());
            ++was;
        } else if (was == before.end() || ByPlace()(is->first, was->first)) {
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

/// What all but `record` take.
void takeFiles(Takes& takes, LogOptions& options, int files = 1) {
    takes.option("file", options.files, "FILE", "The recording").required().expected(files, files);
    takes
        .option("--side", options.side, "SIDE",
                "Only what that side has sent: accepting or connecting (default: both)")
        .oneOf({"accepting", "connecting"}, "no side");
    takes.output(options.output, " (default: table)");
}

void takeTime(Takes& takes, std::string const& name, std::optional<U64>& time, char const* text) {
    takes.option(
        name.c_str(), [&time, name](std::string const& given) { time = parseTime(name, given); }, "TIME",
        text);
}

void takeEnd(Takes& takes, LogOptions& options) {
    takeTime(takes, "--until", options.until, "Look at nothing that came after that time");
    takes.form(options.output, true); // of keys
}

Command const logShowCommand = Row<LogOptions>{
    .name = "show",
    .does = "List the records in the order in which they were sent",
    .takes =
        [](Takes& takes, LogOptions& options) {
            takeFiles(takes, options);
            takes.flag("-m,--more", options.more, "More of each record; twice, its bytes as well");
            takeTime(
                takes, "--from", options.from,
                "Begin at that time, in seconds as they are listed, with the state that there was before");
            takeEnd(takes, options);
        },
    .run = logShow,
};

Command const logCheckCommand = Row<LogOptions>{
    .name = "check",
    .does = "Say whether the recording is sound, or where it is not",
    .takes = [](Takes& takes, LogOptions& options) { takeFiles(takes, options); },
    .run = logCheck,
};

Command const logReplayCommand = Row<LogOptions>{
    .name = "replay",
    .does = "Print the state that the records lead to",
    .takes =
        [](Takes& takes, LogOptions& options) {
            takeFiles(takes, options);
            takeTime(takes, "--from", options.from,
                     "Print what each had before that time, too, in a column `before`");
            takeEnd(takes, options);
        },
    .run = logReplay,
};

Command const logDiffCommand = Row<LogOptions>{
    .name = "diff",
    .does = "Print what differs between the states that two recordings lead to",
    .takes =
        [](Takes& takes, LogOptions& options) {
            takeFiles(takes, options, 2);
            takeEnd(takes, options);
        },
    .run = logDiff,
};

} // namespace

Command const logCommand{
    .name = "log",
    .does = "Record an attribute log, and look at a recorded one",
    .takes = nullptr,
    .more = "The exit status is 1 when a recording is unsound, and 3 when diff finds a difference.\n\n"
            "  loamtunnel log record lif.loamlog --for 10\n"
            "  loamtunnel log show lif.loamlog -m\n"
            "  loamtunnel log show lif.loamlog --from 1.5 --until 2\n"
            "  loamtunnel log replay lif.loamlog --side connecting --json",
    .below = {&logShowCommand, &logCheckCommand, &logReplayCommand, &logDiffCommand, &logRecordCommand},
};

} // namespace tool
