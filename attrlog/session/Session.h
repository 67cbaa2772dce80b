#pragma once

/// Kor::NboAttrLog::Session, an attribute log between two processes that know nothing of each other yet: a
/// hello, then roots that are mounted only for those who want them, pushes, calls, and a goodbye. Beneath it
/// is a Kor::NboAttrLog::Demuxer. Pure bytes, which a caller carries; link/ does it over sockets.
///
/// A driver serves what its service has (attrlog/session/Service.h), one session a peer:
///
///     auto session = Kor::makePtr<Session>(Side::accepting, SessionConfig{.name = "driver"}, service);
///
/// An application wants a root of it, and fills one in that it owns:
///
///     auto session = Kor::makePtr<Session>(Side::connecting, SessionConfig{.name = "mpls"});
///     session->want("lifStatus", [&](RootState state, Kor::Ptr<Kor::Entity> const& root, Kor::String8 const& why) {
///         if (state == RootState::synchronized) { ... all of it is there; from now on reactors hear of changes ... }
///     });
///     session->push("lifConfig", lifAppConfig);
///     session->fence(FenceLevel::done, [](FenceResult const& result) { ... all that was written is done ... });
///     session->call("stats", "", [](bool ok, Kor::String8 const& text) { std::puts(text.charPtr()); });
///
/// And whoever carries the bytes:
///
///     while (!session->isOver()) {
///         session->flow();
///         ... send what is in session->out()->readable(); session->out()->nextBytes(sent) ...
///         ... session->in()->feed(received) ...
///         session->receive();
///         ... or, at the end of the stream: session->cut("peer is gone") ...
///     }
///
/// The hello tells name, protocol, schema and limits. A peer whose hello does not fit is refused: it gets a
/// goodbye with the reason. A peer of another schema is served all the same: what one side does not know, a
/// type, an attribute, an enumerator, is passed over and counted (stats()).
///
/// Wishes and pushes can be made at any time, also before the peer is there; a root that is withdrawn and
/// offered again is mounted again. They end with the session: for a new connection make a new one. What was
/// mounted stays as it is, and gets a full pass from the next peer.
///
/// Hooks are called from receive(), flow(), close() and cut(), and may do anything but call receive() and
/// flow(). They should not throw: what one throws leaves the operation that called it, at the end of a
/// session once all others have been told; in receive() a Kor::Exception is counted as a refused record, and
/// any other ends the session. One thread. A root that nobody wants costs its path, a peer that never reads
/// the ring, one mark a changed key, and a bounded number of answers.

#include "attrlog/adapter/Demuxer.h"
#include "attrlog/session/Service.h"

#include <array>
#include <functional>
#include <map>
#include <memory>
#include <span>

namespace Kor::NboAttrLog {

/// Tells one run of a program from another one, whatever they are called.
using InstanceToken = std::array<U64, 2>;
/// That of this process: random, and the same for all its sessions. Any thread.
KOR_EXPORT InstanceToken const& instanceToken();

struct SessionConfig {
    /// What the peer calls this side; at most 64 bytes are sent.
    Name name{};
    /// The checksum of this side's types: loamTunnelModule().checksum() (model/LoamTunnelModule.h).
    U64 schema = 0;
    /// Of a record the smaller limit of both sides holds, which is 1024 bytes at least. `entities` and
    /// `offers` bound what the peer may make; it keeps to them, and tells of further roots when others go.
    StreamLimits limits{};
    U32 offers = 1024;
    /// By which the peer knows this process again when it connects anew.
    InstanceToken token = instanceToken();
};

/// What the peer has told of itself.
struct PeerHello {
    Name name;
    U64 schema = 0;
    StreamLimits limits;
    /// How many roots it takes.
    U32 offers = 0;
    U32 lowestProtocol = 0, highestProtocol = 0;
    /// Zero if it has told none.
    InstanceToken token{};
};

struct SessionHooks {
    /// The peer's hello is accepted.
    std::function<void(Session&)> established{};
    /// All offers of the peer are known; then after each change of them.
    std::function<void(Session&)> offersChanged{};
    /// Once, whichever side has closed the session. It is the last hook that is called.
    std::function<void(Session&, String8 const& reason)> closed{};
};

/// What becomes of a push if another process pushes the same entity already.
enum class PushPlace : U8 {
    /// It is refused, and told who does.
    ifFree,
    /// It takes the place of the other one, whose push is refused.
    takesOver,
};

/// Whether a request goes behind the changes that were made before it.
enum class CallOrder : U8 { afterChanges, overtakes };

class KOR_EXPORT Session final : public PtrInterface {
public:
    /// A null service stands for an empty one.
    explicit Session(Side side, SessionConfig config = {}, Ptr<Service> service = {},
                     SessionHooks hooks = {});
    ~Session() override;

    // What the carrier does.

    Ptr<Out> const& out() const noexcept { return demuxer().out(); }
    Ptr<In> const& in() const noexcept { return demuxer().in(); }
    /// Applies what has arrived. False when the session is closed.
    bool receive();
    /// Writes what waits, as far as there is room. True when something still waits.
    bool flow();
    /// Ends the session; the peer gets a goodbye with the reason. The first reason stands.
    void close(String8 const& reason);
    /// The same for a connection that is gone: nothing more is sent.
    void cut(String8 const& reason);
    /// Closed, and nothing is left to be sent: the connection can be closed.
    bool isOver() const noexcept;

    // What it is.

    bool isOpen() const noexcept { return demuxer().isOpen(); }
    bool isEstablished() const noexcept { return peer() != nullptr && isOpen(); }
    String8 const& closeReason() const noexcept { return demuxer().closeReason(); }
    /// Whether the peer said the goodbye.
    bool isClosedByPeer() const noexcept { return isClosedByPeer_; }
    SessionConfig const& config() const noexcept { return config_; }
    Service& service() const noexcept { return *service_; }
    /// Null until the peer's hello is accepted.
    PeerHello const* peer() const noexcept { return isEstablished_ ? &peer_ : nullptr; }
    Name const& peerName() const noexcept { return demuxer().peerName(); }
    bool isSameSchema() const noexcept { return peer() != nullptr && peer()->schema == config().schema; }
    Demuxer& demuxer() const noexcept { return *demuxer_; }
    Stats stats() const { return demuxer().stats(); }
    void hooksIs(SessionHooks hooks) { hooks_ = std::move(hooks); }
    /// What its carrier knows of the peer, for people: "process 4711".
    String8 const& peerDetail() const noexcept { return peerDetail_; }
    void peerDetailIs(String8 detail) { peerDetail_ = std::move(detail); }

    // Roots of the peer.

    struct PeerOffer {
        /// The full name of its class, which need not be known here.
        String8 type;
        Access access = Access::writable;
    };
    std::map<Name, PeerOffer> const& peerOffers() const noexcept;
    /// Whether the peer has told all that it offers.
    bool areOffersKnown() const noexcept;

    /// Called on each change of a wanted root's state. `root` is the entity here, null until it is mounted;
    /// after that it is the one that was. `why` says why it is absent or refused, and is empty otherwise.
    using WantHook = std::function<void(RootState state, Ptr<Entity> const& root, String8 const& why)>;
    /// Decides which entity the root becomes here: the one made anew, which is given, another one of the same
    /// class, or null to refuse it. A Kor::Exception refuses it, too.
    using Take = std::function<Ptr<Entity>(Ptr<Entity> const& made)>;
    /// Wants the root from now on, in place of an earlier wish; it is mounted as soon as the peer offers it.
    /// Without `take` it is the one made anew. Kor::RangeException for an unsound path or a closed session.
    void want(Name const& path, WantHook hook = {}, Take take = {});
    /// The same into an entity that is there, and whose contents are replaced.
    void want(Name const& path, Ptr<Entity> const& mine, WantHook hook = {});
    /// The root stays as it is, and hears no more of the peer. Nothing happens without such a wish.
    void unwant(Name const& path);
    /// The root that is mounted for a wish, or null.
    Ptr<Entity> root(Name const& path) const;
    RootState rootState(Name const& path) const noexcept;

    // Pushes.

    /// Told whether the peer has taken the entity in, and why it has not; also when it lets it go later, or
    /// gives the place to another process. After `false` the push is over.
    using PushHook = std::function<void(bool accepted, String8 const& why)>;
    /// Mounts an entity of this side towards the peer, in place of an earlier push under the path. Its
    /// contents replace what the peer has; later both can write, or only this side. Kor::RangeException for
    /// an unsound path, a null entity, one without an attribute log, more than the peer takes, a closed
    /// session.
    void push(Name const& path, Ptr<Entity> const& entity, Access access = Access::writable,
              PushHook hook = {}, PushPlace place = PushPlace::ifFree);
    void unpush(Name const& path);

    // Calls.

    /// `ok` is false for an error, and when the session ends before the answer.
    using Reply = std::function<void(bool ok, String8 const& text)>;
    /// Sends the peer a request, behind all changes that were made before it: when the peer handles it, they
    /// are there. One that overtakes them is for what does not depend on them, such as "stats". Requests are
    /// answered in the order in which they go out. Kor::RangeException for a verb or an argument that is too
    /// long, more than maxCalls requests that wait for their answers, and a closed session.
    void call(Name const& verb, String8 const& argument, Reply reply,
              CallOrder order = CallOrder::afterChanges);
    static constexpr U32 maxCalls = 16;

    // Fences.

    /// Asks the peer to say when all that was changed here before this call is applied there, or done; see
    /// attrlog/session/Fence.h. The hook is called once: from receive(), when the session ends (`gone`), also
    /// by its destructor, or at once for a peer whose protocol has no fences (`failed`). Kor::RangeException
    /// for a closed session, and for more than 1024 fences that wait for their answers. `hops` bounds how far
    /// one that asks for all is passed on.
    void fence(FenceLevel level, FenceHook hook, FenceExtent extent = FenceExtent::peer,
               U32 hops = maxFenceHops);
    /// How many fences the peer has not answered yet.
    std::size_t openFences() const noexcept;

    /// The protocols that this program speaks.
    static constexpr U32 lowestProtocol = 2, highestProtocol = 3;
    static constexpr U32 minRecord = 1024;
    /// What a peer sends before all else.
    static constexpr std::array<U8, 8> magic{0x89, 'L', 'o', 'a', 'm', 'L', 'o', 'g'};
    /// How many of the first bytes of a stream, given those so far, are no records, or `more` if that
    /// cannot be told yet. 0 for a stream that is no session's.
    static constexpr std::size_t more = ~std::size_t{0};
    static std::size_t preambleOf(std::span<U8 const> start) noexcept;

    // What the service does.

    void offerChanged(Name const& path);
    /// What the peer pushes under a path has lost its place.
    void pushLost(Name const& path, String8 const& why);
    /// Whether the root that is offered under a path is mounted for the peer.
    bool hasMounted(Name const& path) const noexcept;

private:
    struct Impl;
    SessionConfig config_;
    Ptr<Service> service_;
    SessionHooks hooks_;
    Ptr<Demuxer> demuxer_;
    /// Complete when the session is established.
    PeerHello peer_;
    String8 peerDetail_;
    bool isEstablished_ = false;
    bool isClosedByPeer_ = false;
    std::unique_ptr<Impl> impl_;
};

} // namespace Kor::NboAttrLog
