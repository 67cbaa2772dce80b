#include "link/Listener.h"

#include "link/internal/Connection.h"

#include <algorithm>
#include <cerrno>
#include <memory>
#include <string>
#include <vector>

namespace Kor::Link {

using NboAttrLog::Session;
using NboAttrLog::SessionConfig;
using NboAttrLog::Side;

struct Listener::Impl : std::enable_shared_from_this<Listener::Impl> {
    struct Peer {
        std::weak_ptr<Connection> connection;
        std::string owner;

        bool isOpen() const {
            auto const there = connection.lock();
            return there && there->session()->isOpen();
        }
    };

    /// Made while there is memory.
    String8 const goodbye{"the server ends"};

    Impl(Loop& on, Address const& address, ListenerConfig given)
        : loop(on), config(std::move(given)), listening(listenOn(address)),
          acceptor(on, listening.socket.fd()) {}
    ~Impl() { stop(); }

    void waitToAccept() {
        acceptor.toRead([weak = weak_from_this()](asio::error_code const& error) {
            if (auto const self = weak.lock(); self && !error) {
                self->acceptAll();
            }
        });
    }
    void acceptAll() {
        constexpr int peersAtOnce = 16;
        for (int i = 0; i < peersAtOnce && listening.socket; ++i) {
            int error = 0;
            Socket peer = acceptFrom(listening.socket.fd(), error);
            if (peer) {
                try {
                    take(std::move(peer));
                } catch (...) {
                    waitToAccept();
                    throw;
                }
            } else if (error == 0) {
                break;
            } else if (error != ECONNABORTED && error != EPROTO) {
                // Out of files or memory: it gets better, or not, but not by asking at once.
                constexpr std::chrono::milliseconds pause(100);
                pausing = loop.after(pause, [this] { waitToAccept(); });
                return;
            }
        }
        if (listening.socket) {
            waitToAccept();
            loop.impl().watch.wake(); // more may wait, of whom a program's own poll() was told already
        }
    }
    void take(Socket socket) {
        std::erase_if(connections, [](Peer const& each) { return each.connection.expired(); });
        String8 refusal = refusalOf(socket.fd(), config);
        std::string const owner = ownerOf(socket.fd());
        std::size_t const open = openCount();
        if (refusal.empty()) {
            refusal = refusalOfMore(owner, open);
        }
        bool const isRefused = !refusal.empty();
        if (isRefused && config.service) {
            ++config.service->count("connectionsRefused");
        }
        if (isRefused && connections.size() >= open + maxRefused) {
            return; // not even told: the many that are told must not cost much
        }
        auto const session =
            isRefused ? makePtr<Session>(Side::accepting, SessionConfig{config.session.name, 0, {0, 0, 1}, 0})
                      : makePtr<Session>(Side::accepting, config.session, config.service, config.hooks);
        if (!isRefused && config.setUp) {
            config.setUp(*session);
        }
        auto const connection =
            std::make_shared<Connection>(loop, std::move(socket), session, config, Connection::End());
        connections.push_back({connection, owner});
        connection->start();
        if (isRefused) {
            session->close(refusal);
            if (config.refused) {
                config.refused(refusal);
            }
        }
    }
    String8 refusalOfMore(std::string const& owner, std::size_t open) const {
        if (open >= config.sessions) {
            return format("there are %u sessions already, which is the limit", config.sessions);
        }
        auto const own = static_cast<std::size_t>(std::ranges::count_if(
            connections, [&](Peer const& each) { return each.isOpen() && each.owner == owner; }));
        std::size_t const leftByOthers = config.sessions - (open - own);
        if (!owner.empty() && own >= (leftByOthers + 1) / 2) {
            return format("%s has %zu sessions already; the other half of what is free is for others",
                          owner.c_str(), own);
        }
        return {};
    }
    std::size_t openCount() const {
        return static_cast<std::size_t>(std::ranges::count_if(connections, &Peer::isOpen));
    }
    void stop() {
        if (!listening.socket) {
            return;
        }
        pausing.cancel();
        static_cast<void>(acceptor.release());
        removeFileOf(listening);
        listening.socket = Socket();
    }
    void close(String8 const& reason) {
        stop();
        for (auto const& each : std::vector(connections)) {
            if (auto const connection = each.connection.lock()) {
                connection->session()->close(reason);
            }
        }
    }

    static constexpr std::size_t maxRefused = 32;

    Loop& loop;
    ListenerConfig config;
    Listening listening;
    Waiting acceptor;
    Timer pausing;
    std::vector<Peer> connections;
};

Listener::Listener(Loop& loop, Address const& address, ListenerConfig config)
    : impl_(std::make_shared<Impl>(loop, address, std::move(config))) {
    if (impl_->config.service) {
        impl_->config.service->count("connectionsRefused"); // that there are none is told, too
    }
    impl_->waitToAccept();
}

Listener::~Listener() {
    impl_->stop();
    for (auto const& each : std::exchange(impl_->connections, {})) {
        if (auto const connection = each.connection.lock()) {
            connection->finish(impl_->goodbye);
        }
    }
}

Address const& Listener::address() const noexcept {
    return impl_->listening.address;
}

std::vector<Ptr<Session>> Listener::sessions() const {
    std::vector<Ptr<Session>> open;
    for (auto const& each : impl_->connections) {
        if (auto const connection = each.connection.lock(); connection && connection->session()->isOpen()) {
            open.emplace_back(connection->session());
        }
    }
    return open;
}

void Listener::close(String8 const& reason) {
    impl_->close(reason);
}

} // namespace Kor::Link
