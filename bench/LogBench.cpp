// What it costs to keep a map of counts equal in two processes: the attribute log, and beside it plain
// structs through the same socket into a std::unordered_map, protobuf through it, ZeroMQ with protobuf, and
// Redis. In one run, the peers by turns, medians of all turns.
//
//     LogBench --counts 100000 --turns 3
//
// A bar compares with the structs: at least 0.8 of their rate in a full pass and for changes, and faster than
// protobuf, twice ZeroMQ, five times Redis; at most 1.3 of their round trip when both processes share a
// processor.

#include "bench/LogEnds.h"
#include "bench/Process.h"

#include <algorithm>
#include <chrono>
#include <functional>
#include <map>
#include <memory>
#include <random>
#include <sched.h>
#include <string>
#include <sys/stat.h>
#include <sys/wait.h>
#include <vector>

using namespace bench;
using namespace Hardware::LoamTunnel;

namespace {

struct Sizes {
    std::size_t counts = 1'000'000;
    std::size_t changes = 1'000'000;
    std::size_t keys = 200'000;
    std::size_t trips = 20'000;
    std::size_t turns = 5;
    std::size_t ways = 5; // the first so many
    bool check = false;
} sizes;

using Clock = std::chrono::steady_clock;

std::vector<AradLifEntry> someKeys(std::size_t n) {
    std::mt19937_64 random(1);
    std::vector<AradLifEntry> keys;
    keys.reserve(n);
    for (std::size_t i = 0; i < n; ++i) {
        keys.emplace_back(i % 2 != 0 ? lifAcMp : lifLabelPweP2p, random(), i);
    }
    return keys;
}

/// What a process waits for before it goes on, on a pipe.
struct Signal {
    int fds[2];
    Signal() {
        if (pipe(fds) != 0) {
            fail("pipe");
        }
    }
    Signal(Signal const&) = delete;
    Signal& operator=(Signal const&) = delete;
    ~Signal() {
        close(fds[0]);
        close(fds[1]);
    }
    void send(U64 value) const {
        if (write(fds[1], &value, sizeof value) != sizeof value) {
            fail("write");
        }
    }
    U64 wait() const {
        U64 value;
        if (read(fds[0], &value, sizeof value) != sizeof value) {
            std::fprintf(stderr, "LogBench: the other process has ended\n");
            std::_Exit(1);
        }
        return value;
    }
};

/// The processors that this process and those that it starts from now on run on.
void pin(std::vector<int> const& processors) {
    cpu_set_t set;
    CPU_ZERO(&set);
    for (int const each : processors) {
        CPU_SET(static_cast<std::size_t>(each), &set);
    }
    if (sched_setaffinity(0, sizeof set, &set) != 0) {
        fail("sched_setaffinity");
    }
}
std::vector<int> processors() {
    static std::vector<int> const all = [] {
        cpu_set_t set;
        sched_getaffinity(0, sizeof set, &set);
        std::vector<int> found;
        for (int i = 0; i < CPU_SETSIZE; ++i) {
            if (CPU_ISSET(static_cast<std::size_t>(i), &set)) {
                found.push_back(i);
            }
        }
        return found;
    }();
    return all;
}

/// For each operation.
struct Measured {
    double seconds = 0;
    double processor = 0; // seconds of both processes; without the Redis server
    double bytes = 0;     // sent
};

U64 nanosecondsSince(std::chrono::nanoseconds processor) {
    return static_cast<U64>((processorTime() - processor).count());
}

template <class End>
U64 digest(End const& end) {
    U64 sum = 0;
    end.each([&](AradLifEntry const& key, U32 count) { sum += U64{key.hash()} * (count + 1); });
    return sum;
}

/// Runs `reader(end, tell)` in a process of its own beside `writer(end, wait)` in this one. Each calls its
/// `ready` once it is prepared, and the time runs from there to the end of `writer`. At the end both must
/// have the same state.
template <class End, class Reader, class Writer>
Measured measure(std::string const& directory, Writer const& writer, Reader const& reader) {
    int sockets[2];
    if (socketpair(AF_UNIX, SOCK_STREAM | SOCK_NONBLOCK, 0, sockets) != 0) {
        fail("socketpair");
    }
    Signal toReader, toWriter;
    pid_t const child = fork();
    if (child < 0) {
        fail("fork");
    }
    if (child == 0) {
        close(sockets[0]);
        close(toWriter.fds[0]);
        {
            End end(Link{sockets[1], false, directory});
            toWriter.send(0);
            reader(end, toWriter);
            toWriter.send(digest(end));
            toReader.wait(); // what it has still to send goes out
        }
        std::_Exit(0);
    }
    close(sockets[1]);
    close(toWriter.fds[1]);
    toWriter.fds[1] = -1; // the reader alone holds the end of the pipe
    Measured measured;
    {
        End end(Link{sockets[0], true, directory});
        toWriter.wait();
        measured = writer(end, toWriter);
        if (toWriter.wait() != digest(end)) {
            std::fprintf(stderr, "LogBench: the two processes differ\n");
            std::exit(1);
        }
        toReader.send(0);
    }
    int status = 0;
    waitpid(child, &status, 0);
    close(sockets[0]);
    return measured;
}

/// Measures `work`, of `n` operations, which returns the nanoseconds of the other process.
template <class End, class Work>
Measured timed(End const& end, std::size_t n, Work const& work) {
    U64 const bytes = end.bytesSent();
    auto const processor = processorTime();
    auto const start = Clock::now();
    U64 const others = work();
    double const seconds = std::chrono::duration<double>(Clock::now() - start).count();
    auto const each = [n](double all) { return all / static_cast<double>(n); };
    return {each(seconds), each(1e-9 * static_cast<double>(nanosecondsSince(processor) + others)),
            each(static_cast<double>(end.bytesSent() - bytes))};
}

template <class End>
Measured fullPass(std::string const& directory) {
    auto const keys = someKeys(sizes.counts);
    return measure<End>(
        directory,
        [&](End& end, Signal const& reader) {
            end.load(keys);
            return timed(end, keys.size(), [&] {
                end.sendState();
                return reader.wait();
            });
        },
        [&](End& end, Signal const& writer) {
            auto const start = processorTime();
            while (end.size() != keys.size()) {
                end.receive();
            }
            writer.send(nanosecondsSince(start));
        });
}

template <class End>
Measured changes(std::string const& directory) {
    auto const keys = someKeys(sizes.keys);
    std::vector<U32> order(sizes.changes);
    std::mt19937 random(2);
    for (U32& each : order) {
        each = static_cast<U32>(random() % (keys.size() - 1));
    }
    AradLifEntry const& last = keys.back();
    return measure<End>(
        directory,
        [&](End& end, Signal const& reader) {
            end.load(keys);
            end.sendState();
            reader.wait();
            return timed(end, order.size(), [&] {
                U32 count = 1;
                for (U32 const each : order) {
                    end.set(keys[each], ++count);
                }
                end.set(last, 2);
                end.flush();
                return reader.wait();
            });
        },
        [&](End& end, Signal const& writer) {
            while (end.size() != keys.size()) {
                end.receive();
            }
            writer.send(0);
            auto const start = processorTime();
            while (end.count(last) != 2) {
                end.receive();
            }
            writer.send(nanosecondsSince(start));
        });
}

template <class End, bool isOneProcessor>
Measured roundTrip(std::string const& directory) {
    auto const keys = someKeys(1000);
    AradLifEntry const& asked = keys[10];
    AradLifEntry const& answered = keys[20];
    auto const end = static_cast<U32>(sizes.trips) + 2;
    auto const all = processors();
    pin({all.front()});
    Measured const measured = measure<End>(
        directory,
        [&](End& mine, Signal const& reader) {
            mine.load(keys);
            mine.sendState();
            reader.wait();
            return timed(mine, sizes.trips, [&] {
                for (U32 i = 2; i < end; ++i) {
                    mine.set(asked, i);
                    mine.flush();
                    while (mine.count(answered) != i) {
                        mine.receive();
                    }
                }
                return reader.wait();
            });
        },
        [&](End& mine, Signal const& writer) {
            if (!isOneProcessor) {
                pin({all.back()});
            }
            while (mine.size() != keys.size()) {
                mine.receive();
            }
            writer.send(0);
            auto const start = processorTime();
            for (U32 i = 2; i < end; ++i) {
                while (mine.count(asked) != i) {
                    mine.receive();
                }
                mine.set(answered, i);
                mine.flush();
            }
            writer.send(nanosecondsSince(start));
        });
    pin(all);
    return measured;
}

/// One way to keep the state equal.
struct Way {
    std::string name;
    using Run = std::function<Measured(std::string const&)>;
    Run fullPass, changes, tripOne, tripTwo;
    std::map<std::string, std::vector<Measured>> results;

    double seconds(std::string const& scenario) const { return median(scenario, &Measured::seconds); }
    double processor(std::string const& scenario) const { return median(scenario, &Measured::processor); }
    double bytes(std::string const& scenario) const { return median(scenario, &Measured::bytes); }

private:
    double median(std::string const& scenario, double Measured::*what) const {
        std::vector<double> all;
        for (auto const& each : results.at(scenario)) {
            all.push_back(each.*what);
        }
        std::sort(all.begin(), all.end());
        return all[all.size() / 2];
    }
};
template <class End>
Way way(std::string name) {
    return {std::move(name), fullPass<End>, changes<End>, roundTrip<End, true>, roundTrip<End, false>, {}};
}

#ifdef LOAM_HAS_REDIS
/// A server of our own, without a file, until the end of the scope.
class RedisServer {
public:
    explicit RedisServer(std::string const& directory) : child_(fork()) {
        std::string const name = directory + "/redis";
        if (child_ == 0) {
            if (std::freopen("/dev/null", "w", stdout) == nullptr) {
                std::_Exit(127);
            }
            execlp("redis-server", "redis-server", "--port", "0", "--unixsocket", name.c_str(), "--save", "",
                   "--appendonly", "no", "--client-output-buffer-limit", "pubsub 0 0 0", nullptr);
            std::_Exit(127);
        }
        for (int i = 0; i < 200 && access(name.c_str(), R_OK) != 0; ++i) {
            usleep(50'000);
        }
        isThere_ = access(name.c_str(), R_OK) == 0;
    }
    RedisServer(RedisServer const&) = delete;
    RedisServer& operator=(RedisServer const&) = delete;
    ~RedisServer() {
        kill(child_, SIGTERM);
        waitpid(child_, nullptr, 0);
    }
    bool isThere() const { return isThere_; }

private:
    pid_t child_;
    bool isThere_ = false;
};
#endif

void skip(char const* what, char const* why) {
    std::printf("skipped: %s, since %s\n", what, why);
}

bool bar(char const* what, double is, double limit, bool isMost = false) {
    bool const holds = isMost ? is <= limit : is >= limit;
    std::printf("  %-62s %6.2f  %s %.2f  %s\n", what, is, isMost ? "at most " : "at least", limit,
                holds ? "held" : "MISSED");
    return holds;
}

} // namespace

int main(int argc, char** argv) {
    CLI::App options("Keeps a map of counts equal in two processes", "LogBench");
    auto const number = [&](char const* name, std::size_t& value, std::size_t least, char const* what) {
        bench::addNumber(options, name, value, least, std::size_t{1'000'000'000}, what);
    };
    number("--counts", sizes.counts, 1, "counts of a full pass");
    number("--changes", sizes.changes, 1, "changes of counts");
    number("--keys", sizes.keys, 2, "counts that changes are spread over");
    number("--trips", sizes.trips, 1, "round trips");
    number("--turns", sizes.turns, 1, "turns; the figures are their medians");
    number("--ways", sizes.ways, 2, "only the first so many ways");
    options.add_flag("--check", sizes.check, "exits with 1 if a bar is missed");
    if (auto const status = bench::read(options, argc, argv)) {
        return *status;
    }
    char name[] = "/tmp/LogBench.XXXXXX";
    if (mkdtemp(name) == nullptr) {
        fail("mkdtemp");
    }
    std::string const directory = name;
    std::vector<Way> ways;
    ways.push_back(way<LogEnd>("attribute log"));
    ways.push_back(way<SocketEnd<StructCodec>>("structs"));
#ifdef LOAM_HAS_PROTOBUF
    ways.push_back(way<SocketEnd<ProtobufCodec>>("protobuf"));
#else
    skip("protobuf", "libprotobuf-dev or protobuf-compiler was not found");
#endif
#if defined LOAM_HAS_PROTOBUF && defined LOAM_HAS_ZMQ
    ways.push_back(way<ZmqEnd>("ZeroMQ"));
#else
    skip("ZeroMQ", "libzmq3-dev, cppzmq-dev or protobuf was not found");
#endif
#ifdef LOAM_HAS_REDIS
    auto const redis = std::make_unique<RedisServer>(directory);
    if (redis->isThere()) {
        ways.push_back(way<RedisEnd>("Redis"));
    } else {
        skip("Redis", "redis-server does not start");
    }
#else
    skip("Redis", "libhiredis-dev was not found");
#endif

    if (ways.size() > sizes.ways) {
        ways.resize(sizes.ways);
    }

    struct Scenario {
        std::string name;
        Way::Run Way::*run;
        bool isTrip;
    };
    Scenario const scenarios[] = {
        {"full pass of " + std::to_string(sizes.counts) + " counts", &Way::fullPass, false},
        {std::to_string(sizes.changes) + " changes of " + std::to_string(sizes.keys) + " keys", &Way::changes,
         false},
        {"there and back, one processor", &Way::tripOne, true},
        {"there and back, two processors", &Way::tripTwo, true}};
    for (std::size_t turn = 0; turn < sizes.turns; ++turn) {
        for (auto const& scenario : scenarios) {
            for (auto& each : ways) {
                each.results[scenario.name].push_back((each.*scenario.run)(directory));
            }
        }
    }
    Way const& structs = ways[1];
    for (auto const& scenario : scenarios) {
        std::printf("%s\n", scenario.name.c_str());
        for (auto const& each : ways) {
            double const seconds = each.seconds(scenario.name);
            double const processor = each.processor(scenario.name);
            double const ratio = structs.seconds(scenario.name) / seconds;
            double const processorRatio = structs.processor(scenario.name) / processor;
            if (scenario.isTrip) {
                std::printf("  %-14s %8.2f us, %5.2f times the structs'; processor %7.2f us, %5.2f times\n",
                            each.name.c_str(), 1e6 * seconds, 1 / ratio, 1e6 * processor, 1 / processorRatio);
            } else {
                std::printf("  %-14s %7.3f million a second, %5.2f of the structs'; processor %6.0f ns each, "
                            "%5.2f; %6.1f bytes\n",
                            each.name.c_str(), 1e-6 / seconds, ratio, 1e9 * processor, processorRatio,
                            each.bytes(scenario.name));
            }
        }
    }
    std::printf("bars\n");
    bool held = true;
    for (auto const& scenario : scenarios) {
        Way const& log = ways[0];
        if (scenario.isTrip) {
            held &= scenario.run != &Way::tripOne ||
                    bar(scenario.name.c_str(), log.seconds(scenario.name) / structs.seconds(scenario.name),
                        1.3, true);
            continue;
        }
        for (auto const& each : ways) {
            static std::map<std::string, double> const least = {
                {"structs", 0.8}, {"protobuf", 1}, {"ZeroMQ", 2}, {"Redis", 5}};
            if (auto const limit = least.find(each.name); limit != least.end()) {
                held &= bar((scenario.name + ", rate beside " + each.name).c_str(),
                            each.seconds(scenario.name) / log.seconds(scenario.name), limit->second);
            }
        }
    }
#ifdef LOAM_HAS_REDIS
    unlink((directory + "/redis").c_str());
#endif
    unlink((directory + "/zmq").c_str());
    rmdir(directory.c_str());
    return sizes.check && !held ? 1 : 0;
}
