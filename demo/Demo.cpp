/// `loamtunnel demo`: the way of requests from applications over a driver into the image of a chip, between
/// real processes, some of which are killed on the way if asked for.

#include "console/Live.h"
#include "demo/Child.h"
#include "demo/ChipImage.h"
#include "demo/Commands.h"
#include "demo/Family.h"
#include "forms/Entries.h"
#include "forms/Values.h"
#include "model/LoamTunnelModel.h"

#include <algorithm>
#include <array>
#include <csignal>
#include <filesystem>
#include <fstream>
#include <functional>
#include <map>
#include <optional>
#include <ostream>
#include <set>
#include <thread>

namespace tool {

using namespace Hardware;
using namespace Hardware::LoamTunnel;
using namespace Kor::NboAttrLog;

namespace {

namespace fs = std::filesystem;

struct DemoOptions {
    std::string chip = "8";
    /// Where empty, the examples of the source or of the installed program.
    std::vector<std::string> files{};
    std::string folder;
    std::vector<std::string> kill;
    /// Its places outlive the driver, but not the machine: nobody needs those of a demo then.
    std::string sync = "off";
    Output output;
};

struct Member {
    Loam::VtAppId app;
    std::vector<std::string> kinds;
};

std::vector<Member> const& members() {
    static std::vector<Member> const all{
        {Loam::vtAppBridging, {"AradLifAcMp"}},
        {Loam::vtAppSubinterface, {"AradLifAcP2pToAc"}},
        {Loam::vtAppPseudowire, {"AradLifAcP2pToPwe", "AradLifPweToP2p"}},
        {Loam::vtAppMpls, {"AradLifLabelProtocolOrLsp"}},
        {Loam::vtAppVlanTranslation, {"OutAcValue"}},
        {Loam::vtAppDot1qTunnel, {"EvecValue"}},
    };
    return all;
}

/// How many of the last requests each application takes back.
constexpr U64 withdrawn = 3;

std::string nameOf(Loam::VtAppId app) {
    return std::string(Kor::enumeratorText(app, "VtAppId"));
}

/// Where entries to ask for stand, in the source that is being worked on or beside the installed program.
std::vector<std::string> examples() {
    std::error_code error;
    fs::path const program = fs::read_symlink("/proc/self/exe", error);
    for (fs::path const& folder : {fs::path("examples"), program.parent_path() / "../share/loamtunnel"}) {
        std::vector<std::string> files;
        for (char const* const name : {"lifs.txt", "out-acs.txt", "evecs.txt"}) {
            if (fs::exists(folder / name, error)) {
                files.push_back((folder / name).lexically_normal());
            }
        }
        if (!files.empty()) {
            return files;
        }
    }
    throw WrongUsage("there are no examples here: give --file FILE, with entries as encode takes them");
}

/// Notes the signals that end the demo, so that its children and its folder end with it.
class Signals {
public:
    Signals() {
        struct sigaction action {};
        action.sa_handler = [](int signal) { got = signal; };
        for (std::size_t i = 0; i < ending.size(); ++i) {
            ::sigaction(ending[i], &action, &before_[i]);
        }
    }
    ~Signals() {
        for (std::size_t i = 0; i < ending.size(); ++i) {
            ::sigaction(ending[i], &before_[i], nullptr);
        }
    }
    Signals(Signals const&) = delete;
    Signals& operator=(Signals const&) = delete;

    static void mustBeNone(Context& context) {
        if (got != 0) {
            context.note("ended by a signal");
            throw Interrupted(got);
        }
    }

private:
    static constexpr std::array ending{SIGINT, SIGTERM, SIGHUP};
    static inline volatile std::sig_atomic_t got = 0;

    std::array<struct sigaction, ending.size()> before_{};
};

/// A folder that ends with its user, unless it was given.
class Folder {
public:
    explicit Folder(std::string const& given)
        : path_(given.empty() ? fs::path() : fs::absolute(given)), isOwn_(given.empty()) {
        if (isOwn_) {
            std::string pattern = (fs::temp_directory_path() / "loamtunnel-XXXXXX").string();
            if (::mkdtemp(pattern.data()) == nullptr) {
                throw Refused("cannot make a folder in " + fs::temp_directory_path().string());
            }
            path_ = pattern;
        } else {
            std::error_code error;
            fs::create_directories(path_, error);
            if (error) {
                throw Refused("cannot make the folder " + shown(given) + ": " + error.message());
            }
        }
    }
    ~Folder() {
        if (isOwn_) {
            std::error_code ignored; // a leftover in the system's folder for such
            fs::remove_all(path_, ignored);
        }
    }
    Folder(Folder const&) = delete;
    Folder& operator=(Folder const&) = delete;
    fs::path const& path() const { return path_; }

private:
    fs::path path_;
    bool isOwn_;
};

std::string contents(fs::path const& path) {
    std::ifstream stream(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(stream), {}};
}

/// One run: a driver, the applications, and what they leave.
class Run {
public:
    Run(Context& context, DemoOptions const& options, fs::path folder)
        : context_(context), options_(options), folder_(std::move(folder)) {
        fs::create_directories(folder_);
        for (char const* const end : {"", ".db", ".db-wal", ".db-journal"}) {
            fs::remove(image() + end);
        }
        std::set<App> asking;
        for (Asked const& each : askedFor()) {
            asking.insert(each.app);
        }
        for (Member const& each : members()) {
            if (asking.contains(each.app)) {
                running_.push_back(each);
            }
        }
        if (running_.empty()) {
            throw Refused("nothing to ask for in " + join(options_.files, ", "));
        }
    }

    /// The driver removes its socket and its lock, whatever has happened to the rest.
    ~Run() {
        if (driver_) {
            driver_->kill(SIGTERM);
            for (int i = 0; i < 200 && !driver_->status(); ++i) {
                std::this_thread::sleep_for(std::chrono::milliseconds(10));
            }
        }
    }
    Run(Run const&) = delete;
    Run& operator=(Run const&) = delete;

    /// Runs all of it to the end. With `victims`, those are killed half-way and started again.
    void all(std::vector<std::string> const& victims) {
        U64 const halfWay = total() / 2;
        driver_.emplace(startDriver());
        // Applications that come before it would wait until they try again.
        wait([&] { return fs::exists(socket()); });
        for (Member const& member : running_) {
            // One that is to be killed half-way must still be there then, also on a machine that is busy.
            bool const isVictim = !victims.empty() && &member == &running_.front();
            applications_.push_back(start(member, isVictim ? "12" : "3"));
        }
        say("a driver and " + std::to_string(applications_.size()) + " applications run");
        if (!victims.empty()) {
            wait([&] { return placed() >= halfWay; });
            auto const childOf = [&](std::string const& victim) -> Child& {
                return victim == "driver" ? *driver_ : applications_.front();
            };
            for (std::string const& victim : victims) {
                childOf(victim).kill(SIGKILL);
            }
            for (std::string const& victim : victims) {
                Child& child = childOf(victim);
                if (child.join() != 128 + SIGKILL) {
                    throw Refused("the " + victim + " had ended before it could be killed");
                }
                say("the " + victim + " is killed with " + std::to_string(placed()) +
                    " rows in place, and starts again");
                child = victim == "driver" ? startDriver() : start(running_.front(), "3");
            }
        }
        for (std::size_t i = 0; i < applications_.size(); ++i) {
            wait([&] { return applications_[i].status().has_value(); });
            mustBeWell(applications_[i], nameOf(running_[i].app));
            say(nameOf(running_[i].app) + " is done");
        }
    }

    /// Prints what is in the chip, and compares it with what was asked for.
    void table() {
        Live live({socket()}, "demo");
        ChipType const chip = chipNumber(options_.chip);
        ChipImage const image(this->image(), chip, ChipImage::readOnly);
        Listing listing({"application", "entry", "count", "index", "array", "row", "address", "words"});
        fields_ = 0;
        U64 rows = 0;
        for (Asked const& asked : askedFor()) {
            std::vector<RowAt> places;
            for (Placed const& request : asked.requests) {
                visitPlaced(request, [&](auto const& item) {
                    places.push_back(show(live, image, listing, asked, item));
                });
            }
            if (places.size() == 2 && places[0].row == places[1].row && places[0].half == 0) {
                mustBeAs(asked.text, chip, image, places[0]);
            }
        }
        for (std::size_t i = 0; i < chipTables; ++i) {
            auto const table = static_cast<ChipTable>(i);
            if (image.usedRows(table) > halves_[i].size()) { // a command that does nothing may be all zero
                throw Refused("the image has rows that nobody asks for");
            }
            rows += halves_[i].size();
        }
        mustBeComposed<Lifs>(image);
        mustBeComposed<OutAcs>(image);
        mustBeComposed<Evecs>(image);
        listing.print(context_.out, options_.output);
        say(std::to_string(rows) + " rows read back: " + std::to_string(fields_) +
            " fields are what was asked for, and no other row is written");
    }

    void end() {
        driver_->kill(SIGTERM);
        driver_->join();
        mustBeWell(*driver_, "driver");
    }
    std::string image() const { return (folder_ / "chip.img").string(); }

private:
    std::string socket() const { return (folder_ / "driver.socket").string(); }
    std::string log(std::string const& name) const { return (folder_ / (name + ".log")).string(); }

    Child startDriver() const {
        return Child({"/proc/self/exe", "driver", "--socket", socket(), "--chip", options_.chip, "--image",
                      image(), "--sync", options_.sync},
                     log("driver"));
    }
    Child start(Member const& member, std::string const& pace) const {
        std::vector<std::string> words{"/proc/self/exe", "application",
                                       "--socket",       socket(),
                                       "--app",          nameOf(member.app),
                                       "--file",         join(options_.files, ","),
                                       "--withdraw",     std::to_string(withdrawn),
                                       "--pace",         pace};
        for (std::string const& kind : member.kinds) {
            words.insert(words.end(), {"--kind", kind});
        }
        return Child(std::move(words), log(nameOf(member.app)));
    }
    void say(std::string const& text) { context_.note(text); }

    /// How many rows are written.
    U64 placed() const {
        return fs::exists(image())
                   ? ChipImage(image(), chipNumber(options_.chip), ChipImage::readOnly).usedRows()
                   : 0;
    }
    /// How many rows there are in the end, about.
    U64 total() const { return askedFor().size(); }
    void wait(std::function<bool()> const& condition) {
        auto const end = std::chrono::steady_clock::now() + std::chrono::seconds(60);
        while (!condition()) {
            Signals::mustBeNone(context_);
            if (driver_->status()) {
                mustBeWell(*driver_, "driver");
                throw Refused("the driver has ended");
            }
            if (std::chrono::steady_clock::now() > end) {
                throw Refused("the demo stands still; see the logs in " + folder_.string() +
                              ", which --folder keeps");
            }
            std::this_thread::sleep_for(std::chrono::milliseconds(2));
        }
    }
    static void mustBeWell(Child& child, std::string const& name) {
        if (child.status() != 0) {
            throw Refused("the " + name + " has ended with " + std::to_string(child.status().value_or(-1)) +
                          ": " + shown(contents(child.log())));
        }
    }
    static Kor::Ptr<Kor::Entity> entityAt(Live& live, std::string const& root) {
        live.at(root);
        return live.session().root(Kor::Name(Kor::String8(root)));
    }

    /// What an entry asks for and keeps.
    struct Asked {
        App app;
        std::string text;
        std::vector<Placed> requests;
    };

    /// In the order of the files; of what is asked for more than once, the first.
    std::vector<Asked> askedFor() const {
        std::map<App, std::vector<Asked>> all;
        std::map<App, U32> slots;
        for (std::string const& file : options_.files) {
            eachLine(context_, file, [&](std::string const& text, std::string const&) {
                Entry const entry = parseEntry(text);
                for (Member const& member : members()) {
                    if (std::ranges::find(member.kinds, entry.kind->name) != member.kinds.end()) {
                        all[member.app].push_back(
                            {member.app, join(split(text)), requestsOf(entry, 0, slots[member.app])});
                    }
                }
            });
        }
        std::vector<Asked> kept;
        for (auto& [app, entries] : all) {
            for (U64 i = 0; i < withdrawn && !entries.empty(); ++i) {
                entries.back().requests.pop_back();
                if (entries.back().requests.empty()) {
                    entries.pop_back();
                }
            }
            std::set<std::string> seen;
            for (Asked& each : entries) {
                std::erase_if(each.requests, [&](Placed const& request) {
                    return !seen.insert(placedText(request)).second;
                });
                if (!each.requests.empty()) {
                    kept.push_back(std::move(each));
                }
            }
        }
        return kept;
    }

    /// A line of the listing; where it is.
    template <class Item>
    RowAt show(Live& live, ChipImage const& image, Listing& listing, Asked const& asked, Item const& item) {
        using Family = FamilyOf<Item>;
        Family const family(chipNumber(options_.chip), 0);
        auto const status = Kor::ptrCast<typename Family::Status>(entityAt(live, Family::statusRoot));
        auto const config =
            std::as_const(*Kor::ptrCast<typename Family::ConfigDir>(entityAt(live, Family::configRoot)))
                .appConfig(asked.app);
        std::optional<U32> const index = Family::index(std::as_const(*status), asked.app, item);
        if (!config || !index) {
            throw Refused(nameOf(asked.app) + " has no place for " + asked.text);
        }
        RowAt const at = family.at(*index);
        Words const words = image.read(Family::table, at.row);
        RowForm const form = family.form(item);
        if constexpr (std::is_same_v<Family, Lifs>) {
            fields_ += check(asked.text, form, words);
        }
        halves_.at(Family::table)[at.row].at(at.half) = item;
        U32 const entries = image.entries(Family::table);
        listing.add({nameOf(asked.app), shortText(*Kor::boxOf(item)),
                     Family::count(*config, Family::keyOf(item)), *index, at.row / entries, at.row % entries,
                     hex(addressOf(form, at.row % entries, at.row / entries, 0).address, 8),
                     wordsText(words)});
        return at;
    }

    /// The row of a pair that lies together is that of the pair.
    void mustBeAs(std::string const& text, ChipType chip, ChipImage const& image, RowAt const& at) {
        EncodedRow const pair = encodeEntry(parseEntry(text), chip);
        auto const table = pair.form.table->name == "EvecTable" ? evecTable : outAcTable;
        if (image.read(table, at.row) != pair.words) {
            throw Refused("a row is not what its entry becomes: " + text);
        }
        fields_ += decodeRow(pair.form, pair.words).fields.size();
    }

    /// Each row is what those make that lie in it.
    template <class Family>
    void mustBeComposed(ChipImage const& image) const {
        Family const family(chipNumber(options_.chip), 0);
        for (auto const& [row, halves] : halves_.at(Family::table)) {
            using Item = typename Family::Item;
            if (image.read(Family::table, row) !=
                family.row({std::get_if<Item>(&halves[0]), std::get_if<Item>(&halves[1])})) {
                throw Refused("row " + std::to_string(row) + " of " + Family::name +
                              " is not what was asked for");
            }
        }
    }

    /// Takes the row apart and compares each field that the entry has given with what it was given; how many
    /// there were. What shares its bits with another field is not, and a destination has another form on some
    /// chips: they are compared as part of the whole row.
    static U64 check(std::string const& text, RowForm const& form, Words const& words) {
        Entry const entry = parseEntry(text);
        DecodedRow const row = decodeRow(form, words);
        if (!row.unowned.empty() || words != encodeEntry(entry, form.chip).words) {
            throw Refused("a row is not what its entry becomes: " + text);
        }
        U64 compared = 0;
        for (FieldValue const& field : row.fields) {
            std::string const name(field.place.field->name);
            std::size_t const at = text.find(' ' + name + '=');
            bool const isShared = std::ranges::any_of(row.fields, [&](FieldValue const& other) {
                return &other != &field && other.place.lo() <= field.place.hi() &&
                       field.place.lo() <= other.place.hi();
            });
            if (at == text.npos || isShared || name == "destination") {
                continue;
            }
            std::size_t const start = at + name.size() + 2;
            std::optional<U64> const given =
                parseNumber(std::string_view(text).substr(start, text.find(' ', start) - start));
            U64 const kept = field.place.at.width >= 64 ? ~U64{0} : (U64{1} << field.place.at.width) - 1;
            if (given && field.number() != (*given & kept)) {
                std::string message = name;
                throw Refused(
                    message.append(" of a row is ").append(field.text()).append(", not as in ").append(text));
            }
            compared += given.has_value();
        }
        return compared;
    }

    Context& context_;
    DemoOptions const& options_;
    fs::path folder_;
    /// What has been found in each row.
    std::array<std::map<U32, std::array<Placed, 2>>, chipTables> halves_;
    U64 fields_ = 0;
    /// The applications that have something to ask for.
    std::vector<Member> running_;
    std::optional<Child> driver_;
    std::vector<Child> applications_;
};

/// Runs a driver and applications, and compares what is in the chip with what was asked for.
void demo(Context& context, DemoOptions const& given) {
    DemoOptions options = given;
    if (options.files.empty()) {
        options.files = examples();
    }
    Signals const signals;
    Folder const folder(options.folder);
    Run run(context, options, folder.path() / "run");
    run.all({});
    run.table();
    run.end();
    Signals::mustBeNone(context);
    if (options.kill.empty()) {
        return;
    }
    context.note("the same once more, with " + join(options.kill, " and ") + " killed half-way");
    Run again(context, options, folder.path() / "again");
    again.all(options.kill);
    again.end();
    if (contents(run.image()) != contents(again.image())) {
        throw Refused("the images differ");
    }
    context.note("the two images are the same");
}

} // namespace

Command const demoCommand = tool::Row<DemoOptions>{
    .name = "demo",
    .does = "Show requests on their way from applications to a chip, between processes",
    .takes =
        [](Takes& takes, DemoOptions& options) {
            takes.chip(options.chip, "Chip model: 3, 4, 5, 7, 8, 9 or 10 (default: 8)");
            takes.list("-f,--file", options.files, "FILE",
                       "Entries, one a line, with commas between several files (default: the examples)");
            takes.option("--folder", options.folder, "FOLDER",
                         "Where images and logs stay (default: nowhere)");
            takes
                .list(
                    "--kill", options.kill, "WHO",
                    "Run again, kill driver, application or both (driver,application) half-way, and compare")
                .oneOf({"driver", "application"}, "cannot kill");
            takes
                .option("--sync", options.sync, "HOW",
                        "What an answer of the driver waits for: full, normal or off (default: off)")
                .oneOf({"full", "normal", "off"}, "no way");
            takes.output(options.output, " (default: table)");
        },
    .run = demo,
};

} // namespace tool
