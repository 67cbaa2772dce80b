#include "link/Connector.h"

#include "link/Connection.h"
#include "link/Endpoints.h"

#include <algorithm>
#include <random>
#include <utility>

namespace Kor::Link {

using NboAttrLog::Session;
using NboAttrLog::Side;

struct Connector::Impl : std::enable_shared_from_this<Connector::Impl> {
    Impl(Loop::Impl& theLoop, Address const& theAddress, ConnectorConfig theConfig)
        : loop(theLoop), address(theAddress), config(std::move(theConfig)),
          endpoints(endpointsOf(loop.io, address)), timer(loop.io), wait(config.firstWait) {}

    void tryAfter(std::chrono::milliseconds time) {
        timer.expires_after(time);
        timer.async_wait([weak = weak_from_this()](asio::error_code const& gone) {
            if (std::shared_ptr<Impl> const self = weak.lock(); self && !gone && !self->isOver) {
                ++self->tries;
                self->connect(0);
            }
        });
    }

    void connect(std::size_t index) {
        auto const socket = std::make_shared<Connection::Socket>(loop.io);
        pending = socket;
        socket->async_connect(endpoints[index],
                              [weak = weak_from_this(), socket, index](asio::error_code const& error) {
                                  std::shared_ptr<Impl> const self = weak.lock();
                                  if (!self || self->isOver) {
                                      return;
                                  }
                                  if (!error) {
                                      self->begin(std::move(*socket));
                                  } else if (index + 1 < self->endpoints.size()) {
                                      self->connect(index + 1);
                                  } else {
                                      self->lost(String8(error.message()));
                                  }
                              });
    }

    void begin(Connection::Socket socket) {
        if (address.kind() == Address::Kind::tcp) {
            asio::error_code ignored; // it is faster with, and works without
            socket.set_option(asio::ip::tcp::no_delay(true), ignored);
        }
        NboAttrLog::SessionHooks hooks = config.hooks;
        hooks.established = [weak = weak_from_this(), next = hooks.established](Session& session) {
            if (std::shared_ptr<Impl> const self = weak.lock()) {
                self->wait = self->config.firstWait;
            }
            if (next) {
                next(session);
            }
        };
        auto const session =
            makePtr<Session>(Side::connecting, config.session, config.service, std::move(hooks));
        connection = std::make_shared<Connection>(loop, std::move(socket), session, config, nullptr);
        connection->overIs([weak = weak_from_this(), session] {
            if (std::shared_ptr<Impl> const self = weak.lock()) {
                self->lost(session->closeReason());
            }
        });
        std::shared_ptr<Connection> const current = connection;
        if (config.setUp) {
            config.setUp(*session);
        }
        current->start(config);
    }

    void lost(String8 const& reason) {
        connection = nullptr;
        lastReason = reason;
        isOver = isOver || !config.reconnects;
        std::chrono::milliseconds time{0};
        if (!isOver) {
            std::uniform_int_distribution<std::chrono::milliseconds::rep> part(wait.count() / 2,
                                                                               wait.count());
            time = std::chrono::milliseconds(part(random));
            wait = std::min(wait * 2, config.mostWait);
            tryAfter(time);
        }
        if (config.lost) {
            config.lost(reason, time);
        }
    }

    void close(String8 const& reason) {
        isOver = true;
        timer.cancel();
        if (auto const socket = pending.lock()) {
            asio::error_code ignored; // it is the end
            socket->close(ignored);
        }
        if (std::shared_ptr<Connection> const current = connection) {
            current->session()->close(reason);
            current->pump();
        }
    }

    Loop::Impl& loop;
    Address address;
    ConnectorConfig config;
    std::vector<Endpoint> endpoints;
    asio::steady_timer timer;
    std::chrono::milliseconds wait;
    std::weak_ptr<Connection::Socket> pending;
    std::shared_ptr<Connection> connection;
    String8 lastReason;
    U64 tries = 0;
    bool isOver = false;
    std::minstd_rand random{std::random_device{}()};
};

Connector::Connector(Loop& loop, Address const& address, ConnectorConfig config)
    : impl_(std::make_shared<Impl>(loop.impl(), address, std::move(config))) {
    impl_->tryAfter(std::chrono::milliseconds(0));
}

Connector::~Connector() {
    impl_->close("ended");
    if (std::shared_ptr<Connection> const connection = std::exchange(impl_->connection, nullptr)) {
        connection->drop("ended");
    }
}

Address const& Connector::address() const noexcept {
    return impl_->address;
}

Ptr<Session> Connector::session() const {
    return impl_->connection ? impl_->connection->session() : nullptr;
}

bool Connector::isEstablished() const {
    return impl_->connection && impl_->connection->session()->isEstablished();
}

bool Connector::isOver() const noexcept {
    return impl_->isOver && !impl_->connection;
}

String8 const& Connector::lastReason() const noexcept {
    return impl_->lastReason;
}

U64 Connector::tries() const noexcept {
    return impl_->tries;
}

void Connector::close(String8 const& reason) {
    impl_->close(reason);
}

} // namespace Kor::Link
