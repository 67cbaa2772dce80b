#include "link/Listener.h"

#include "link/Connection.h"
#include "link/Endpoints.h"

#include <algorithm>
#include <asio/basic_socket_acceptor.hpp>
#include <cerrno>
#include <sys/stat.h>
#include <system_error>
#include <unistd.h>
#include <utility>

namespace Kor::Link {

using NboAttrLog::Session;
using NboAttrLog::Side;

namespace {

[[noreturn]] void refuse(Address const& address, std::string const& why) {
    throwRangeException(format("cannot listen at %s: %s", address.text().c_str(), why.c_str()).charPtr());
}

/// Removes the socket that a dead server has left.
void clear(asio::io_context& io, Address const& address) {
    struct stat there {};
    if (::lstat(address.path().c_str(), &there) != 0) {
        return;
    }
    if (!S_ISSOCK(there.st_mode)) {
        refuse(address, "there is a file that is no socket");
    }
    asio::local::stream_protocol::socket probe(io);
    asio::error_code error;
    probe.connect(asio::local::stream_protocol::endpoint(address.path()), error);
    if (!error || error == asio::error::would_block || error == asio::error::try_again) {
        refuse(address, "a server is there already");
    }
    if (error != asio::error::connection_refused) {
        refuse(address, error.message());
    }
    if (::unlink(address.path().c_str()) != 0) {
        refuse(address, std::generic_category().message(errno));
    }
}

/// For a scope, new files are their owner's alone.
class OwnFiles {
public:
    OwnFiles() : before_(::umask(0177)) {}
    ~OwnFiles() { ::umask(before_); }
    OwnFiles(OwnFiles const&) = delete;
    OwnFiles& operator=(OwnFiles const&) = delete;

private:
    mode_t before_;
};

} // namespace

struct Listener::Impl : std::enable_shared_from_this<Listener::Impl> {
    using Acceptor = asio::basic_socket_acceptor<asio::generic::stream_protocol>;

    Impl(Loop::Impl& theLoop, Address theAddress, ListenerConfig theConfig)
        : loop(theLoop), address(std::move(theAddress)), config(std::move(theConfig)), acceptor(loop.io),
          retry(loop.io) {}

    void open() {
        if (address.kind() == Address::Kind::local) {
            clear(loop.io, address);
        }
        Endpoint const endpoint = endpointsOf(loop.io, address).front();
        asio::error_code error;
        acceptor.open(endpoint.protocol(), error);
        if (!error && address.kind() == Address::Kind::tcp) {
            acceptor.set_option(asio::socket_base::reuse_address(true), error);
        }
        if (!error) {
            OwnFiles const own;
            acceptor.bind(endpoint, error);
        }
        if (!error) {
            acceptor.listen(asio::socket_base::max_listen_connections, error);
        }
        if (error) {
            refuse(address, error.message());
        }
        if (address.kind() == Address::Kind::local) {
            struct stat made {};
            ::lstat(address.path().c_str(), &made);
            inode = made.st_ino;
        } else {
            asio::ip::tcp::endpoint bound;
            Endpoint const here = acceptor.local_endpoint();
            bound.resize(here.size());
            std::copy_n(reinterpret_cast<U8 const*>(here.data()), here.size(),
                        reinterpret_cast<U8*>(bound.data()));
            address = Address::tcp(address.host(), bound.port());
        }
        accept();
    }

    void accept() {
        acceptor.async_accept(
            [weak = weak_from_this()](asio::error_code const& error, Connection::Socket socket) {
                std::shared_ptr<Impl> const self = weak.lock();
                if (!self || !self->acceptor.is_open()) {
                    return;
                }
                if (error) { // no more files, perhaps: later there may be
                    self->retry.expires_after(std::chrono::milliseconds(100));
                    self->retry.async_wait([weak](asio::error_code const& gone) {
                        if (std::shared_ptr<Impl> const again = weak.lock(); again && !gone) {
                            again->accept();
                        }
                    });
                    return;
                }
                self->accept();
                self->serve(std::move(socket));
            });
    }

    void serve(Connection::Socket socket) {
        if (address.kind() == Address::Kind::tcp) {
            asio::error_code ignored; // it is faster with, and works without
            socket.set_option(asio::ip::tcp::no_delay(true), ignored);
        }
        bool const isFull = connections.size() >= config.sessions;
        auto const session =
            makePtr<Session>(Side::accepting, config.session, isFull ? nullptr : config.service,
                             isFull ? NboAttrLog::SessionHooks{} : config.hooks);
        auto const connection =
            std::make_shared<Connection>(loop, std::move(socket), session, config, nullptr);
        connection->overIs([weak = weak_from_this(), gone = std::weak_ptr(connection)] {
            if (std::shared_ptr<Impl> const self = weak.lock()) {
                std::erase(self->connections, gone.lock());
            }
        });
        connections.push_back(connection);
        if (isFull) {
            session->close("there are too many peers");
        } else if (config.setUp) {
            config.setUp(*session);
        }
        connection->start(config);
    }

    void close(String8 const& reason) {
        asio::error_code ignored; // it is the end
        bool const wasOpen = acceptor.is_open();
        acceptor.close(ignored);
        retry.cancel();
        if (wasOpen && address.kind() == Address::Kind::local) {
            struct stat there {};
            if (::lstat(address.path().c_str(), &there) == 0 && there.st_ino == inode) {
                ::unlink(address.path().c_str());
            }
        }
        for (auto const& connection : std::exchange(connections, {})) {
            connection->drop(reason);
        }
    }

    Loop::Impl& loop;
    Address address;
    ListenerConfig config;
    Acceptor acceptor;
    asio::steady_timer retry;
    ino_t inode = 0;
    std::vector<std::shared_ptr<Connection>> connections;
};

Listener::Listener(Loop& loop, Address const& address, ListenerConfig config)
    : impl_(std::make_shared<Impl>(loop.impl(), address, std::move(config))) {
    impl_->open();
}

Listener::~Listener() {
    impl_->close("the server ends");
}

Address const& Listener::address() const noexcept {
    return impl_->address;
}

std::vector<Ptr<Session>> Listener::sessions() const {
    std::vector<Ptr<Session>> all;
    all.reserve(impl_->connections.size());
    for (auto const& connection : impl_->connections) {
        all.push_back(connection->session());
    }
    return all;
}

void Listener::close(String8 const& reason) {
    impl_->close(reason);
}

} // namespace Kor::Link
