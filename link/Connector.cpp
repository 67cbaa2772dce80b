#include "link/Connector.h"

#include "link/internal/Connection.h"

#include <algorithm>
#include <cerrno>
#include <memory>
#include <optional>
#include <random>
#include <vector>

namespace Kor::Link {

using NboAttrLog::Session;
using NboAttrLog::Side;

struct Connector::Impl : std::enable_shared_from_this<Connector::Impl> {
    using Clock = Loop::Impl::Clock;

    Impl(Loop& on, Address const& to, ConnectorConfig given)
        : loop(on), address(to), config(std::move(given)), endpoints(endpointsOf(to, false)) {}

    /// In the loop's next step.
    void begin() {
        timer = loop.after(Loop::Duration::zero(), [this] { attempt(); });
    }
    void attempt() {
        int error = 0;
        Socket socket = connectTo(endpoints[tries++ % endpoints.size()], error);
        if (error == EINPROGRESS) {
            connecting.emplace(loop, socket.release());
            timer = loop.after(config.helloTime, [this] { finishConnect(ETIMEDOUT); });
            connecting->toWrite([weak = weak_from_this()](asio::error_code const& aborted) {
                if (auto const self = weak.lock(); self && !aborted && self->connecting) {
                    self->finishConnect(connectError(self->connecting->fd()));
                }
            });
        } else if (error != 0) {
            lost(format("cannot connect to %s: %s", address.text().c_str(), errorText(error).charPtr()));
        } else {
            connected(std::move(socket));
        }
    }
    void finishConnect(int error) {
        Socket socket(connecting->release());
        connecting.reset();
        if (error != 0) {
            lost(format("cannot connect to %s: %s", address.text().c_str(), errorText(error).charPtr()));
        } else {
            connected(std::move(socket));
        }
    }
    void connected(Socket socket) {
        timer.cancel();
        String8 const refusal = refusalOf(socket.fd(), config);
        auto const session = makePtr<Session>(Side::connecting, config.session, config.service, config.hooks);
        if (refusal.empty() && config.setUp) {
            config.setUp(*session);
        }
        connection = std::make_shared<Connection>(
            loop, std::move(socket), session, config,
            [weak = weak_from_this()](Connection& ended, String8 const& reason) {
                if (auto const self = weak.lock(); self && self->connection.get() == &ended) {
                    self->connection.reset();
                    bool const wasThere = ended.session()->peer() != nullptr;
                    if (wasThere && Clock::now() - self->since > self->wait) {
                        self->wait = std::chrono::milliseconds(0);
                    }
                    self->lost(reason);
                }
            });
        since = Clock::now();
        connection->start();
        if (!refusal.empty()) {
            session->close(refusal);
        }
    }
    void lost(String8 const& reason) {
        lastReason = reason;
        if (isClosed) {
            return;
        }
        if (!config.reconnects) {
            isClosed = true;
            tell(reason, std::chrono::milliseconds(0));
            return;
        }
        wait = wait.count() == 0 ? config.firstWait : std::min(wait * 2, config.mostWait);
        std::uniform_int_distribution<S64> part(wait.count() / 2, wait.count());
        std::chrono::milliseconds const next(part(random));
        timer = loop.after(next, [this] { attempt(); });
        tell(reason, next);
    }
    void tell(String8 const& reason, std::chrono::milliseconds next) const {
        if (auto const hook = config.lost) {
            hook(reason, next);
        }
    }
    void stop(String8 const& reason) {
        isClosed = true;
        timer.cancel();
        if (connecting) {
            connecting.reset();
            lastReason = reason;
        }
    }
    void close(String8 const& reason) {
        stop(reason);
        if (connection) {
            connection->session()->close(reason);
        }
    }

    Loop& loop;
    Address address;
    ConnectorConfig config;
    std::vector<Endpoint> endpoints;
    std::optional<Waiting> connecting;
    std::shared_ptr<Connection> connection;
    Timer timer;
    String8 lastReason;
    /// Made while there is memory.
    String8 const goodbye{"the client ends"};
    U64 tries = 0;
    std::chrono::milliseconds wait{0};
    Clock::time_point since;
    bool isClosed = false;
    std::minstd_rand random{std::random_device{}()};
};

Connector::Connector(Loop& loop, Address const& address, ConnectorConfig config)
    : impl_(std::make_shared<Impl>(loop, address, std::move(config))) {
    impl_->begin();
}

Connector::~Connector() {
    impl_->stop(impl_->goodbye);
    if (auto const connection = impl_->connection) {
        connection->finish(impl_->goodbye);
    }
}

Address const& Connector::address() const noexcept {
    return impl_->address;
}

Ptr<Session> Connector::session() const {
    return impl_->connection && impl_->connection->session()->isOpen() ? impl_->connection->session()
                                                                       : nullptr;
}

bool Connector::isEstablished() const {
    return impl_->connection && impl_->connection->session()->isEstablished();
}

bool Connector::isOver() const noexcept {
    return impl_->isClosed && !impl_->connection;
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
