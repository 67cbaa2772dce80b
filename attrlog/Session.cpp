#include "attrlog/Session.h"

#include "attrlog/RecordView.h"
#include "reflect/Text.h"

#include <algorithm>
#include <set>
#include <string>

namespace Kor::NboAttrLog {

namespace {

constexpr U32 preambleLength = static_cast<U32>(Session::magic.size()) + 4;
constexpr U32 maxNameLength = 64;
constexpr U32 maxReasonLength = 256;
/// What a piece of a call takes beside its verb and its text.
constexpr U32 pieceFrame = 32;
/// How many pieces of calls leave before it is the entities' turn.
constexpr int pieces = 8;
/// How many words about roots may wait for a peer that asks and does not read.
constexpr std::size_t maxNotes = 4096;

constexpr U64 pushedBit = 1, acceptedBit = 2;
constexpr U64 moreBit = 1, errorBit = 2;

[[noreturn]] void fault(String8 const& what) {
    throw AttrLogRecordException(what);
}

/// A request or an answer on its way.
struct Call {
    U32 id = 0;
    Name verb;
    std::string text;
    std::size_t sent = 0;
    bool isError = false;
};

} // namespace

struct Session::Impl final : DemuxerControl {
    struct Wish {
        WantHook hook;
        Take take;
        RootState state = RootState::absent;
        Ptr<Entity> root;
        EntityId id;
        /// Of the last time that it was asked for, so that what answers an earlier one is known.
        U32 number = 0;
    };
    struct Push {
        Ptr<Entity> entity;
        Access access = Access::writable;
        PushHook hook;
        EntityId id;
        U32 number = 0;
    };
    /// What is mounted because the peer wants it.
    struct Mount {
        Ptr<Entity> entity;
        EntityId id;
        U32 number = 0;
    };
    /// Who has caused a word. The application may have any number of wishes.
    enum class Cause : U8 { application, peer };
    /// A word about a root that waits for room.
    struct Note {
        Cause cause;
        AttributeId attribute;
        Name path;
        U32 number = 0;
        U64 bits = 0;
        String8 reason;
    };

    Impl(Session& session, Side side, SessionConfig given, Ptr<Service> offered, SessionHooks told)
        : self(session), config(std::move(given)), service(offered ? std::move(offered) : makePtr<Service>()),
          hooks(std::move(told)) {
        config.limits = soundLimits(config.limits, Session::minRecord);
        demuxer = makePtr<Demuxer>(side, config.limits);
        demuxer->controlIs(this);
        service->sessionIs(self);
        sendHello();
    }
    ~Impl() {
        demuxer->controlIs(nullptr);
        service->sessionDel(self);
    }
    Impl(Impl const&) = delete;
    Impl& operator=(Impl const&) = delete;

    Out& out() const { return *demuxer->out(); }
    bool isOpen() const { return demuxer->isOpen(); }
    void requireOpen() const {
        if (!isOpen()) {
            throwRangeException("the connection is closed");
        }
    }

    // The hello

    void sendHello() {
        Out& to = out();
        std::array<U8, preambleLength> mine{};
        std::copy(magic.begin(), magic.end(), mine.begin());
        detail::store(&mine[magic.size()], static_cast<U16>(lowestProtocol));
        detail::store(&mine[magic.size() + 2], static_cast<U16>(highestProtocol));
        to.preambleIs(mine);
        begin(helloAttribute);
        to.currentPayloadSectionIs(PayloadSection::helloName);
        to.put(shown(config.name.view(), maxNameLength));
        to.currentPayloadSectionIs(PayloadSection::helloSchema);
        to.put(config.schema);
        to.currentPayloadSectionIs(PayloadSection::helloLimits);
        to.put(config.limits.record);
        to.put(config.limits.ring);
        to.put(config.limits.entities);
        to.put(config.offers);
        end();
    }

    /// False while it has not arrived. Refuses at the first byte that is wrong.
    bool readPreamble() {
        if (preambleRead < preambleLength) {
            std::size_t const before = preambleRead;
            preambleRead += demuxer->in()->nextPreamble(std::span(preamble).subspan(before));
            std::size_t const known = std::min(preambleRead, magic.size());
            if (!std::equal(preamble.begin(), preamble.begin() + static_cast<std::ptrdiff_t>(known),
                            magic.begin())) {
                std::string bytes;
                for (std::size_t i = 0; i < known; ++i) {
                    char text[4];
                    std::snprintf(text, sizeof text, " %02x", preamble[i]);
                    bytes += text;
                }
                close(format("peer does not speak the attribute log: it began with%s", bytes.c_str()));
                return false;
            }
            if (preambleRead < preambleLength) {
                return false;
            }
            auto const number = [&](std::size_t at) {
                return static_cast<U32>(preamble[at] << 8 | preamble[at + 1]);
            };
            hello.lowestProtocol = number(magic.size());
            hello.highestProtocol = number(magic.size() + 2);
            if (hello.lowestProtocol > hello.highestProtocol) {
                close(format("hello has no protocol: from %u to %u", hello.lowestProtocol,
                             hello.highestProtocol));
            } else if (hello.highestProtocol < lowestProtocol || hello.lowestProtocol > highestProtocol) {
                close(format("peer speaks protocol %u to %u, this side %u to %u", hello.lowestProtocol,
                             hello.highestProtocol, lowestProtocol, highestProtocol));
            }
        }
        return isOpen();
    }

    void readHello(In& in) {
        if (established) {
            fault("record is a second hello");
        }
        bool hasName = false, hasSchema = false, hasLimits = false;
        for (PayloadSection section; in.nextSection(section);) {
            if (section == PayloadSection::helloName) {
                hello.name = in.next<Name>();
                hasName = true;
            } else if (section == PayloadSection::helloSchema) {
                hello.schema = in.nextU64();
                hasSchema = true;
            } else if (section == PayloadSection::helloLimits) {
                hello.limits.record = in.nextU32();
                hello.limits.ring = in.nextU32();
                hello.limits.entities = in.nextU32();
                hello.offers = in.nextU32();
                hasLimits = true;
            }
        }
        if (!hasName || !hasSchema || !hasLimits) {
            fault("hello has no name, schema or limits");
        }
        if (!isSoundName(hello.name.view(), maxNameLength)) {
            fault(format("hello has a name that is longer than %u bytes or has control characters",
                         maxNameLength));
        }
        if (hello.limits.record < minRecord || hello.limits.record > maxRecord) {
            fault(format("hello has a record limit of %u bytes; %u to %u are possible", hello.limits.record,
                         minRecord, maxRecord));
        }
        if (hello.limits.ring < 2 * hello.limits.record) {
            fault(format("hello has a ring of %u bytes, which does not hold two records of %u",
                         hello.limits.ring, hello.limits.record));
        }
        if (hello.limits.entities == 0) {
            fault("hello has a limit of no entities");
        }
        established = true;
        demuxer->recordLimitIs(hello.limits.record);
        demuxer->peerLimitIs(hello.limits.entities);
        demuxer->peerNameIs(hello.name);
        demuxer->protocolIs(std::min(hello.highestProtocol, highestProtocol));
        for (auto const& [path, offer] : service->offers()) {
            offersToTell[path] = false;
        }
        if (hooks.established) {
            call(hooks.established);
        }
        std::vector<Name> paths;
        paths.reserve(pushes.size());
        for (auto const& [path, push] : pushes) {
            paths.push_back(path);
        }
        for (Name const& path : paths) {
            if (auto const push = pushes.find(path); push != pushes.end() && isOpen()) {
                try {
                    mountPush(path, push->second);
                } catch (Exception const& exception) {
                    pushRefused(path, exception.message());
                }
            }
        }
    }

    // Records of the session

    void begin(AttributeId attribute) {
        out().nextHeaderIs({MsgHeader::announcing, attribute, true});
        out().token(TransactToken(1));
    }
    void end() { out().token(TransactToken(3)); }
    void putText(String8 const& text) { out().put(text); }

    bool control(MsgHeader const& header, In& in) override {
        bool const isOwn = header.entityId == MsgHeader::announcing && !header.isMarker;
        AttributeId const attribute = header.attributeId;
        if (isOwn && attribute == goodbyeAttribute) {
            closedByPeer = true;
            String8 const reason = in.nextString();
            demuxer->close(reason.empty() ? String8("peer said goodbye")
                                          : shown(reason.view(), maxReasonLength));
            return true;
        }
        if (!established && !(isOwn && attribute == helloAttribute)) {
            fault("record comes before the hello");
        }
        if (!isOwn) {
            return false;
        }
        switch (attribute) {
        case helloAttribute:
            readHello(in);
            return true;
        case offerAttribute:
        case -offerAttribute:
            readOffer(in, attribute < 0);
            return true;
        case offersKnownAttribute:
            offersKnown = true;
            tellOffers();
            return true;
        case wantAttribute:
        case -wantAttribute: {
            Name const path = nextPath(in);
            auto const number = static_cast<U32>(in.nextNumber());
            attribute > 0 ? wanted(path, number) : unwanted(path);
            return true;
        }
        case verdictAttribute:
            readVerdict(in);
            return true;
        case requestAttribute:
            readRequest(in);
            return true;
        case answerAttribute:
            readAnswer(in);
            return true;
        default:
            return false;
        }
    }

    static Name nextPath(In& in) {
        Name path = in.next<Name>();
        if (path.empty() || !isSoundName(path.view(), maxPathLength)) {
            fault("record has an unsound path");
        }
        return path;
    }

    void note(Cause cause, AttributeId attribute, Name const& path, U32 number, U64 bits = 0,
              String8 const& reason = {}) {
        if (!isOpen()) {
            return;
        }
        if (cause == Cause::peer && peersNotes++ == maxNotes) {
            close("peer asks for more than it reads answers");
            return;
        }
        notes.push_back({cause, attribute, path, number, bits, shown(reason.view(), maxReasonLength)});
    }

    /// What goes before the entities' records; false when the stream is full.
    bool writeControl() {
        while (!notes.empty() && out().hasSufficientBuffer()) {
            Note const& next = notes.front();
            begin(next.attribute);
            putText(next.path);
            out().putNumber(next.number);
            if (next.attribute == verdictAttribute) {
                out().putNumber(next.bits);
                putText(next.reason);
            }
            end();
            peersNotes -= next.cause == Cause::peer;
            notes.pop_front();
        }
        while (!offersToTell.empty() && out().hasSufficientBuffer()) {
            writeOffer(offersToTell.begin());
        }
        if (offersToTell.empty() && !offersTold && out().hasSufficientBuffer()) {
            offersTold = true;
            begin(offersKnownAttribute);
            end();
        }
        for (int i = 0; i < pieces && hasCalls() && out().hasSufficientBuffer(); ++i) {
            // Turn by turn, so that two sides that ask much both get their answers.
            bool const isAnswer = requests.empty() || (!answers.empty() && i % 2 == 0);
            auto& queue = isAnswer ? answers : requests;
            writePiece(isAnswer ? answerAttribute : requestAttribute, queue.front());
            if (queue.front().sent == queue.front().text.size()) {
                queue.pop_front();
            }
        }
        return out().hasSufficientBuffer();
    }
    bool hasCalls() const { return !requests.empty() || !answers.empty(); }
    bool hasControl() const { return !notes.empty() || !offersToTell.empty() || !offersTold || hasCalls(); }

    void writePiece(AttributeId attribute, Call& call) {
        std::size_t const most = out().limits().record - pieceFrame - call.verb.length();
        std::string_view const piece = std::string_view(call.text).substr(call.sent, most);
        call.sent += piece.size();
        begin(attribute);
        out().putNumber(call.id);
        out().putNumber((call.sent < call.text.size() ? moreBit : 0) | (call.isError ? errorBit : 0));
        if (attribute == requestAttribute) {
            putText(call.verb);
        }
        putText(String8(piece));
        end();
    }

    void flow() {
        if (!isOpen()) {
            if (saysGoodbye && out().hasSufficientBuffer()) {
                saysGoodbye = false;
                begin(goodbyeAttribute);
                putText(shown(demuxer->closeReason().view(), maxReasonLength));
                end();
            }
            return;
        }
        if (!established) {
            return;
        }
        do {
            if (!writeControl()) {
                break;
            }
            demuxer->flow();
        } while (isOpen() && hasControl() && out().hasSufficientBuffer());
    }

    // Offers of this side

    void offerChanged(Name const& path) {
        if (!established || !isOpen()) {
            return; // all are told after the hello
        }
        unwanted(path);
        untoldOffers.erase(path);
        bool& withdrawFirst = offersToTell[path];
        withdrawFirst = withdrawFirst || toldOffers.contains(path);
    }
    void writeOffer(std::map<Name, bool>::iterator next) {
        Name const path = next->first;
        auto const* const offer = service->offered(path);
        if (std::exchange(next->second, false)) {
            toldOffers.erase(path);
            if (!untoldOffers.empty()) {
                offersToTell.emplace(*untoldOffers.begin(), false);
                untoldOffers.erase(untoldOffers.begin());
            }
            begin(-offerAttribute);
            putText(path);
            end();
            if (offer != nullptr) {
                return; // the new one takes a record, too
            }
        } else if (offer != nullptr && !toldOffers.contains(path) && toldOffers.size() >= hello.offers) {
            untoldOffers.insert(path);
        } else if (offer != nullptr) {
            toldOffers.insert(path);
            begin(offerAttribute);
            putText(path);
            out().put(TypeId(offer->entity->fwkType()->typeName()));
            out().putNumber(offer->access == Access::writable ? 1 : 0);
            end();
        }
        offersToTell.erase(next);
    }
    void wanted(Name const& path, U32 number) {
        unwanted(path); // if it was before, it is asked for anew
        auto const* const offer = service->offered(path);
        if (offer == nullptr) {
            note(Cause::peer, verdictAttribute, path, number, 0,
                 format("nothing is offered under %s", path.charPtr()));
            return;
        }
        try {
            Ptr<StreamAdapter> const adapter =
                demuxer->mountRoot(offer->entity, {path, /*isPushed=*/false, offer->access, number});
            mounts[path] = {offer->entity, adapter->entityId(), number};
            pathOf[adapter->entityId()] = path;
        } catch (Exception const& exception) {
            note(Cause::peer, verdictAttribute, path, number, 0, exception.message());
        }
    }
    void unwanted(Name const& path) {
        if (auto const mounted = mounts.find(path); mounted != mounts.end()) {
            Mount const gone = std::move(mounted->second);
            mounts.erase(mounted);
            pathOf.erase(gone.id);
            demuxer->unmount(gone.entity);
        }
    }

    // Offers of the peer

    void readOffer(In& in, bool isWithdrawn) {
        Name const path = nextPath(in);
        if (isWithdrawn) {
            peerOffers.erase(path);
            wishIs(path, RootState::absent, "the peer has withdrawn it");
        } else {
            PeerOffer offer;
            offer.type = shown(in.next<TypeId>().name().view(), maxReasonLength);
            offer.access = (in.nextNumber() & 1) != 0 ? Access::writable : Access::readOnly;
            if (!peerOffers.contains(path) && peerOffers.size() >= config.offers) {
                fault(format("peer has more roots than the limit of %u", config.offers));
            }
            peerOffers[path] = std::move(offer);
            if (auto const wish = wishes.find(path); wish != wishes.end()) {
                ask(Cause::peer, path, wish->second);
            }
        }
        if (offersKnown) {
            tellOffers();
        }
    }
    void tellOffers() {
        if (hooks.offersChanged) {
            call(hooks.offersChanged);
        }
    }
    void ask(Cause cause, Name const& path, Wish& wish) {
        if (wish.state == RootState::absent || wish.state == RootState::refused) {
            wish.number = ++lastNumber;
            note(cause, wantAttribute, path, wish.number);
            wishIs(path, RootState::requested);
        }
    }
    void wishIs(Name const& path, RootState state, String8 const& why = {}) {
        auto const found = wishes.find(path);
        if (found == wishes.end() || found->second.state == state) {
            return;
        }
        Wish& wish = found->second;
        wish.state = state;
        if (wish.hook) {
            auto const hook = wish.hook; // which may take the wish away
            Ptr<Entity> const root = wish.root;
            hook(state, root, why);
        }
    }
    static bool isThere(Wish const& wish) {
        return wish.state == RootState::synchronizing || wish.state == RootState::synchronized;
    }
    /// The one of wishes, pushes or mounts that has the id.
    template <class Map>
    auto ofId(Map& map, EntityId id) {
        auto const path = pathOf.find(id);
        auto const found = path != pathOf.end() ? map.find(path->second) : map.end();
        return found != map.end() && found->second.id == id ? found : map.end();
    }

    Ptr<Entity> root(Announcement const& announcement) override {
        Name const& path = announcement.name.path;
        if (!isSoundName(path.view(), maxPathLength)) {
            fault("record has an unsound path");
        }
        return announcement.name.isPushed ? pushedRoot(announcement) : wantedRoot(announcement);
    }
    /// The entity that a hook gives for what the peer has announced.
    template <class Give>
    Ptr<Entity> placeFor(Announcement const& announcement, Give const& give) const {
        if (!announcement.made) {
            throwRangeException("its type is not known here");
        }
        Ptr<Entity> entity = give();
        if (!entity) {
            throwRangeException("it is not taken in");
        }
        if (entity->fwkType() != announcement.made->fwkType()) {
            throwRangeException(format("it is a %s, and its place is for a %s",
                                       announcement.made->fwkType()->typeName().charPtr(),
                                       entity->fwkType()->typeName().charPtr()));
        }
        if (entity->korNboAttrLogSa(demuxer->out())) {
            throwRangeException("its place is on this connection already");
        }
        return entity;
    }
    Ptr<Entity> pushedRoot(Announcement const& announcement) {
        Name const path = announcement.name.path;
        Ptr<Entity> entity;
        try {
            entity = placeFor(announcement, [&] { return service->accept(self, path, announcement.made); });
        } catch (Exception const& exception) {
            note(Cause::peer, verdictAttribute, path, announcement.name.number, pushedBit,
                 exception.message());
            return nullptr;
        }
        note(Cause::peer, verdictAttribute, path, announcement.name.number, pushedBit | acceptedBit);
        return entity;
    }
    Ptr<Entity> wantedRoot(Announcement const& announcement) {
        Name const path = announcement.name.path;
        auto wish = wishes.end();
        U32 const number = announcement.name.number;
        auto const isAwaited = [&] {
            wish = wishes.find(path);
            return wish != wishes.end() && wish->second.state == RootState::requested &&
                   wish->second.number == number;
        };
        if (!isAwaited()) { // it was given up meanwhile
            return nullptr;
        }
        Ptr<Entity> entity;
        try {
            Take const take = wish->second.take;
            entity = placeFor(announcement, [&] {
                return take ? take(announcement.made) : Ptr<Entity>(announcement.made);
            });
        } catch (Exception const& exception) {
            if (isAwaited()) {
                note(Cause::peer, -wantAttribute, path, number);
                wishIs(path, RootState::refused, exception.message());
            }
            return nullptr;
        }
        if (!isAwaited()) { // the hook has given it up
            return nullptr;
        }
        wish->second.root = entity;
        wish->second.id = announcement.id;
        pathOf[announcement.id] = path;
        return entity;
    }
    void mounted(EntityId id) override {
        if (auto const wish = ofId(wishes, id); wish != wishes.end()) {
            wishIs(Name(wish->first), RootState::synchronizing);
        }
    }
    void retired(EntityId id) override {
        if (auto const wish = ofId(wishes, id); wish != wishes.end()) {
            wish->second.id = {};
            if (isThere(wish->second)) { // and not asked for anew already
                wishIs(Name(wish->first), RootState::absent, "the peer has withdrawn it");
            }
        }
        if (auto const push = ofId(pushes, id); push != pushes.end()) {
            pushRefused(Name(push->first), "the peer has let it go");
        }
        if (auto const mount = ofId(mounts, id); mount != mounts.end()) {
            mounts.erase(mount);
        }
        pathOf.erase(id);
    }
    void syncModeTold(EntityId id, StreamAdapter::SyncMode mode) override {
        auto const wish = ofId(wishes, id);
        if (wish == wishes.end() || !isThere(wish->second)) {
            return;
        }
        if (mode == StreamAdapter::SyncMode::synchronizing) {
            wishIs(Name(wish->first), RootState::synchronizing);
        } else if (mode == StreamAdapter::SyncMode::allSynchronized) {
            wishIs(Name(wish->first), RootState::synchronized);
        }
    }
    void failed(EntityId id, String8 const& why) override {
        if (auto const mount = ofId(mounts, id); mount != mounts.end()) {
            note(Cause::peer, verdictAttribute, mount->first, mount->second.number, 0, why);
            mounts.erase(mount);
        } else if (auto const push = ofId(pushes, id); push != pushes.end()) {
            pushRefused(Name(push->first), why);
        }
        pathOf.erase(id);
    }

    void want(Name const& path, WantHook hook, Take take) {
        requirePath(path);
        requireOpen();
        unwant(path);
        Wish& wish = wishes[path];
        wish.hook = std::move(hook);
        wish.take = std::move(take);
        if (peerOffers.contains(path)) {
            ask(Cause::application, path, wish);
        }
    }
    void unwant(Name const& path) {
        auto const found = wishes.find(path);
        if (found == wishes.end()) {
            return;
        }
        Wish const gone = std::move(found->second);
        wishes.erase(found);
        if (!isOpen()) {
            return;
        }
        if (gone.number != 0) { // it may be on its way to be mounted even if it has been withdrawn since
            note(Cause::application, -wantAttribute, path, gone.number);
        }
        if (gone.id.isAssigned()) {
            pathOf.erase(gone.id);
            demuxer->reactorDel(gone.id);
        }
    }

    // Pushes

    void push(Name const& path, Ptr<Entity> const& entity, Access access, PushHook hook) {
        requireRoot(path, entity);
        requireOpen();
        unpush(path);
        Push& push = pushes[path];
        push = {entity, access, std::move(hook), {}, ++lastNumber};
        if (established) {
            try {
                mountPush(path, push);
            } catch (...) {
                pushes.erase(path);
                throw;
            }
        }
    }
    void mountPush(Name const& path, Push& push) {
        Ptr<StreamAdapter> const adapter =
            demuxer->mountRoot(push.entity, {path, /*isPushed=*/true, push.access, push.number});
        push.id = adapter->entityId();
        pathOf[push.id] = path;
    }
    void unpush(Name const& path) {
        auto const found = pushes.find(path);
        if (found == pushes.end()) {
            return;
        }
        Push const gone = std::move(found->second);
        pushes.erase(found);
        pathOf.erase(gone.id);
        demuxer->reactorRetire(gone.id);
    }
    void pushRefused(Name const& path, String8 const& why) {
        auto const found = pushes.find(path);
        if (found == pushes.end()) {
            return;
        }
        PushHook const hook = found->second.hook;
        unpush(path);
        if (hook) {
            hook(false, why);
        }
    }
    void readVerdict(In& in) {
        Name const path = nextPath(in);
        auto const number = static_cast<U32>(in.nextNumber());
        U64 const bits = in.nextNumber();
        String8 const reason = shown(in.nextString().view(), maxReasonLength);
        auto const wish = wishes.find(path);
        auto const push = pushes.find(path);
        if ((bits & pushedBit) == 0) {
            if (wish != wishes.end() && wish->second.state == RootState::requested &&
                wish->second.number == number) {
                wishIs(path, RootState::refused, reason);
            }
        } else if (push == pushes.end() || push->second.number != number) {
            return; // an answer to an earlier one
        } else if ((bits & acceptedBit) == 0) {
            pushRefused(path, reason);
        } else if (PushHook const hook = push->second.hook) {
            hook(true, "");
        }
    }

    // Calls

    void request(Name const& verb, String8 const& argument, Reply reply) {
        requireOpen();
        if (verb.empty() || !isSoundName(verb.view(), maxVerbLength)) {
            throwRangeException(
                format("a verb has 1 to %u bytes, none of them a control character", maxVerbLength));
        }
        if (argument.length() > maxCallText) {
            throwRangeException(
                format("an argument has at most %u bytes, not %u", maxCallText, argument.length()));
        }
        if (replies.size() >= maxCalls) {
            throwRangeException(format("%u requests wait for their answers already", maxCalls));
        }
        U32 const id = ++lastCall;
        replies.emplace_back(id, std::move(reply));
        requests.push_back({id, verb, std::string(argument.view()), 0, false});
    }

    void readRequest(In& in) {
        auto const id = static_cast<U32>(in.nextNumber());
        U64 const bits = in.nextNumber();
        Name const verb = in.next<Name>();
        String8 const piece = in.nextString();
        if (!requestIn) {
            if (answers.size() >= maxCalls) {
                fault(format("peer has more than %u requests under way", maxCalls));
            }
            if (verb.empty() || !isSoundName(verb.view(), maxVerbLength)) {
                fault("record has an unsound verb");
            }
            requestIn.emplace();
            requestIn->id = id;
            requestIn->verb = verb;
        } else if (requestIn->id != id) {
            fault("record is of another request than the one that has begun");
        }
        if (takePiece(requestIn->text, piece, bits)) {
            Call const request = std::move(*requestIn);
            requestIn.reset();
            answers.push_back(answerTo(request));
        }
    }
    Call answerTo(Call const& request) {
        Call answer;
        answer.id = request.id;
        answer.isError = true;
        auto const handler = service->handlers().find(request.verb);
        if (handler == service->handlers().end()) {
            answer.text = format("there is no request \"%s\"", request.verb.charPtr()).view();
            return answer;
        }
        try {
            auto const handle = handler->second; // which may replace itself
            answer.text = handle(self, String8(request.text)).view();
            answer.isError = answer.text.size() > maxCallText;
            if (answer.isError) {
                answer.text = format("the answer to \"%s\" is longer than %u bytes", request.verb.charPtr(),
                                     maxCallText)
                                  .view();
            }
        } catch (std::exception const& exception) {
            answer.text = std::string_view(exception.what()).substr(0, maxCallText);
        }
        return answer;
    }
    void readAnswer(In& in) {
        auto const id = static_cast<U32>(in.nextNumber());
        U64 const bits = in.nextNumber();
        String8 const piece = in.nextString();
        if (replies.empty() || replies.front().first != id) {
            fault("record answers another request than the next one");
        }
        if (takePiece(answerIn, piece, bits)) {
            String8 const text(answerIn);
            answerIn.clear();
            Reply const reply = std::move(replies.front().second);
            replies.pop_front();
            if (reply) {
                reply((bits & errorBit) == 0, text);
            }
        }
    }
    /// Whether the text is whole.
    static bool takePiece(std::string& text, String8 const& piece, U64 bits) {
        if (text.size() + piece.length() > maxCallText) {
            fault(format("peer has a call of more than %u bytes", maxCallText));
        }
        text += piece.view();
        return (bits & moreBit) == 0;
    }

    // The end

    void call(std::function<void(Session&)> const& hook) {
        auto const copy = hook; // which may be replaced meanwhile
        copy(self);
    }
    void close(String8 const& reason) { demuxer->close(reason.empty() ? String8("closed") : reason); }
    /// Tells everybody here, once.
    void ended() {
        if (isOpen() || std::exchange(toldEnd, true)) {
            return;
        }
        saysGoodbye = !closedByPeer && !isCut;
        service->sessionDel(self);
        notes.clear();
        peersNotes = 0;
        offersToTell.clear();
        requests.clear();
        answers.clear();
        mounts.clear();
        pathOf.clear();
        flow();
        String8 const reason = demuxer->closeReason();
        for (auto& [path, wish] : wishes) {
            wish.id = {};
        }
        std::vector<Name> paths;
        paths.reserve(wishes.size());
        for (auto const& [path, wish] : wishes) {
            paths.push_back(path);
        }
        for (Name const& path : paths) {
            wishIs(path, RootState::absent, reason);
        }
        pushes.clear();
        while (!replies.empty()) {
            Reply const reply = std::move(replies.front().second);
            replies.pop_front();
            if (reply) {
                reply(false, reason);
            }
        }
        if (hooks.closed) {
            auto const closed = hooks.closed;
            closed(self, reason);
        }
    }

    Session& self;
    SessionConfig config;
    Ptr<Service> service;
    SessionHooks hooks;
    Ptr<Demuxer> demuxer;

    PeerHello hello;
    std::array<U8, preambleLength> preamble{};
    std::size_t preambleRead = 0;
    bool established = false;
    bool closedByPeer = false;
    bool isCut = false;
    bool saysGoodbye = false;
    bool toldEnd = false;

    U32 lastNumber = 0;
    std::map<Name, PeerOffer> peerOffers;
    bool offersKnown = false;
    std::map<Name, Wish> wishes;
    std::map<Name, Push> pushes;

    std::map<Name, Mount> mounts;
    std::map<EntityId, Name> pathOf;
    /// Whether the peer must first hear that an earlier one is gone.
    std::map<Name, bool> offersToTell;
    std::set<Name> toldOffers;
    /// More than the peer takes; they are told when others are withdrawn.
    std::set<Name> untoldOffers;
    bool offersTold = false;
    std::deque<Note> notes;
    std::size_t peersNotes = 0;

    U32 lastCall = 0;
    std::deque<std::pair<U32, Reply>> replies;
    std::deque<Call> requests, answers;
    std::optional<Call> requestIn;
    std::string answerIn;
};

Session::Session(Side side, SessionConfig config, Ptr<Service> service, SessionHooks hooks)
    : impl_(std::make_unique<Impl>(*this, side, std::move(config), std::move(service), std::move(hooks))) {}

Session::~Session() {
    impl_->isCut = true;
    impl_->close("ended");
}

bool Session::receive() {
    Ptr<Session> const self(this);
    if (isOpen() && impl_->readPreamble()) {
        impl_->demuxer->receive();
    }
    impl_->ended();
    return isOpen();
}

bool Session::flow() {
    Ptr<Session> const self(this);
    impl_->flow();
    impl_->ended();
    return impl_->saysGoodbye || (isEstablished() && (impl_->hasControl() || impl_->demuxer->hasWork()));
}

void Session::close(String8 const& reason) {
    Ptr<Session> const self(this);
    impl_->close(reason);
    impl_->ended();
}

void Session::cut(String8 const& reason) {
    Ptr<Session> const self(this);
    impl_->isCut = true;
    impl_->saysGoodbye = false;
    impl_->close(reason);
    impl_->ended();
}

bool Session::isOver() const noexcept {
    return !isOpen() && (impl_->isCut || (!impl_->saysGoodbye && out()->pending() == 0));
}

bool Session::isClosedByPeer() const noexcept {
    return impl_->closedByPeer;
}

SessionConfig const& Session::config() const noexcept {
    return impl_->config;
}

Service& Session::service() const noexcept {
    return *impl_->service;
}

PeerHello const* Session::peer() const noexcept {
    return impl_->established ? &impl_->hello : nullptr;
}

Demuxer& Session::demuxer() const noexcept {
    return *impl_->demuxer;
}

void Session::hooksIs(SessionHooks hooks) {
    impl_->hooks = std::move(hooks);
}

std::map<Name, Session::PeerOffer> const& Session::peerOffers() const noexcept {
    return impl_->peerOffers;
}

bool Session::areOffersKnown() const noexcept {
    return impl_->offersKnown;
}

void Session::want(Name const& path, WantHook hook, Take take) {
    impl_->want(path, std::move(hook), std::move(take));
}

void Session::want(Name const& path, Ptr<Entity> const& mine, WantHook hook) {
    requireRoot(path, mine);
    impl_->want(path, std::move(hook), [mine](Ptr<Entity> const&) { return mine; });
}

void Session::unwant(Name const& path) {
    impl_->unwant(path);
}

Ptr<Entity> Session::root(Name const& path) const {
    auto const found = impl_->wishes.find(path);
    return found != impl_->wishes.end() && Impl::isThere(found->second) ? found->second.root : nullptr;
}

RootState Session::rootState(Name const& path) const noexcept {
    auto const found = impl_->wishes.find(path);
    return found != impl_->wishes.end() ? found->second.state : RootState::absent;
}

void Session::push(Name const& path, Ptr<Entity> const& entity, Access access, PushHook hook) {
    impl_->push(path, entity, access, std::move(hook));
}

void Session::unpush(Name const& path) {
    impl_->unpush(path);
}

void Session::call(Name const& verb, String8 const& argument, Reply reply) {
    impl_->request(verb, argument, std::move(reply));
}

void Session::offerChanged(Name const& path) {
    impl_->offerChanged(path);
}

std::size_t Session::preambleOf(std::span<U8 const> start) noexcept {
    std::size_t const known = std::min(start.size(), magic.size());
    if (!std::equal(magic.begin(), magic.begin() + static_cast<std::ptrdiff_t>(known), start.begin())) {
        return 0;
    }
    return start.size() < preambleLength ? RecordWalker::more : preambleLength;
}

} // namespace Kor::NboAttrLog
