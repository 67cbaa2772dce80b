#pragma once

/// Hardware::LoamTunnel::FakeOwner, an owner of LIFs for the tests of an application: no chip, no files, no
/// clock. It answers requests as the test tells it: at once, late, refused, full, after a restart.
///
///     FakeOwner owner;
///     auto session = Kor::makePtr<Session>(Side::connecting, SessionConfig{.name = "mpls"});
///     application.setUp(*session);                  // wants "lifStatus", pushes its LifAppConfig as "lifConfig"
///     owner.connect(session);
///     owner.run();                                  // until nothing moves
///     EXPECT_EQ(owner.placed(vtAppMpls), 3u);
///
///     owner.isHoldingIs(true);                      // from now on it hears and does not answer
///     application.ask(lif);
///     owner.run();
///     ...                                           // what does the application do meanwhile?
///     owner.answer();                               // the oldest request that waits
///
///     owner.capacityIs(3);                          // full: a fence `done` fails with the words
///     owner.refusalIs([](auto app, auto const& lif) { return lif.lifType() == lifAcMp ? "not here" : ""; });
///     owner.restart();                              // the connection is lost; places are kept, or not
///
/// An application that connects by a socket is served by a Kor::Link::Listener with service(); then run() is
/// not needed. Places are indexes of bank lifBankManaged, the lowest free first, over all applications.
///
/// Do not use it as the start of a driver: docs/drivers.md has one. It belongs to one thread, that of the
/// sessions. Nothing here throws but connect(), which raises Kor::RangeException for a null session.

#include "attrlog/session/Session.h"
#include "model/LifApps.h"
#include "owner/IndexAllocator.h"

#include <deque>
#include <functional>
#include <map>
#include <set>
#include <string>
#include <vector>

namespace Hardware::LoamTunnel {

class KOR_EXPORT FakeOwner {
public:
    using App = Loam::VtAppId;
    using Session = Kor::NboAttrLog::Session;

    FakeOwner();
    ~FakeOwner();
    FakeOwner(FakeOwner const&) = delete;
    FakeOwner& operator=(FakeOwner const&) = delete;

    // Connections.

    /// Carries the bytes of that session, which has Side::connecting, from and to this owner, as run() goes.
    void connect(Kor::Ptr<Session> const& application);
    /// Carries bytes until nothing moves any more, at most `most` bytes at a time each way.
    void run(std::size_t most = ~std::size_t{0});
    /// For a listener. Another one after restart().
    Kor::Ptr<Kor::NboAttrLog::Service> const& service() const noexcept { return service_; }

    // How it answers.

    /// Requests are heard, and wait until answer() or until this ends, which answers all.
    void isHoldingIs(bool isHolding);
    /// Answers so many that wait, the oldest first; how many it was.
    std::size_t answer(std::size_t most = 1);
    std::size_t waiting() const noexcept { return waiting_.size(); }
    /// Says why a LIF gets no place; an empty text if it gets one. Null: each gets one.
    using Refusal = std::function<std::string(App app, AradLifEntry const& lif)>;
    void refusalIs(Refusal refusal) { refusal_ = std::move(refusal); }
    /// How many LIFs have room, those of all applications together. What has a place keeps it.
    void capacityIs(U32 capacity) noexcept { capacity_ = capacity; }
    /// Why no push is taken in; empty: each is.
    void pushRefusalIs(std::string why) { pushRefusal_ = std::move(why); }
    /// All connections are lost, as if its process had died. Begins with what had a place, or with nothing.
    void restart(bool keepsPlaces = true);

    // What it has.

    /// What an application asks for; null before its first push.
    Kor::Ptr<LifAppConfig const> requests(App app) const;
    /// The places of an application.
    std::map<AradLifEntry, AradLifIndex> places(App app) const;
    U32 placed(App app) const { return static_cast<U32>(places(app).size()); }
    /// Why requests of an application have no place, by LIF.
    std::map<AradLifEntry, std::string> refused(App app) const;

private:
    class Requests;
    struct Request {
        App app;
        AradLifEntry lif;
    };
    struct Wire {
        Kor::Ptr<Session> application, mine;
    };
    struct Application;

    void serve();
    void heard(App app, AradLifEntry const& lif);
    void decide(Request const& request);
    std::string reasonAgainst(Request const& request) const;
    void reached(Session& peer, Kor::Ptr<Kor::NboAttrLog::Fence> const& fence);
    void settleFences();
    void lose();

    Kor::Ptr<Kor::NboAttrLog::Service> service_;
    Kor::Ptr<LifAppConfigDir> configs_;
    Kor::Ptr<LifAppStatusDir> statuses_;
    std::map<App, Application> applications_;
    IndexAllocator indexes_;
    U32 capacity_;
    Refusal refusal_;
    std::string pushRefusal_;
    std::deque<Request> waiting_;
    std::vector<Wire> wires_;
    struct Waits {
        Kor::Ptr<Kor::NboAttrLog::Fence> fence;
        std::set<App> apps;
    };
    std::vector<Waits> fences_;
    bool isHolding_ = false;
};

} // namespace Hardware::LoamTunnel
