/// `loamtunnel driver` and `loamtunnel application`, the two sides of a request: who has the chip, and who
/// asks.

#include "console/Live.h"
#include "console/Messages.h"
#include "console/Terminal.h"
#include "demo/ChipDriver.h"
#include "demo/Commands.h"
#include "demo/Family.h"
#include "forms/Diagnostics.h"
#include "forms/Entries.h"
#include "link/Connector.h"
#include "link/Listener.h"
#include "link/LockFile.h"
#include "platform/Hardware/Loam/VtAppId.h"
#include "reflect/Text.h"

#include <algorithm>
#include <functional>
#include <map>
#include <ostream>
#include <string>
#include <tuple>
#include <utility>
#include <vector>

namespace tool {

using namespace Hardware;
using namespace Hardware::LoamTunnel;
using namespace Kor::NboAttrLog;

namespace {

struct DriverOptions {
    std::string address;
    std::string chip;
    /// Which of the switch's chips it is, 0 to 127.
    U32 fap = 0;
    std::string image;
    Sync sync = Sync::full;
};

struct ApplicationOptions {
    std::string address;
    Loam::VtAppId app{};
    /// For which of the switch's chips.
    U32 fap = 0;
    std::vector<std::string> files;
    /// Kinds of entries to take from the files; all when empty.
    std::vector<std::string> kinds;
    /// How many of the requests are taken back at the end.
    U64 withdraw = 0;
    /// The time between two requests.
    std::chrono::milliseconds pace{0};
    std::chrono::milliseconds timeout{60'000};
    /// Whether it takes the place of another process that pushes the application's requests.
    bool takesOver = false;
};

/// What an application asks for of one family, each request by its number.
class Asking {
public:
    virtual ~Asking() = default;
    virtual char const* configRoot() const = 0;
    virtual char const* statusRoot() const = 0;
    virtual Kor::Ptr<Kor::Entity> config() const = 0;
    /// Takes the answers of a peer; false if they are of another type.
    virtual bool statusIs(Session& session, Kor::Ptr<Kor::Entity> const& root) = 0;
    virtual bool hasStatus() const = 0;
    virtual bool isPlaced(std::size_t request) const = 0;
    virtual std::string text(std::size_t request) const = 0;
    /// False if all that is wanted of the same is asked for already.
    virtual bool ask(std::size_t request) = 0;
    /// True if nothing of the same is asked for any more.
    virtual bool withdraw(std::size_t request) = 0;
    virtual void forget(std::size_t request) = 0;
    /// Whether the configuration has been pushed to that peer; it has from now on.
    virtual bool isPushedTo(Session& session) = 0;
    /// "3 LIFs".
    virtual std::string count() const = 0;
};

template <class Family>
class AskingFor final : public Asking {
public:
    using Item = typename Family::Item;

    explicit AskingFor(App app) : app_(app), config_(Family::config(app)) {}
    void add(Item const& item) {
        items_.push_back(item);
        ++wanted_[Family::keyOf(item)];
    }
    std::size_t size() const { return items_.size(); }

    char const* configRoot() const override { return Family::configRoot; }
    char const* statusRoot() const override { return Family::statusRoot; }
    Kor::Ptr<Kor::Entity> config() const override { return config_; }
    bool hasStatus() const override { return status_ && session_->isOpen(); }
    bool isPlaced(std::size_t request) const override {
        return Family::index(*status_, app_, items_[request]).has_value();
    }
    std::string text(std::size_t request) const override {
        return shortText(*Kor::boxOf(Family::keyOf(items_[request])));
    }
    bool ask(std::size_t request) override {
        Item const& item = items_[request];
        if (Family::count(*config_, Family::keyOf(item)) == wanted_.at(Family::keyOf(item))) {
            return false;
        }
        Family::more(*config_, item);
        return true;
    }
    bool withdraw(std::size_t request) override { return Family::less(*config_, items_[request]); }
    void forget(std::size_t request) override { Family::forget(*config_, Family::keyOf(items_[request])); }
    bool isPushedTo(Session& session) override {
        return std::exchange(pushedTo_, Kor::Ptr<Session>(&session)).ptr() == &session;
    }
    std::string count() const override {
        return std::to_string(Family::asks(*config_)) + ' ' + Family::plural;
    }

    /// What has a place already, from before this process, is asked for as before: all of it at once, so that
    /// the driver does not take it for withdrawn.
    bool statusIs(Session& session, Kor::Ptr<Kor::Entity> const& root) override {
        auto const status = Kor::ptrCast<typename Family::Status>(root);
        if (!status) {
            return false;
        }
        session_ = Kor::Ptr<Session>(&session);
        status_ = status;
        for (std::size_t i = 0; !pushedTo_ && i < items_.size(); ++i) {
            if (isPlaced(i)) {
                Family::ask(*config_, items_[i], wanted_.at(Family::keyOf(items_[i])));
            }
        }
        return true;
    }

private:
    App app_;
    Kor::Ptr<typename Family::Config> config_;
    Kor::Ptr<typename Family::Status const> status_;
    Kor::Ptr<Session> session_;
    Kor::Ptr<Session> pushedTo_;
    std::vector<Item> items_;
    std::map<typename Family::Key, U32> wanted_;
};

/// Asks for the entries of files, one after the other, each when the one before has its place. So the places
/// do not depend on how often the connection, the driver or the application itself has been lost on the way.
class Application {
public:
    Application(Context& context, ApplicationOptions const& options, Kor::Link::Loop& loop,
                Messages& messages)
        : messages_(messages), options_(options), loop_(loop),
          families_(options.app, options.app, options.app) {
        read(context);
    }

    void setUp(Session& session) {
        session_ = Kor::Ptr<Session>(&session);
        for (Asking* const each : used_) {
            session.want(Kor::Name(each->statusRoot()),
                         [this, each, current = &session](RootState state, Kor::Ptr<Kor::Entity> const& root,
                                                          Kor::String8 const& why) {
                             if (state == RootState::synchronized) {
                                 statusIs(*each, *current, root);
                             } else if (state == RootState::refused) {
                                 stop("no answers to be had: " + std::string(why.view()));
                             }
                         });
        }
    }
    /// One step; true when all is done.
    bool step() {
        if (!std::ranges::all_of(used_, [](Asking const* each) { return each->hasStatus(); })) {
            return false;
        }
        if (phase_ == Phase::asking) {
            for (;;) {
                if (next_ != 0 && !requests_[next_ - 1].isPlaced()) {
                    return false;
                }
                if (next_ == requests_.size()) {
                    break;
                }
                Request const& request = requests_[next_++];
                if (request.of->ask(request.number)) {
                    return false;
                } // else it was there from the start, and no answer will come
            }
            for (U64 i = 0; i < options_.withdraw && i < requests_.size(); ++i) {
                Request const& request = requests_[requests_.size() - 1 - i];
                if (request.of->withdraw(request.number)) {
                    withdrawn_.push_back(request);
                }
            }
            phase_ = Phase::withdrawing;
        }
        if (std::ranges::any_of(withdrawn_, &Request::isPlaced)) {
            return false;
        }
        for (Request const& request : withdrawn_) {
            request.of->forget(request.number);
        }
        withdrawn_.clear();
        return !session_->demuxer().hasWork();
    }
    std::string progress() const {
        std::string text =
            std::to_string(next_) + " of " + std::to_string(requests_.size()) + " requests made";
        for (Asking const* const each : used_) {
            text += ", " + each->count();
        }
        return text;
    }
    /// What it waits for.
    std::string awaited() const {
        if (!isConnected()) {
            return "waits for the connection to the driver";
        }
        for (Asking const* const each : used_) {
            if (!each->hasStatus()) {
                std::string const peer(session_->peerName().view());
                return "waits for " + std::string(each->statusRoot()) + ", which " + Forms::shown(peer) +
                       (session_->peerOffers().contains(Kor::Name(each->statusRoot())) ? " has not sent yet"
                                                                                       : " does not offer");
            }
        }
        if (phase_ == Phase::asking && next_ != 0) {
            Request const& last = requests_[next_ - 1];
            return "waits for the place of " + Forms::shown(last.of->text(last.number), 200);
        }
        return withdrawn_.empty() ? "waits for the driver to have done all of it"
                                  : "waits until " + std::to_string(withdrawn_.size()) +
                                        " requests that were taken back have gone";
    }
    Session& session() { return *session_; }
    Status lateStatus() const { return session_ && session_->isOpen() ? timedOutStatus : noConnectionStatus; }
    bool isConnected() const { return session_ && session_->isEstablished(); }

private:
    enum class Phase { asking, withdrawing };
    struct Request {
        Asking* of;
        std::size_t number;

        bool isPlaced() const { return of->isPlaced(number); }
    };

    template <class Item>
    void add(Item const& item) {
        auto& asking = std::get<AskingFor<FamilyOf<Item>>>(families_);
        asking.add(item);
        requests_.push_back({&asking, asking.size() - 1});
        if (std::ranges::find(used_, &asking) == used_.end()) {
            used_.push_back(&asking);
        }
    }
    void read(Context& context) {
        std::ranges::for_each(options_.kinds, [](std::string const& kind) { kindNamed(kind); }); // or refused
        U32 slots = 0;
        for (std::string const& file : options_.files) {
            eachLine(context, file, [&](std::string const& text, std::string const&) {
                Entry const entry = parseEntry(text);
                if (options_.kinds.empty() ||
                    std::ranges::any_of(options_.kinds, [&](std::string const& kind) {
                        return entry.kind->isCalled(kind);
                    })) {
                    for (Placed const& request : requestsOf(entry, options_.fap, slots)) {
                        visitPlaced(request, [this](auto const& item) { add(item); });
                    }
                }
            });
        }
        if (context.status != 0 || requests_.empty()) {
            throw Refused("nothing to ask for in " + join(options_.files, ", "));
        }
    }
    void statusIs(Asking& asking, Session& session, Kor::Ptr<Kor::Entity> const& root) {
        if (!asking.statusIs(session, root)) {
            stop(std::string(asking.statusRoot()) + " of the peer has another type: it is no driver");
            return;
        }
        if (!asking.isPushedTo(session)) {
            session.push(
                Kor::Name(asking.configRoot()), asking.config(), Access::writable,
                [this](bool accepted, Kor::String8 const& why) {
                    if (!accepted) {
                        stop("requests are not accepted: " + std::string(why.view()));
                    }
                },
                options_.takesOver ? PushPlace::takesOver : PushPlace::ifFree);
        }
    }
    void stop(std::string const& why) {
        messages_.fail(why);
        loop_.stop();
    }

    Messages& messages_;
    ApplicationOptions const& options_;
    Kor::Link::Loop& loop_;
    std::tuple<AskingFor<Lifs>, AskingFor<OutAcs>, AskingFor<Evecs>> families_;
    /// Those of which something is asked for.
    std::vector<Asking*> used_;
    std::vector<Request> requests_;
    Kor::Ptr<Session> session_;
    std::size_t next_ = 0;
    Phase phase_ = Phase::asking;
    std::vector<Request> withdrawn_;
};

/// A name that no file beside an image has.
void mustBeFree(std::string const& image) {
    if (image.empty()) {
        throw WrongUsage("--image has no name; give a FILE");
    }
    for (std::string_view const each : {".new", ".lock", ".db", ".journal"}) {
        if (image.ends_with(each)) {
            throw WrongUsage(shown(image) + ": a driver has files that end with " + std::string(each) +
                             " beside its image; give another name");
        }
    }
}

/// Owns the tables of a chip, and places what applications ask for (demo/ChipDriver.h).
void driver(Context& context, DriverOptions const& options) {
    auto const chip = chipNumber(options.chip);
    mustBeFree(options.image);
    auto const address = serverAddressOf(options.address);
    std::string const lockPath = options.image + ".lock";
    std::optional<Kor::Link::LockFile> lock;
    refusing("cannot have the chip", [&] { lock = Kor::Link::LockFile::take(lockPath); });
    if (!lock) {
        throw Refused("another driver has the chip of " + shown(options.image) + ": it holds " +
                      shown(lockPath));
    }
    Kor::Link::Loop loop;
    loop.roundIs(16384); // some 600 requests, which are placed, committed and answered in a few milliseconds
    endingSignalsAre(loop, [&](int) { loop.stop(); });
    Messages messages(context);
    auto const service = Kor::makePtr<Service>();
    diagnosticsAre(*service, {.setsTrace = true});
    Kor::Link::ListenerConfig config;
    config.service = service;
    config.session = sessionConfig("driver");
    config.refused = [&](Kor::String8 const& reason) {
        messages.warn("refused: " + Forms::shown(reason.view(), 200));
    };
    Kor::Ptr<ChipDriver> driver;
    config.hooks.closed = [&](Session& peer, Kor::String8 const&) {
        if (driver) {
            driver->hasLeft(peer);
        }
    };
    refusing("cannot serve", [&] {
        // No file is touched before the socket is there; who connects waits until it is answered.
        Kor::Link::Listener listener(loop, address, config);
        driver = Kor::makePtr<ChipDriver>(
            ChipDriver::How{chip, options.fap, options.image, options.sync},
            ChipDriver::Hooks{[&](std::string const& message) { messages.warn(message); },
                              [&] { loop.post([&] { driver->commit(); }); }});
        driver->offerTo(*service);
        auto const settling = loop.every(std::chrono::milliseconds(50), [&] {
            driver->settle();
            messages.tick();
            service->count("messagesLost") = messages.lost();
            service->count("requestsRefused") = driver->refused();
        });
        messages.note("chip " + options.chip + ", " + std::to_string(driver->placed()) +
                      " places taken up; serving at " + listener.address().text());
        loop.run();
        driver->commit();
        listener.close("the driver ends");
    });
    messages.note(std::to_string(driver->placed()) + " places are taken, " +
                  std::to_string(driver->refused()) + " requests were refused");
}

/// Asks a driver for what the entries of files say: a LIF each, or two out-ACs or VLAN edits.
void application(Context& context, ApplicationOptions const& options) {
    Kor::Link::Loop loop;
    Messages messages(context);
    Application application(context, options, loop, messages);
    Kor::Link::ConnectorConfig config = connectorConfig(Kor::enumeratorText(options.app, "VtAppId"));
    config.setUp = [&](Session& session) { application.setUp(session); };
    config.lost = [&](Kor::String8 const& reason, std::chrono::milliseconds) {
        messages.note("no connection: " + std::string(reason.view()));
    };
    // What hooks write to outlives the connection, whose end answers each fence.
    bool isDelivered = false, mustAsk = true;
    std::string why;
    Kor::Link::Connector connector = connectorTo(loop, addressOf(options.address), config);
    int cutOffBy = 0;
    endingSignalsAre(loop, [&](int signal) {
        cutOffBy = signal;
        loop.stop();
    });
    auto const mustGoOn = [&] {
        if (cutOffBy != 0) {
            messages.note("ended by a signal");
            throw Interrupted(cutOffBy);
        }
    };
    bool isDone = false;
    // Why nothing comes: what the driver cannot do it says.
    auto const asking = loop.every(std::chrono::seconds(1), [&] {
        messages.tick();
        if (!isDone && application.isConnected()) {
            application.session().fence(FenceLevel::done, [&](FenceResult const& result) {
                if (result.outcome == FenceOutcome::failed) {
                    messages.fail("the driver refuses: " + Forms::shown(result.why.view(), 300) + "; " +
                                  application.progress() + ", and stay");
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
    mustGoOn();
    if (!isDone) {
        if (context.status == 0) { // else what was in the way has been told
            messages.fail("not done within " + std::to_string(options.timeout.count()) +
                              " ms: " + application.progress() + "; " + application.awaited(),
                          application.lateStatus());
        }
        return;
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
    mustGoOn();
    if (!isDelivered) {
        if (context.status == 0) {
            messages.fail("the driver has not answered that all is there" +
                              (why.empty() ? "" : ": " + Forms::shown(why, 300)) + "; " +
                              application.progress(),
                          why.empty() ? application.lateStatus() : refusedStatus);
        }
        return;
    }
    context.out << application.progress() << '\n';
    connector.close("done");
    loop.runFor(std::chrono::milliseconds(1));
}

} // namespace

Command const driverCommand = tool::Row<DriverOptions>{
    .name = "driver",
    .does = "Own the tables of a chip, and place what applications ask for",
    .takes =
        [](Takes& takes, DriverOptions& options) {
            takes.socket(options.address);
            takes.chip(options.chip).required();
            takes.option("--image", options.image, "FILE", "The file that stands for the chip's tables")
                .required();
            takes.number("--fap", options.fap, "Which of the switch's chips it is, 0 to 127 (default: 0)",
                         127);
            takes.choice<Sync>("--sync", options.sync,
                               {{"full", Sync::full}, {"normal", Sync::normal}, {"off", Sync::off}}, "HOW",
                               "no way",
                               "What an answer waits for: full, its place is on the disk; normal or off, the "
                               "last ones\n"
                               "may be lost if the machine fails (default: full)");
        },
    .run = driver,
    .more = "It takes a LifAppConfig pushed as lifConfig, an OutAcAppConfig as outAcConfig and an\n"
            "EvecAppConfig as evecConfig, and offers these with lifStatus, outAcStatus and evecStatus to be "
            "read.\n"
            "The places are kept in a database beside the image, FILE.db; the image is made from it.",
    .runsUntilTold = [](Context const&, DriverOptions const&) { return true; },
};

Command const applicationCommand = tool::Row<ApplicationOptions>{
    .name = "application",
    .does = "Ask a driver for the entries of files",
    .takes =
        [](Takes& takes, ApplicationOptions& options) {
            takes.socket(options.address);
            takes
                .option(
                    "-a,--app",
                    [&options](std::string const& name) { options.app = appNamed<WrongUsage>(name); }, "APP",
                    "Who asks, such as vtAppMpls")
                .required();
            takes
                .list("-f,--file", options.files, "FILE",
                      "Entries, one a line, as encode takes them; with commas between several files")
                .required();
            takes.number("--fap", options.fap, "For which of the switch's chips, 0 to 127 (default: 0)", 127);
            takes.list("--kind", options.kinds, "KIND", "Take the entries of this kind (default: all)");
            takes.number("--withdraw", options.withdraw, "Take so many of the requests back at the end");
            takes.number("--pace", options.pace, "Milliseconds between two requests (default: 0)");
            takes.number("--timeout", options.timeout, "Give up after so many milliseconds (default: 60000)");
            takes.flag("--takeover", options.takesOver,
                       "Take the place of another process that asks as this application");
        },
    .run = application,
};

} // namespace tool
