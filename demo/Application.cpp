/// `loamtunnel driver` and `loamtunnel application`, the two sides of a LIF: who has the chip, and who asks.

#include "demo/Demo.h"
#include "demo/LifDriver.h"
#include "forms/Diagnostics.h"
#include "forms/Entries.h"
#include "link/Connector.h"
#include "link/Listener.h"
#include "link/LockFile.h"
#include "reflect/Text.h"
#include "tools/Live.h"
#include "tools/Messages.h"
#include "tools/Terminal.h"

#include <algorithm>
#include <functional>
#include <ostream>
#include <string>
#include <unordered_map>
#include <vector>

namespace tool {

using namespace Hardware;
using namespace Hardware::LoamTunnel;
using namespace Kor::NboAttrLog;

namespace {

/// Asks for LIFs, one after the other, each when the one before has its place. So the places do not depend on
/// how often the connection, the driver or the application itself has been lost on the way.
class Application {
public:
    Application(Context& context, ApplicationOptions const& options, Kor::Link::Loop& loop)
        : context_(context), options_(options), loop_(loop), lifs_(lifsOf(context, options)),
          config_(lifAppConfigFactory(options.app)) {
        for (AradLifEntry const& lif : lifs_) {
            ++counts_[lif];
        }
    }

    void setUp(Session& session) {
        session.want(Kor::Name("lifStatus"), [this, current = &session](RootState state,
                                                                        Kor::Ptr<Kor::Entity> const& root,
                                                                        Kor::String8 const& why) {
            if (state == RootState::synchronized) {
                auto const statuses = Kor::ptrCast<LifAppStatusDir>(root);
                if (!statuses) {
                    context_.report("lifStatus of the peer is no LifAppStatusDir: it is no driver");
                    loop_.stop();
                    return;
                }
                statusIs(*current, statuses);
            } else if (state == RootState::refused) {
                context_.report("no answers to be had: " + std::string(why.view()));
                loop_.stop();
            }
        });
    }
    /// One step; true when all is done.
    bool step() {
        if (!statuses_ || !session_->isOpen()) {
            return false;
        }
        auto const status = std::as_const(*statuses_).appStatus(options_.app);
        auto const isPlaced = [&](AradLifEntry const& lif) { return status && !!status->lifEntry(lif); };
        if (phase_ == Phase::asking) {
            for (;;) {
                if (next_ != 0 && !isPlaced(lifs_[next_ - 1])) {
                    return false;
                }
                if (next_ == lifs_.size()) {
                    break;
                }
                AradLifEntry const& lif = lifs_[next_++];
                if (config_->reqCount(lif) != counts_[lif]) {
                    config_->reqCountInc(lif, 1);
                    return false;
                } // else it was there from the start, and no answer will come
            }
            for (U64 i = 0; i < options_.withdraw && i < lifs_.size(); ++i) {
                AradLifEntry const& lif = lifs_[lifs_.size() - 1 - i];
                if (config_->reqCountDec(lif, 1) == 0) {
                    withdrawn_.push_back(lif);
                }
            }
            phase_ = Phase::withdrawing;
        }
        for (AradLifEntry const& lif : withdrawn_) {
            if (isPlaced(lif)) {
                return false;
            }
        }
        for (AradLifEntry const& lif : withdrawn_) {
            config_->reqCountDel(lif);
        }
        withdrawn_.clear();
        return !session_->demuxer().hasWork();
    }
    std::string progress() const {
        return std::to_string(next_) + " of " + std::to_string(lifs_.size()) + " requests made, " +
               std::to_string(config_->reqCountMap().count()) + " LIFs";
    }
    /// What it waits for.
    std::string awaited() const {
        if (!isConnected()) {
            return "waits for the connection to the driver";
        }
        if (phase_ == Phase::asking && next_ != 0) {
            return "waits for the place of " + Forms::shown(shortText(*Kor::boxOf(lifs_[next_ - 1])), 200);
        }
        return withdrawn_.empty() ? "waits for the driver to have done all of it"
                                  : "waits until " + std::to_string(withdrawn_.size()) +
                                        " LIFs that were taken back have gone";
    }
    Session& session() { return *session_; }
    bool isConnected() const { return session_ && session_->isEstablished(); }

private:
    enum class Phase { asking, withdrawing };

    static std::vector<AradLifEntry> lifsOf(Context& context, ApplicationOptions const& options) {
        std::vector<AradLifEntry> lifs;
        eachLine(context, options.file, [&](std::string const& text, std::string const&) {
            Entry const entry = parseEntry(text);
            if (options.kinds.empty() || std::ranges::any_of(options.kinds, [&](std::string const& kind) {
                    return entry.kind->isCalled(kind);
                })) {
                lifs.push_back(lifOf(entry));
            }
        });
        if (context.status != 0 || lifs.empty()) {
            throw Refused("nothing to ask for in " + shown(options.file));
        }
        return lifs;
    }
    /// What has a place already, from before this process, is asked for as before: all of it at once, so that
    /// the driver does not take it for withdrawn.
    void statusIs(Session& session, Kor::Ptr<LifAppStatusDir> const& statuses) {
        session_ = Kor::Ptr<Session>(&session);
        statuses_ = statuses;
        auto const status = std::as_const(*statuses).appStatus(options_.app);
        if (!isPushed_ && status) {
            for (auto const& [lif, count] : counts_) {
                if (!!status->lifEntry(lif)) {
                    config_->reqCountIs(lif, count);
                }
            }
        }
        if (pushedTo_ != session_) {
            session.push(Kor::Name("lifConfig"), config_, Access::writable,
                         [this](bool accepted, Kor::String8 const& why) {
                             if (!accepted) {
                                 context_.report("requests are not accepted: " + std::string(why.view()));
                                 loop_.stop();
                             }
                         });
            pushedTo_ = session_;
            isPushed_ = true;
        }
    }

    struct Hash {
        std::size_t operator()(AradLifEntry const& lif) const { return lif.hash(); }
    };

    Context& context_;
    ApplicationOptions const& options_;
    Kor::Link::Loop& loop_;
    std::vector<AradLifEntry> lifs_;
    std::unordered_map<AradLifEntry, U32, Hash> counts_;
    Kor::Ptr<LifAppConfig> config_;
    Kor::Ptr<LifAppStatusDir> statuses_;
    Kor::Ptr<Session> session_;
    Kor::Ptr<Session> pushedTo_;
    bool isPushed_ = false;
    std::size_t next_ = 0;
    Phase phase_ = Phase::asking;
    std::vector<AradLifEntry> withdrawn_;
};

} // namespace

void driver(Context& context, DriverOptions const& options) {
    auto const chip = chipNumber(options.chip);
    auto const address = serverAddressOf(options.address);
    std::string const lockPath = options.image + ".lock";
    std::optional<Kor::Link::LockFile> lock;
    refusing("cannot have the chip", [&] { lock = Kor::Link::LockFile::take(lockPath); });
    if (!lock) {
        throw Refused("another driver has the chip of " + shown(options.image) + ": it holds " +
                      shown(lockPath));
    }
    Kor::Link::Loop loop;
    endingSignalsAre(loop, [&] { loop.stop(); });
    Messages messages(context);
    auto const service = Kor::makePtr<Service>();
    diagnosticsAre(*service, {.setsTrace = true});
    Kor::Link::ListenerConfig config;
    config.service = service;
    config.session = sessionConfig("driver");
    config.refused = [&](Kor::String8 const& reason) {
        messages.warn("refused: " + Forms::shown(reason.view(), 200));
    };
    Kor::Ptr<LifDriver> driver;
    refusing("cannot serve", [&] {
        // No file is touched before the socket is there; who connects waits until it is answered.
        Kor::Link::Listener listener(loop, address, config);
        driver = Kor::makePtr<LifDriver>(
            chip, options.image, options.sync,
            LifDriver::Hooks{[&](std::string const& message) { messages.warn(message); },
                             [&] { loop.post([&] { driver->commit(); }); }});
        driver->offerTo(*service);
        auto const settling = loop.every(std::chrono::milliseconds(50), [&] {
            driver->settle();
            messages.tick();
            service->count("messagesLost") = messages.lost();
            service->count("requestsRefused") = driver->refused();
        });
        messages.note("chip " + options.chip + ", " + std::to_string(driver->placed()) +
                      " LIFs taken up; serving at " + listener.address().text());
        loop.run();
        driver->commit();
        listener.close("the driver ends");
    });
    messages.note(std::to_string(driver->placed()) + " LIFs have a place, " +
                  std::to_string(driver->refused()) + " were refused");
}

void application(Context& context, ApplicationOptions const& options) {
    Kor::Link::Loop loop;
    Application application(context, options, loop);
    Kor::Link::ConnectorConfig config;
    config.session = sessionConfig(Kor::enumeratorText(options.app, "VtAppId"));
    config.setUp = [&](Session& session) { application.setUp(session); };
    config.lost = [&](Kor::String8 const& reason, std::chrono::milliseconds) {
        context.note("no connection: " + std::string(reason.view()));
    };
    // What hooks write to outlives the connection, whose end answers each fence.
    bool isDelivered = false, mustAsk = true;
    std::string why;
    Kor::Link::Connector connector(loop, addressOf(options.address), config);
    endingSignalsAre(loop, [&] {
        context.report("ended by a signal");
        loop.stop();
    });
    bool isDone = false;
    // Why nothing comes: what the driver cannot do it says.
    auto const asking = loop.every(std::chrono::seconds(1), [&] {
        if (!isDone && application.isConnected()) {
            application.session().fence(FenceLevel::done, [&](FenceResult const& result) {
                if (result.outcome == FenceOutcome::failed) {
                    context.report("the driver refuses: " + Forms::shown(result.why.view(), 300));
                    loop.stop();
                }
            });
        }
    });
    Progress progress(context);
    auto const telling = loop.every(std::chrono::milliseconds(200), [&] {
        progress.step([&] { return application.progress() + "; " + application.awaited(); });
    });
    Kor::Link::Timer pace;
    std::function<void()> const tick = [&] { isDone = isDone || application.step(); };
    if (options.pace.count() != 0) {
        pace = loop.every(options.pace, tick);
    }
    loop.runUntil(
        [&] {
            if (options.pace.count() == 0) {
                tick();
            }
            return isDone;
        },
        options.timeout);
    if (!isDone && context.status == 0) {
        throw TimedOut("not done within " + std::to_string(options.timeout.count()) +
                       " ms: " + application.progress() + "; " + application.awaited());
    }
    if (!isDone) {
        return; // what was in the way has been told
    }
    // What was written last is there, and kept, when this is answered. A driver that is lost meanwhile is
    // asked again when it is back.
    loop.runUntil(
        [&] {
            if (mustAsk && application.isConnected()) {
                mustAsk = false;
                application.session().fence(FenceLevel::done, [&](FenceResult const& result) {
                    isDelivered = result.isReached(FenceLevel::done);
                    mustAsk = result.outcome == FenceOutcome::gone;
                    why = result.outcome == FenceOutcome::failed ? result.why.view() : "";
                });
            }
            return isDelivered || !why.empty();
        },
        options.timeout);
    if (!isDelivered) {
        if (context.status == 0) {
            std::string const what = "the driver has not answered that all is there";
            if (why.empty()) {
                throw TimedOut(what + "; " + application.progress());
            }
            throw Refused(what + ": " + Forms::shown(why, 300) + "; " + application.progress());
        }
        return;
    }
    context.out << application.progress() << '\n';
    connector.close("done");
    loop.runFor(std::chrono::milliseconds(1));
}

} // namespace tool
