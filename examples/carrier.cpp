/// Sessions in a loop of one's own, without link/: a driver and an application, each with its poll(), in two
/// processes on the two ends of a socket pair. All that a session asks of its carrier is in carry().

#include "attrlog/session/Session.h"
#include "model/LoamTunnelModel.h"

#include <cerrno>
#include <cstdio>
#include <fcntl.h>
#include <poll.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>

using namespace Hardware;
using namespace Hardware::LoamTunnel;
using Kor::NboAttrLog::Access;
using Kor::NboAttrLog::RootState;
using Kor::NboAttrLog::Service;
using Kor::NboAttrLog::Session;
using Kor::NboAttrLog::SessionConfig;
using Kor::NboAttrLog::Side;

namespace {

/// Sends what waits, until the socket takes no more.
void write(int socket, Session& session) {
    while (session.flow(), !session.out()->readable().empty()) {
        auto const bytes = session.out()->readable();
        ssize_t const sent = ::send(socket, bytes.data(), bytes.size(), MSG_NOSIGNAL);
        if (sent < 0) {
            if (errno != EAGAIN && errno != EINTR) {
                session.cut("the peer is gone");
            }
            return;
        }
        session.out()->nextBytes(static_cast<std::size_t>(sent));
    }
}

/// Applies what has come.
void read(int socket, Session& session) {
    auto const room = session.in()->writable();
    ssize_t const got = ::recv(socket, room.data(), room.size(), 0);
    if (got > 0) {
        session.in()->wrote(static_cast<std::size_t>(got));
        session.receive();
    } else if (got == 0 || (errno != EAGAIN && errno != EINTR)) {
        session.cut("the peer is gone");
    }
}

/// A loop that has other things to do would have more in its list than one socket.
void carry(int socket, Session& session) {
    ::fcntl(socket, F_SETFL, ::fcntl(socket, F_GETFL) | O_NONBLOCK);
    for (;;) {
        write(socket, session);
        if (session.isOver()) {
            return;
        }
        bool const waits = session.out()->pending() != 0;
        pollfd entry{socket, static_cast<short>(POLLIN | (waits ? POLLOUT : 0)), 0};
        if (::poll(&entry, 1, -1) > 0 && (entry.revents & (POLLIN | POLLHUP)) != 0) {
            read(socket, session);
        }
    }
}

/// Gives each LIF that is asked for the next free index.
struct Owner : LifAppConfig::Notifiee {
    explicit Owner(Kor::Ptr<LifAppStatus> const& answers) : status(answers) {}
    Kor::Ptr<LifAppStatus> status;
    Kor::U32 next = 4096;

    void onReqCount(AradLifEntry const& lif) override {
        if (notifier() != nullptr && notifier()->reqCount(lif) != 0) {
            status->lifEntryIs(lif, AradLifIndex(next++, lifBankManaged));
        } else {
            status->lifEntryDel(lif);
        }
    }
};

void driver(int socket) {
    auto const configs = lifAppConfigDirFactory("lifConfig");
    auto const statuses = lifAppStatusDirFactory("lifStatus");
    Kor::Ptr<Owner> owner;
    auto const service = Kor::makePtr<Service>();
    service->offer("lifStatus", statuses, Access::readOnly);
    service->acceptIs("lifConfig", [&](Session& peer, Kor::Name const&, Kor::Ptr<Kor::Entity> const& made) {
        auto const request = Kor::ptrCast<LifAppConfig>(made);
        if (!request) {
            return Kor::Ptr<Kor::Entity>();
        }
        std::printf("driver: %s asks for LIFs\n", peer.peerName().charPtr());
        Kor::Ptr<LifAppConfig> const config = configs->appConfigIs(request->app());
        owner = Kor::observe<Owner>(config, statuses->appStatusIs(request->app()));
        return Kor::Ptr<Kor::Entity>(config);
    });
    auto const session = Kor::makePtr<Session>(Side::accepting, SessionConfig{.name = "driver"}, service);
    carry(socket, *session);
    std::printf("driver: %s\n", session->closeReason().charPtr());
}

/// Waits for its LIF.
struct Asker : LifAppStatus::Notifiee {
    Asker(AradLifEntry const& asked, Session& on) : lif(asked), session(on) {}
    AradLifEntry lif;
    Session& session;
    bool isAnswered = false;

    void onLifEntry(AradLifEntry const& key) override {
        if (notifier() != nullptr && key == lif && !!notifier()->lifEntry(key)) {
            std::printf("application: the LIF has index %u\n", notifier()->lifEntry(key).index());
            isAnswered = true;
            session.close("the application has what it needs");
        }
    }
};

bool application(int socket) {
    auto const config = lifAppConfigFactory(Loam::vtAppMpls);
    AradLifAcMp lif(lifAcMp);
    lif.vsiIs(100);
    config->reqCountInc(lif, 1);

    auto const session = Kor::makePtr<Session>(Side::connecting, SessionConfig{.name = "mpls"});
    Kor::Ptr<Asker> asker;
    session->push("lifConfig", config);
    session->want("lifStatus", [&](RootState state, Kor::Ptr<Kor::Entity> const& root, Kor::String8 const&) {
        if (state == RootState::synchronized) { // it may hold the answer already, or hear of it later
            auto const status = Kor::ptrCast<LifAppStatusDir>(root)->appStatus(Loam::vtAppMpls);
            asker = Kor::observe<Asker>(status, lif, *session);
            asker->onLifEntry(lif);
        }
    });
    carry(socket, *session);
    return asker && asker->isAnswered;
}

} // namespace

int main() {
    std::setvbuf(stdout, nullptr, _IOLBF, 0); // line by line, as it happens
    int sockets[2];
    if (::socketpair(AF_UNIX, SOCK_STREAM, 0, sockets) != 0) {
        return 1;
    }
    std::fflush(stdout);
    pid_t const child = ::fork();
    if (child == 0) {
        ::close(sockets[0]);
        return application(sockets[1]) ? 0 : 1;
    }
    ::close(sockets[1]);
    driver(sockets[0]);
    int status = 1;
    return ::waitpid(child, &status, 0) == child && status == 0 ? 0 : 1;
}
