/// Two processes over a socket, one of which is killed again and again.

#include "support/Link.h"

#include <csignal>
#include <fcntl.h>
#include <gtest/gtest.h>
#include <poll.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>
#include <vector>

namespace {

using namespace Kor;
using namespace Kor::NboAttrLog;
using namespace Hardware;
using namespace Hardware::LoamTunnel;
using support::Random;

constexpr StreamLimits smallRings{4096, 512, 1000};

/// The same for the same state, whatever the order.
U64 digest(LifAppConfigDir const& dir) {
    U64 sum = dir.appConfigMap().count();
    for (auto const& child : dir.appConfigMap()) {
        for (auto const& each : child.reqCountMap()) {
            sum += (U64{each.key.hash()} << 8 | child.fwkKey()) * (2 * U64{each.value} + 1);
        }
    }
    return sum;
}

/// One end: a demultiplexer and its socket, which does not block.
struct End {
    Ptr<Demuxer> demuxer;
    int socket;
    U64 sent = 0, received = 0;

    /// Moves what can be moved; false at the end of the stream.
    bool step() {
        demuxer->flow();
        for (auto bytes = demuxer->out()->readable(); !bytes.empty(); bytes = demuxer->out()->readable()) {
            ssize_t const n = send(socket, bytes.data(), bytes.size(), MSG_NOSIGNAL);
            if (n <= 0) {
                break;
            }
            demuxer->out()->nextBytes(static_cast<std::size_t>(n));
            sent += static_cast<U64>(n);
        }
        auto const to = demuxer->in()->writable();
        ssize_t const n = read(socket, to.data(), to.size());
        if (n > 0) {
            demuxer->in()->wrote(static_cast<std::size_t>(n));
            received += static_cast<U64>(n);
            demuxer->receive();
        }
        return n != 0 && demuxer->isOpen();
    }
    bool isIdle() const { return !demuxer->hasWork() && demuxer->out()->pending() == 0; }
    void wait() const {
        pollfd poll{socket, static_cast<short>(isIdle() ? POLLIN : POLLIN | POLLOUT), 0};
        ::poll(&poll, 1, 20);
    }
};

/// What the child answers when it has got all of what the parent has sent.
struct Report {
    U64 sent = 0;
    U64 digest = 0;
};

/// The child: keeps a copy, and writes an answer of its own for each third key that changes.
struct AnsweringThirds : LifAppConfig::Notifiee {
    void onReqCount(AradLifEntry const& key) override {
        if (key.dword1() == 0 && key.dword0() % 3 == 0) {
            notifier()->reqCountIs(AradLifEntry(lifAcMp, key.dword0(), 1), notifier()->reqCount(key));
        }
    }
};
[[noreturn]] void runChild(int socket, int asked, int answers) {
    End end{makePtr<Demuxer>(Side::accepting, smallRings), socket};
    Ptr<LifAppConfigDir> copy;
    struct Children : LifAppConfigDir::Notifiee {
        void onAppConfig(Loam::VtAppId const& app) override {
            if (auto const child = notifier()->appConfig(app)) {
                auto const reactor = makePtr<AnsweringThirds>();
                reactor->isRegisteredNotifieeIs(true);
                reactor->notifierIs(child);
                reactors.push_back(reactor);
            }
        }
        std::vector<Ptr<AnsweringThirds>> reactors;
    };
    auto const children = makePtr<Children>();
    end.demuxer->rootHookIs([&](Ptr<Entity> const& offered) {
        copy = ptrCast<LifAppConfigDir>(offered);
        children->isRegisteredNotifieeIs(true);
        children->notifierIs(copy);
        return offered;
    });
    U64 awaited = ~U64{0};
    for (;;) {
        if (awaited == ~U64{0}) {
            static_cast<void>(read(asked, &awaited, sizeof awaited));
        }
        if (!end.step()) {
            _exit(0);
        }
        if (end.received == awaited && end.isIdle()) {
            Report const report{end.sent, copy ? digest(*copy) : 0};
            static_cast<void>(write(answers, &report, sizeof report));
            awaited = ~U64{0};
        }
        end.wait();
    }
}

TEST(Process, ACopyIsWholeAgainAfterEachKill) {
    Random random;
    auto const dir = lifAppConfigDirFactory("lif");
    int const rounds = std::getenv("LOAM_LONG") != nullptr ? 300 : 12;
    for (int round = 0; round < rounds; ++round) {
        int sockets[2], asked[2], answers[2];
        ASSERT_EQ(socketpair(AF_UNIX, SOCK_STREAM | SOCK_NONBLOCK, 0, sockets), 0);
        ASSERT_EQ(pipe2(asked, O_NONBLOCK), 0);
        ASSERT_EQ(pipe2(answers, O_NONBLOCK), 0);
        pid_t const child = fork();
        ASSERT_GE(child, 0);
        if (child == 0) {
            close(sockets[0]);
            runChild(sockets[1], asked[0], answers[1]);
        }
        close(sockets[1]);
        close(answers[1]);
        End end{makePtr<Demuxer>(Side::connecting, smallRings), sockets[0]};
        end.demuxer->mount(dir);
        bool const isKilled = round % 2 == 0;
        U32 const steps = random.below(isKilled ? 60 : 20);
        for (U32 step = 0; step < steps; ++step) {
            for (U32 i = random.below(200); i-- > 0;) {
                auto const app = random.below(2) != 0 ? Loam::vtAppMpls : Loam::vtAppVxlan;
                AradLifEntry const key(lifAcMp, random.below(500), 0);
                if (U32 const what = random.below(100); what == 0) {
                    dir->appConfigDel(app);
                } else if (what < 20) {
                    dir->appConfigIs(app)->reqCountDel(key);
                } else {
                    dir->appConfigIs(app)->reqCountIs(key, static_cast<U32>(random.next()));
                }
            }
            end.step();
        }
        if (isKilled) {
            kill(child, SIGKILL);
            while (end.step()) { // what was under way, and then its end
                end.wait();
            }
            end.demuxer->close("the peer is gone");
        } else {
            // Quiet: until neither has got anything more than when it was asked last.
            Report report;
            for (bool isQuiet = false; !isQuiet;) {
                while (!end.isIdle()) {
                    ASSERT_TRUE(end.step()) << end.demuxer->closeReason().charPtr();
                    end.wait();
                }
                U64 const sent = end.sent;
                ASSERT_EQ(write(asked[1], &sent, sizeof sent), static_cast<ssize_t>(sizeof sent));
                bool isAnswered = false;
                while (!isAnswered || end.received != report.sent) {
                    isAnswered = isAnswered || read(answers[0], &report, sizeof report) == sizeof report;
                    ASSERT_TRUE(end.step()) << end.demuxer->closeReason().charPtr();
                    end.wait();
                }
                isQuiet = end.sent == sent && end.isIdle();
            }
            EXPECT_EQ(report.digest, digest(*dir)) << "round " << round;
            EXPECT_EQ(end.demuxer->stats().refusedRecords, 0u);
            kill(child, SIGKILL);
        }
        int status = 0;
        waitpid(child, &status, 0);
        for (int const fd : {sockets[0], asked[0], asked[1], answers[0]}) {
            close(fd);
        }
    }
    EXPECT_EQ(dir->references(), 1u);
}

} // namespace
