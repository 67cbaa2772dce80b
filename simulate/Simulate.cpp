/// Whole switches in one process: an owner of the LIFs and a standby, relays, chips, applications, and a peer
/// that means harm. Streams stall, connections are cut on one side or both, processes die and come back, the
/// owner is replaced by its standby, old peers speak an old protocol, and some have an older schema than
/// others (simulate/NextSchema.h): they know no weights, and not all applications. All of it follows from a
/// seed.
///
///     simulate --seeds 1000 [--first 1] [--steps 400]      each seed; a failing one is made short and printed
///     simulate --spoil twice                               with one promise broken: it must fail
///
/// What is checked:
///   - when a fence is answered, each value that was set before it, or a newer one, is with each peer that
///     was connected all the while; one that was deleted is gone, or newer. What a schema on the way does not
///     know is nothing that the peer could have;
///   - a fence is answered once, and always in the end; done, if the owner has said so;
///   - once all is connected again and quiet, all copies are equal to what the applications want;
///   - a peer that means harm changes no application's value, and ends its own connection alone.

#include "attrlog/session/Session.h"
#include "model/LoamTunnelModel.h"
#include "simulate/NextSchema.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <cstdio>
#include <cstring>
#include <map>
#include <memory>
#include <stdexcept>
#include <string>
#include <utility>
#include <variant>
#include <vector>

namespace {

using namespace Kor;
using namespace Kor::NboAttrLog;
using namespace Hardware;
using namespace Hardware::LoamTunnel;

struct Broken : std::runtime_error {
    using std::runtime_error::runtime_error;
};

class Random {
public:
    explicit Random(U64 seed) : state_(seed) {}
    U64 next() {
        U64 z = state_ += 0x9e3779b97f4a7c15;
        z = (z ^ z >> 30) * 0xbf58476d1ce4e5b9;
        z = (z ^ z >> 27) * 0x94d049bb133111eb;
        return z ^ z >> 31;
    }
    U32 below(U32 bound) { return static_cast<U32>(next() % bound); }

private:
    U64 state_;
};

constexpr U32 lifs = 24;
AradLifEntry lif(U32 number) {
    AradLifAcMp entry;
    entry.vsiIs(static_cast<U16>(number));
    return entry;
}

/// A step, whose numbers are taken modulo what there is: any list of steps can be run.
struct Step {
    enum Kind : U8 {
        set,
        drop,
        dropAll,
        carry,
        cut,
        halfCut,
        restart,
        replaceOwner,
        fence,
        fenceOfOwner,
        sayDone,
        harm,
        kinds
    };
    Kind kind = set;
    U32 a = 0, b = 0, c = 0;

    std::string text() const {
        static constexpr std::array<char const*, kinds> names{
            "set",     "drop",         "dropAll", "carry",        "cut",     "halfCut",
            "restart", "replaceOwner", "fence",   "fenceOfOwner", "sayDone", "harm"};
        return std::string(names[kind]) + ' ' + std::to_string(a) + ' ' + std::to_string(b) + ' ' +
               std::to_string(c);
    }
};

/// A promise that the simulated system breaks on purpose, so that the checks below can be tried.
enum class Spoil : U8 { none, early, twice, never, undone, forget, keep, harm, cut };
constexpr auto spoils = std::to_array<std::string_view>(
    {"none", "early", "twice", "never", "undone", "forget", "keep", "harm", "cut"});

/// Where a value stands. Values only grow, over all keys, so that a number says what is newer.
struct Known {
    U32 value = 0;     // 0: none
    U32 droppedAt = 0; // the last time
};
enum Attribute : U8 { count, weight };
/// By the number of the application's process, attribute and LIF.
struct Key {
    U32 application;
    Attribute attribute;
    U32 lif;
    friend auto operator<=>(Key const&, Key const&) = default;
};
using State = std::map<Key, Known>;

/// An entity of the one schema or the other.
using Dir = std::variant<Ptr<LifAppConfigDir>, Ptr<NewAppConfigDir>>;
using Config = std::variant<Ptr<LifAppConfig>, Ptr<NewAppConfig>>;
template <class Of>
Ptr<Entity> entityOf(Of const& entity) {
    return std::visit([](auto const& each) { return Ptr<Entity>(each); }, entity);
}
Dir makeDir(bool isOlder) {
    return isOlder ? Dir(lifAppConfigDirFactory("lif")) : Dir(newAppConfigDirFactory("lif"));
}
Config makeConfig(bool isOlder, U32 app) {
    return isOlder ? Config(lifAppConfigFactory(static_cast<Loam::VtAppId>(app)))
                   : Config(newAppConfigFactory(static_cast<NewAppId>(app)));
}
/// What it has for a key; 0 for none.
U32 valueIn(Config const& config, Key const& key) {
    return std::visit(
        [&](auto const& in) -> U32 {
            if constexpr (requires { in->weight(lif(0)); }) {
                if (in && key.attribute == weight) {
                    return in->weight(lif(key.lif));
                }
            }
            return in && key.attribute == count ? in->reqCount(lif(key.lif)) : 0;
        },
        config);
}
/// 0 takes it away.
void valueIs(Config const& config, Key const& key, U32 value) {
    std::visit(
        [&](auto const& in) {
            if (in && key.attribute == count) {
                value != 0 ? in->reqCountIs(lif(key.lif), value) : void(in->reqCountDel(lif(key.lif)));
            } else if constexpr (requires { in->weight(lif(0)); }) {
                if (in) {
                    value != 0 ? in->weightIs(lif(key.lif), value) : void(in->weightDel(lif(key.lif)));
                }
            }
        },
        config);
}
/// The directory's config for the application of one that has come; null if it is of another schema.
Ptr<Entity> configFor(Dir const& dir, Ptr<Entity> const& made) {
    return std::visit(
        [&](auto const& mine) -> Ptr<Entity> {
            using Mine = std::conditional_t<std::is_same_v<decltype(mine), Ptr<LifAppConfigDir> const&>,
                                            LifAppConfig, NewAppConfig>;
            auto const config = ptrCast<Mine>(made);
            return config ? Ptr<Entity>(mine->appConfigIs(config->app())) : nullptr;
        },
        dir);
}

/// Applications have numbers below; what means harm pushes as one of those from here on.
constexpr U32 firstOfHarm = 20;
static_assert(olderApps + newerApps < firstOfHarm);
/// Whether it is of a number that an application can have.
bool isApplications(Ptr<Entity> const& config) {
    auto const older = ptrCast<LifAppConfig>(config);
    auto const newer = ptrCast<NewAppConfig>(config);
    return (older && static_cast<U32>(older->app()) < firstOfHarm) ||
           (newer && static_cast<U32>(newer->app()) < firstOfHarm);
}

/// One process.
struct Node {
    enum Role { owner, relay, chip, application };
    Role role = chip;
    U32 number = 0;
    InstanceToken token{};
    /// What it owns or has a copy of; an application has a child of its own.
    Dir dir;
    Config config;
    /// For those below, and towards the one above.
    Ptr<Service> service, above;
    Node* parent = nullptr;
    /// Both ends of the connection to the parent; null where it is lost.
    Ptr<Session> mine, parents;
    /// Changes with each connection.
    U32 connection = 0;
    bool isOld = false;   // speaks protocol 2
    bool isOlder = false; // has the older schema
    /// Towards the parent, and from it, if that has the other schema.
    Crossing up, down;
    bool isCrossing() const { return parent != nullptr && parent->isOlder != isOlder; }
};

class World {
public:
    World(U64 seed, U32 relays, U32 chips, U32 applications, bool hasOld, bool hasOlder, Spoil spoil)
        : random_(seed), spoil_(spoil) {
        owner_ = &add(Node::owner, nullptr);
        standby_ = &add(Node::chip, owner_);
        std::vector<Node*> parents{owner_};
        for (U32 i = 0; i < relays; ++i) {
            parents.push_back(&add(Node::relay, parents[i % parents.size()]));
        }
        for (U32 i = 0; i < chips; ++i) {
            add(Node::chip, parents[(i + 1) % parents.size()]);
        }
        if (hasOld) {
            add(Node::chip, parents.back()).isOld = true;
        }
        for (U32 i = 0; i < applications; ++i) {
            add(Node::application, owner_);
        }
        for (auto const& each : nodes_) {
            each->isOlder = hasOlder && random_.below(3) == 0;
        }
        standby_->isOlder = owner_->isOlder; // it takes its place
        for (auto const& each : nodes_) {
            start(*each);
        }
    }
    ~World() {
        for (auto const& each : nodes_) {
            lose(*each, true, true);
        }
        tickets_.clear();
    }
    World(World const&) = delete;
    World& operator=(World const&) = delete;

    void run(Step const& step) {
        switch (step.kind) {
        case Step::set: {
            Node& app = application(step.a);
            U32 const many = step.c % 8 == 0 ? lifs : 1;
            Attribute const attribute = !app.isOlder && step.c / 8 % 3 == 0 ? weight : count;
            for (U32 i = step.b % lifs; i < step.b % lifs + many; ++i) {
                set(app, {app.number, attribute, i % lifs});
            }
            return;
        }
        case Step::drop:
            drop(application(step.a), step.b % lifs);
            return;
        case Step::dropAll:
            dropAll(application(step.a));
            return;
        case Step::carry:
            carry(*nodes_[step.a % nodes_.size()], step.b % 1500, step.c % 1500);
            return;
        case Step::cut:
            lose(*nodes_[step.a % nodes_.size()], true, true);
            return;
        case Step::halfCut: // the one side does not notice
            lose(*nodes_[step.a % nodes_.size()], step.b % 2 == 0, step.b % 2 == 1);
            return;
        case Step::restart:
            restart(*nodes_[step.a % nodes_.size()]);
            return;
        case Step::replaceOwner:
            replaceOwner();
            return;
        case Step::fence:
            fence(application(step.a), step.b % 2 == 0 ? FenceLevel::applied : FenceLevel::done,
                  step.c % 2 == 0 ? FenceExtent::peer : FenceExtent::all);
            return;
        case Step::fenceOfOwner:
            ask(owner_, ownersState(), FenceExtent::all, [this](FenceHook const& hook) {
                owner_->service->fence(FenceLevel::applied, hook, "lif", FenceExtent::all);
            });
            return;
        case Step::sayDone:
            if (!tickets_.empty()) {
                std::size_t const at = step.a % tickets_.size();
                Ptr<Fence> const fence = tickets_[at];
                tickets_.erase(tickets_.begin() + static_cast<std::ptrdiff_t>(at));
                step.b % 4 == 0 ? fence->failedIs("no") : say(*fence);
            }
            return;
        case Step::harm:
            harm(step);
            return;
        case Step::kinds:
            return;
        }
    }

    /// A hook finds it, and must not throw.
    void brokenIs(std::string what) {
        if (broken_.empty()) {
            broken_ = std::move(what);
        }
    }
    void mustBeSound() const {
        if (!broken_.empty()) {
            throw Broken(broken_);
        }
    }

    /// Connects all, waits until nothing moves, and compares.
    void end() {
        for (int round = 0; round < 4; ++round) {
            for (auto const& each : nodes_) {
                if (!isUp(*each)) {
                    lose(*each, true, true);
                    connect(*each);
                }
            }
            quiet();
            while (!tickets_.empty()) {
                Ptr<Fence> const fence = tickets_.back();
                tickets_.pop_back();
                say(*fence);
            }
            quiet();
        }
        mustBeSound();
        if (open_ != 0) {
            throw Broken("never answered: " + std::to_string(open_) + " of " +
                         std::to_string(open_ + answered_) + " fences");
        }
        for (auto const& each : nodes_) {
            if (each->role != Node::application) {
                for (auto const& [key, known] : state_) {
                    U32 const there = valueAt(*each, key);
                    if (reaches(*each, key) && there != known.value) {
                        throw Broken(nameOf(*each) + " has " + std::to_string(there) + " for " +
                                     keyText(key) + ", not " + std::to_string(known.value));
                    }
                }
            }
        }
    }
    U64 answered() const { return answered_; }

private:
    Node& add(Node::Role role, Node* parent) {
        Node& node = *nodes_.emplace_back(std::make_unique<Node>());
        node.role = role;
        node.parent = parent;
        node.number = static_cast<U32>(nodes_.size());
        return node;
    }
    /// The application's number in the schema. The newer one has more: if the owner knows them, so may
    /// others.
    U32 appOf(U32 number) const {
        bool const isNewer = !owner_->isOlder && !nodes_[number - 1]->isOlder && number % 2 == 0;
        return 1 + (isNewer ? olderApps + number / 2 % newerApps : number % olderApps);
    }
    /// Whether the schemas on the way from an application down to a process all have it.
    static bool reaches(Node const& node, Key const& key) {
        bool has = true;
        for (Node const* at = &node; at != nullptr; at = at->parent) {
            has = has && (key.attribute == count || !at->isOlder);
        }
        return has;
    }
    static std::string nameOf(Node const& node) {
        constexpr std::array<char const*, 4> roles{"owner", "relay", "chip", "application"};
        return std::string(roles[node.role]) + ' ' + std::to_string(node.number);
    }
    static std::string keyText(Key const& key) {
        return "application " + std::to_string(key.application) +
               (key.attribute == weight ? ", weight of" : ",") + " LIF " + std::to_string(key.lif);
    }
    Node& application(U32 which) {
        std::vector<Node*> all;
        for (auto const& each : nodes_) {
            if (each->role == Node::application) {
                all.push_back(each.get());
            }
        }
        return *all[which % all.size()];
    }

    // Processes

    /// A process begins, with nothing.
    void start(Node& node) {
        node.token = {random_.next(), random_.next()};
        if (node.role == Node::application) {
            node.config = makeConfig(node.isOlder, appOf(node.number));
            return;
        }
        node.dir = makeDir(node.isOlder);
        node.service = makePtr<Service>();
        node.above = makePtr<Service>();
        serve(node);
    }
    void serve(Node& node) {
        if (node.role == Node::owner) {
            node.service->offer("lif", entityOf(node.dir), Access::readOnly);
            node.service->acceptIs(
                "lifConfig", [this, dir = node.dir](Session& peer, Name const&, Ptr<Entity> const& made) {
                    return &peer == harmed_ && isApplications(made) ? nullptr : configFor(dir, made);
                });
            node.service->fenceHookIs([this](Session&, Ptr<Fence> const& fence) {
                if (fence->level() == FenceLevel::done) {
                    tickets_.push_back(fence);
                }
            });
        } else if (node.role == Node::relay) {
            node.service->offer("lif", entityOf(node.dir), Access::readOnly);
            node.above->relaysTo(node.service);
        }
    }
    void restart(Node& node) {
        if (node.role == Node::owner) {
            return replaceOwner();
        }
        lose(node, true, random_.below(2) == 0);
        for (auto const& each : nodes_) {
            if (each->parent == &node) {
                lose(*each, true, true);
            }
        }
        if (node.role == Node::application) {
            dropAll(node);
        }
        start(node);
    }
    /// The standby has what the owner had told it; applications tell it the rest.
    void replaceOwner() {
        for (auto const& each : nodes_) {
            if (each->parent == owner_) {
                lose(*each, true, true);
            }
        }
        tickets_.clear();
        owner_->dir = standby_->dir;
        owner_->service = makePtr<Service>();
        serve(*owner_);
        standby_->dir = makeDir(standby_->isOlder);
    }

    // Connections

    static bool isUp(Node const& node) {
        return node.parent == nullptr ||
               (node.mine && node.parents && node.mine->isOpen() && node.parents->isOpen());
    }
    void lose(Node& node, bool here, bool there) {
        if (here && node.mine) {
            std::exchange(node.mine, nullptr)->cut("lost");
        }
        if (there && node.parents) {
            std::exchange(node.parents, nullptr)->cut("lost");
        }
    }
    void connect(Node& node) {
        if (node.parent == nullptr || node.mine) {
            return;
        }
        ++node.connection;
        StreamLimits const limits{2 * 1024 + 128, 1024, 1000};
        auto const schemaOf = [](Node const& of) { return of.isOlder ? 1u : 2u; };
        SessionConfig config{.name = Name(String8(nameOf(node))), .schema = schemaOf(node), .limits = limits};
        config.token = node.token;
        node.up = node.down = {};
        node.mine = makePtr<Session>(Side::connecting, config, node.above);
        // The earlier one may not be noticed as lost yet.
        forgotten_.push_back(std::exchange(node.parents, nullptr));
        config.name = Name(String8(nameOf(*node.parent)));
        config.schema = schemaOf(*node.parent);
        config.token = node.parent->token;
        node.parents = makePtr<Session>(Side::accepting, config, node.parent->service);
        if (node.isOld) {
            passOldPreambles(node);
        }
        if (node.role == Node::application) {
            node.mine->push("lifConfig", entityOf(node.config), Access::readOnly);
        } else {
            bool const forgets = spoil_ == Spoil::forget && node.role == Node::chip && &node != standby_;
            node.mine->want("lif", entityOf(forgets ? makeDir(node.isOlder) : node.dir));
        }
    }
    /// A program that speaks protocol 2 alone.
    static void passOldPreambles(Node& node) {
        constexpr std::size_t length = 12;
        for (auto const& [from, to] :
             {std::pair{node.mine, node.parents}, std::pair{node.parents, node.mine}}) {
            std::array<U8, length> preamble{};
            std::copy_n(from->out()->readable().begin(), length, preamble.begin());
            preamble[length - 1] = 2;
            to->in()->feed(preamble);
            from->out()->nextBytes(length);
        }
        node.up.preambleIsPassed();
        node.down.preambleIsPassed();
    }
    static bool move(Session& from, Session& to, std::size_t most, Crossing* crossing) {
        from.flow();
        auto bytes = from.out()->readable();
        std::size_t taken = 0;
        if (crossing != nullptr) {
            taken = crossing->take(bytes);
            from.out()->nextBytes(taken);
            bytes = crossing->whole();
        }
        std::size_t const n = to.in()->feed(bytes.first(std::min(most, bytes.size())));
        crossing != nullptr ? crossing->pass(n) : from.out()->nextBytes(n);
        to.receive();
        return n + taken != 0;
    }
    bool carry(Node& node, std::size_t up, std::size_t down) {
        bool moved = false;
        if (node.mine && node.parents) {
            Ptr<Session> const mine = node.mine, parents = node.parents;
            moved = move(*mine, *parents, up, node.isCrossing() ? &node.up : nullptr);
            moved = move(*parents, *mine, down, node.isCrossing() ? &node.down : nullptr) || moved;
        } else if (!node.mine) {
            connect(node);
        } else {
            lose(node, true, true); // it is noticed
        }
        if (!forgotten_.empty()) {
            Ptr<Session> const lost = forgotten_.back();
            forgotten_.pop_back();
            if (lost) {
                lost->cut("lost");
            }
        }
        return moved;
    }
    void quiet() {
        bool moves = true;
        for (int rounds = 0; moves; ++rounds) {
            if (rounds == 100'000) {
                throw Broken("it never falls silent");
            }
            moves = false;
            for (auto const& each : nodes_) {
                moves = each->parent != nullptr && carry(*each, 100'000, 100'000) ? true : moves;
            }
        }
    }

    // Values

    void set(Node& app, Key const& key) {
        state_[key].value = ++now_;
        valueIs(app.config, key, now_);
    }
    /// All that there is of a LIF.
    void drop(Node& app, U32 number) {
        for (Attribute const attribute : {count, weight}) {
            auto const found = state_.find({app.number, attribute, number});
            if (found == state_.end() || found->second.value == 0) {
                continue;
            }
            found->second = {.value = 0, .droppedAt = ++now_};
            if (spoil_ != Spoil::keep) {
                valueIs(app.config, found->first, 0);
            }
        }
    }
    void dropAll(Node& app) {
        for (U32 i = 0; i < lifs; ++i) {
            drop(app, i);
        }
    }
    /// A process's copy of what the application wants; null inside if there is none.
    Config configAt(Node const& node, U32 application) const {
        return std::visit(
            [&](auto const& dir) -> Config {
                using App = std::remove_cvref_t<decltype(dir->appConfigMap().begin()->fwkKey())>;
                return dir->appConfig(static_cast<App>(appOf(application)));
            },
            node.dir);
    }
    U32 valueAt(Node const& node, Key const& key) const {
        return valueIn(configAt(node, key.application), key);
    }
    State ownersState() const {
        State state;
        for (auto const& [key, known] : state_) {
            state[key] = {.value = valueAt(*owner_, key), .droppedAt = 0};
        }
        return state;
    }

    // Fences

    /// A peer that is asked, over connections that must have stayed as they are.
    struct Asked {
        Node* node;
        std::vector<std::pair<Node const*, U32>> connections;
    };
    static bool hasRoot(Node const& node) {
        RootState const state = node.mine ? node.mine->rootState("lif") : RootState::absent;
        return isUp(node) && (state == RootState::synchronizing || state == RootState::synchronized);
    }
    /// Those below a node that have what it has.
    void below(Node* node, std::vector<std::pair<Node const*, U32>> const& path, std::vector<Asked>& all) {
        for (auto const& each : nodes_) {
            if (each->parent == node && each->role != Node::application && !each->isOld && hasRoot(*each)) {
                auto there = path;
                there.emplace_back(each.get(), each->connection);
                all.push_back({each.get(), there});
                below(each.get(), there, all);
            }
        }
    }
    void fence(Node& app, FenceLevel level, FenceExtent extent) {
        if (!isUp(app)) {
            return;
        }
        State before;
        for (auto const& [key, known] : state_) {
            if (key.application == app.number) {
                before[key] = known;
            }
        }
        bool const isTaken = app.mine->isEstablished() && isPushed(app);
        std::vector<Asked> peers;
        std::vector<std::pair<Node const*, U32>> const path{{&app, app.connection}};
        if (isTaken) {
            peers.push_back({owner_, path});
            if (extent == FenceExtent::all) {
                below(owner_, path, peers);
            }
        }
        ask(before, peers, [&](FenceHook const& hook) { app.mine->fence(level, hook, extent); });
    }
    /// Whether the owner has taken the application's requests in over this connection.
    bool isPushed(Node const& app) const {
        auto const config = entityOf(configAt(*owner_, app.number));
        auto const* const holder = config ? owner_->service->holder(*config) : nullptr;
        return holder != nullptr && holder->session == app.parents.ptr();
    }
    template <class Send>
    void ask(Node* from, State const& before, FenceExtent, Send const& send) {
        std::vector<Asked> peers;
        below(from, {}, peers);
        ask(before, peers, send);
    }
    template <class Send>
    void ask(State const& before, std::vector<Asked> const& peers, Send const& send) {
        ++open_;
        auto const isAnswered = std::make_shared<bool>(false);
        U32 const asked = now_;
        auto const hook = [this, before, peers, asked, isAnswered](FenceResult const& result) {
            if (std::exchange(*isAnswered, true)) {
                return brokenIs("a fence is answered twice");
            }
            --open_;
            ++answered_;
            if (result.outcome == FenceOutcome::done && ++answeredDone_ > said_) {
                brokenIs("a fence is answered done, and the owner has not said so");
            }
            if (result.outcome >= FenceOutcome::applied) {
                for (Asked const& each : peers) {
                    check(before, each, asked);
                }
            }
        };
        send(spoiled(hook));
    }
    FenceHook spoiled(FenceHook const& hook) const {
        switch (spoil_) {
        case Spoil::early:
            hook({});
            return {};
        case Spoil::twice:
            return [hook](FenceResult const& result) {
                hook(result);
                hook(result);
            };
        case Spoil::never:
            return {};
        case Spoil::undone:
            return [hook](FenceResult const&) { hook({.outcome = FenceOutcome::done}); };
        default:
            return hook;
        }
    }
    /// The owner says that it is done with what came before a fence.
    void say(Fence& fence) {
        ++said_; // of which some go nowhere, since their peer has gone
        fence.doneIs();
    }
    void check(State const& before, Asked const& peer, U32 asked) {
        for (auto const& [node, connection] : peer.connections) {
            if (!isUp(*node) || node->connection != connection) {
                return;
            }
        }
        for (auto const& [key, known] : before) {
            if (!reaches(*peer.node, key)) {
                continue;
            }
            U32 const there = valueAt(*peer.node, key);
            // What the owner does not have may be on its way to it.
            bool const isSound =
                known.value != 0 ? there >= known.value || (there == 0 && state_[key].droppedAt > known.value)
                                 : known.droppedAt == 0 || there == 0 || there > asked;
            if (!isSound) {
                brokenIs("a fence is answered, and " + nameOf(*peer.node) + " has " + std::to_string(there) +
                         " for " + keyText(key) + ", which was " + std::to_string(known.value));
            }
        }
    }

    // Harm

    /// Bytes that are nearly those of a session, to the owner. A turned bit of its key can make it one of the
    /// applications; while that one is not connected it would lawfully have its place, and empty it, so the
    /// owner refuses that.
    void harm(Step const& step) {
        State const before = ownersState();
        std::vector<Node const*> connected;
        for (auto const& each : nodes_) {
            if (isUp(*each)) {
                connected.push_back(each.get());
            }
        }
        sendHarm(step);
        for (auto const& [key, known] : before) {
            if (U32 const there = valueAt(*owner_, key); there != known.value) {
                brokenIs("a peer that means harm changes " + keyText(key) + " from " +
                         std::to_string(known.value) + " to " + std::to_string(there));
            }
        }
        for (Node const* const each : connected) {
            if (!isUp(*each)) {
                brokenIs("a peer that means harm ends the connection of " + nameOf(*each));
            }
        }
    }
    void sendHarm(Step const& step) {
        SessionConfig config{.name = "bad", .schema = 1};
        U32 app = firstOfHarm + step.a % 200;
        if (spoil_ == Spoil::harm) { // it is taken for an application
            config.token = application(step.a).token;
            app = appOf(application(step.a).number);
        } else if (spoil_ == Spoil::cut) {
            lose(*standby_, false, true);
        }
        auto const bad = makePtr<Session>(Side::connecting, config);
        auto const victim =
            makePtr<Session>(Side::accepting, SessionConfig{.name = "owner", .schema = 1}, owner_->service);
        harmed_ = spoil_ == Spoil::harm ? nullptr : victim.ptr();
        bad->want("lif");
        bad->push("lifConfig", entityOf(makeConfig(owner_->isOlder, app)));
        bad->fence(FenceLevel::done, {}, FenceExtent::all);
        Random random(step.b);
        for (int i = 0; i < 6 && victim->isOpen(); ++i) {
            bad->flow();
            auto const bytes = bad->out()->readable();
            std::vector<U8> sent(bytes.begin(), bytes.end());
            bad->out()->nextBytes(bytes.size());
            for (U32 n = random.below(3); n != 0 && i != 0 && !sent.empty(); --n) {
                sent[random.below(static_cast<U32>(sent.size()))] ^= static_cast<U8>(1u << random.below(8));
            }
            victim->in()->feed(sent);
            victim->receive();
            victim->flow();
            auto const answer = victim->out()->readable();
            std::size_t const n = bad->in()->feed(answer);
            victim->out()->nextBytes(n);
            bad->receive();
        }
        bad->cut("done");
        victim->cut("lost");
        harmed_ = nullptr;
    }

    Random random_;
    Spoil spoil_;
    /// The owner's side of the connection that means harm.
    Session const* harmed_ = nullptr;
    std::vector<std::unique_ptr<Node>> nodes_;
    Node* owner_ = nullptr;
    Node* standby_ = nullptr;
    State state_;
    U32 now_ = 0;
    U32 open_ = 0;
    std::string broken_;
    U64 answered_ = 0;
    /// How many fences were answered done, and how often the owner has said so.
    U64 answeredDone_ = 0, said_ = 0;
    std::vector<Ptr<Fence>> tickets_;
    std::vector<Ptr<Session>> forgotten_;
};

/// How a world is made, and what happens in it.
struct Story {
    U64 seed;
    Spoil spoil;
    std::vector<Step> steps;

    Story(U64 theSeed, U32 count, Spoil theSpoil) : seed(theSeed), spoil(theSpoil) {
        Random random(theSeed);
        // How often each kind comes, of 1000.
        constexpr std::array<U32, Step::kinds> often{300, 60, 2, 480, 12, 12, 6, 2, 60, 30, 30, 6};
        for (U32 i = 0; i < count; ++i) {
            U32 pick = random.below(1000);
            Step step;
            for (U32 kind = 0; kind < Step::kinds && pick >= often[kind]; ++kind) {
                pick -= often[kind];
                step.kind = static_cast<Step::Kind>(kind + 1);
            }
            step.kind = step.kind == Step::kinds ? Step::carry : step.kind;
            step.a = random.below(1u << 16);
            step.b = random.below(1u << 16);
            step.c = random.below(1u << 16);
            steps.push_back(step);
        }
    }
    /// What was wrong; empty if nothing was.
    std::string fault(U64* answered = nullptr) const {
        Random random(seed ^ 0x5eed);
        U32 const relays = random.below(3), chips = 1 + random.below(3), applications = 1 + random.below(3);
        bool const hasOld = random.below(4) == 0, hasOlder = random.below(2) == 0;
        try {
            World world(seed, relays, chips, applications, hasOld, hasOlder, spoil);
            for (Step const& step : steps) {
                world.run(step);
                world.mustBeSound();
            }
            world.end();
            if (answered != nullptr) {
                *answered += world.answered();
            }
            return {};
        } catch (Broken const& broken) {
            return broken.what();
        }
    }
    /// Leaves out what is not needed to fail.
    void shorten() {
        for (std::size_t piece = steps.size() / 2; piece != 0; piece /= 2) {
            for (std::size_t at = 0; at < steps.size();) {
                Story less = *this;
                auto const first = less.steps.begin() + static_cast<std::ptrdiff_t>(at);
                less.steps.erase(first,
                                 first + static_cast<std::ptrdiff_t>(std::min(piece, steps.size() - at)));
                if (!less.fault().empty()) {
                    steps = std::move(less.steps);
                } else {
                    at += piece;
                }
            }
        }
    }
};

U64 number(char const* text) {
    U64 value = 0;
    auto const [end, error] = std::from_chars(text, text + std::strlen(text), value);
    if (error != std::errc() || *end != '\0') {
        std::fprintf(stderr, "simulate: %s is no number\n", text);
        std::exit(2);
    }
    return value;
}

Spoil spoilOf(std::string_view text) {
    auto const found = std::ranges::find(spoils, text);
    if (found == spoils.end()) {
        std::fprintf(stderr, "simulate: there is no promise to spoil %s; --help tells which there are\n",
                     std::string(text).c_str());
        std::exit(2);
    }
    return static_cast<Spoil>(found - spoils.begin());
}

constexpr char const* help =
    "simulate [--seeds N] [--first SEED] [--steps N] [--spoil KIND]\n"
    "Runs whole switches, each from a seed (500 from 1, 400 steps each), and checks what fences promise.\n"
    "--spoil lets the system break one promise, which a check must see: early, twice, never (a fence is\n"
    "answered so), undone (as done before it is), forget (a chip does, what it is told), keep (an\n"
    "application does, what it deletes), harm (a harmful peer takes an application's place) or cut (it\n"
    "ends another one's connection).\n";

} // namespace

int main(int argc, char** argv) {
    U64 seeds = 500, first = 1, steps = 400;
    Spoil spoil = Spoil::none;
    for (int i = 1; i < argc; i += 2) {
        std::string const option = argv[i];
        U64* const value = option == "--seeds"   ? &seeds
                           : option == "--first" ? &first
                           : option == "--steps" ? &steps
                                                 : nullptr;
        if (option == "--help") {
            std::fputs(help, stdout);
            return 0;
        }
        if (value == nullptr && option != "--spoil") {
            std::fprintf(stderr, "simulate: no option %s; --help tells which there are\n", argv[i]);
            return 2;
        }
        if (i + 1 == argc) {
            std::fprintf(stderr, "simulate: %s has no value\n", argv[i]);
            return 2;
        }
        if (value != nullptr) {
            *value = number(argv[i + 1]);
        } else {
            spoil = spoilOf(argv[i + 1]);
        }
    }
    U64 answered = 0;
    if (seeds == 0 || steps == 0) {
        std::fprintf(stderr, "simulate takes at least one seed and one step\n");
        return 2;
    }
    for (U64 seed = first; seed < first + seeds; ++seed) {
        Story story(seed, static_cast<U32>(steps), spoil);
        std::string const fault = story.fault(&answered);
        if (!fault.empty()) {
            std::printf("seed %llu: %s\n", static_cast<unsigned long long>(seed), fault.c_str());
            story.shorten();
            std::printf("in short: %s\n", story.fault().c_str());
            for (Step const& step : story.steps) {
                std::printf("    %s\n", step.text().c_str());
            }
            return 1;
        }
    }
    std::printf("seeds %llu to %llu: %llu fences answered, nothing wrong\n",
                static_cast<unsigned long long>(first), static_cast<unsigned long long>(first + seeds - 1),
                static_cast<unsigned long long>(answered));
    return 0;
}
