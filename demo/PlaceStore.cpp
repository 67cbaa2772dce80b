#include "demo/PlaceStore.h"

#include "console/Failure.h"
#include "forms/Text.h"
#include "reflect/Text.h"

#include <array>
#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <limits>
#include <memory>
#include <sqlite3.h>
#include <string>
#include <string_view>
#include <type_traits>

namespace tool {

using namespace Hardware;
using namespace Hardware::LoamTunnel;

namespace {

/// Says that a database is ours: it stands in the header of the file, where `file` and sqlite3 show it.
constexpr U32 applicationId = 0x4c4c6966;
constexpr U32 version = 2;

std::string places(std::string const& before, std::string const& after) {
    return before +
           "CREATE TABLE place(family TEXT NOT NULL, slot INTEGER NOT NULL, app INTEGER NOT NULL,"
           " entry TEXT NOT NULL, PRIMARY KEY(family, slot)) WITHOUT ROWID;" +
           after;
}

/// By the alternatives of Placed.
constexpr std::array<std::string_view, std::variant_size_v<Placed>> families{"", "lif", "outAc", "evec"};

template <class Value>
Placed placedOf(Kor::String8 const& text) {
    return Kor::strepToValue<Value>(text);
}

Placed placedOf(std::string const& family, std::string const& text) {
    Kor::String8 const value(text);
    if (family == families[1]) {
        return placedOf<AradLifEntry>(value);
    }
    if (family == families[2]) {
        return placedOf<OutAcKey>(value);
    }
    if (family == families[3]) {
        return placedOf<EvecEntry>(value);
    }
    throw Refused("there is no family " + shown(family));
}

U32 bigEndian(unsigned char const* at) {
    return U32{at[0]} << 24 | U32{at[1]} << 16 | U32{at[2]} << 8 | U32{at[3]};
}

/// The path with its folder resolved, so that SQLite, which refuses each link on the way, refuses none but
/// the last one.
std::string resolved(std::string const& path) {
    std::size_t const slash = path.rfind('/');
    std::string const folder = slash == std::string::npos ? "." : path.substr(0, slash + 1);
    std::unique_ptr<char, void (*)(void*)> const real(::realpath(folder.c_str(), nullptr), std::free);
    if (!real) {
        throw Refused(systemFailure("cannot find the folder of", path));
    }
    return std::string(real.get()) + '/' + path.substr(slash == std::string::npos ? 0 : slash + 1);
}

} // namespace

std::string placedText(Placed const& placed) {
    return std::visit(
        [](auto const& value) {
            if constexpr (std::is_same_v<decltype(value), std::monostate const&>) {
                return std::string();
            } else {
                return std::string(Kor::valueToStrep(value).view());
            }
        },
        placed);
}

/// A prepared statement, with its values.
class PlaceStore::Statement {
public:
    Statement(PlaceStore const& store, char const* sql) : store_(store) {
        check(sqlite3_prepare_v2(store.database_.get(), sql, -1, &statement_, nullptr));
    }
    ~Statement() { sqlite3_finalize(statement_); }
    Statement(Statement const&) = delete;
    Statement& operator=(Statement const&) = delete;

    void bind(int at, U32 number) { check(sqlite3_bind_int64(statement_, at, number)); }
    void bind(int at, std::string_view text) {
        check(
            sqlite3_bind_text(statement_, at, text.data(), static_cast<int>(text.size()), SQLITE_TRANSIENT));
    }
    /// Whether there is a row.
    bool step() {
        int const result = sqlite3_step(statement_);
        if (result != SQLITE_ROW && result != SQLITE_DONE) {
            store_.fail(result);
        }
        return result == SQLITE_ROW;
    }
    /// Ready for other values.
    void reset() { check(sqlite3_reset(statement_)); }
    U32 number(int column) const {
        sqlite3_int64 const value = sqlite3_column_int64(statement_, column);
        if (sqlite3_column_type(statement_, column) != SQLITE_INTEGER || value < 0 ||
            value > std::numeric_limits<U32>::max()) {
            throw Refused(std::string("its ") + sqlite3_column_name(statement_, column) +
                          " is no whole number of 32 bits");
        }
        return static_cast<U32>(value);
    }
    std::string text(int column) const {
        auto const* const text = reinterpret_cast<char const*>(sqlite3_column_text(statement_, column));
        auto const size = static_cast<std::size_t>(sqlite3_column_bytes(statement_, column));
        return text == nullptr ? std::string() : std::string(text, size);
    }

private:
    void check(int result) const {
        if (result != SQLITE_OK) {
            store_.fail(result);
        }
    }

    PlaceStore const& store_;
    sqlite3_stmt* statement_ = nullptr;
};

void PlaceStore::Close::operator()(sqlite3* database) const noexcept {
    sqlite3_close_v2(database);
}

PlaceStore::PlaceStore(std::string path, ChipType chip, Sync sync)
    : path_(std::move(path)), file_(openOwn(path_, O_RDWR)) {
    for (bool const isLog : {true, false}) {
        mustBeIts(path_ + (isLog ? "-wal" : "-journal"), isLog);
    }
    if (file_) {
        mustBeOurs();
    } else {
        file_ = makeRegular(path_);
    }
    open(sync);
    if (number("PRAGMA page_count") == 0) {
        make(chip);
    }
    if (number("PRAGMA application_id") != applicationId) {
        throw Refused(shown(path_) + " is no database of places");
    }
    U64 const there = number("PRAGMA user_version");
    if (there != version && there != 1) {
        throw Refused(shown(path_) + " has version " + std::to_string(there) +
                      " of the tables; this program knows version " + std::to_string(version));
    }
    if (U64 const of = number("SELECT number FROM chip"); of != U64{chip}) {
        throw Refused(shown(path_) + " has the places of chip " + std::to_string(of) + ", not of chip " +
                      std::to_string(chip));
    }
    run("PRAGMA journal_mode=WAL");
    if (there != version) {
        run(places("BEGIN EXCLUSIVE; ALTER TABLE place RENAME TO older;",
                   "INSERT INTO place SELECT 'lif', slot, app, lif FROM older; DROP TABLE older;"
                   "PRAGMA user_version=" +
                       std::to_string(version) + "; COMMIT")
                .c_str());
    }
    // Until here the file was to be left as it is; now what is in the log may go into it when it is closed.
    sqlite3_db_config(database_.get(), SQLITE_DBCONFIG_NO_CKPT_ON_CLOSE, 0, nullptr);
}

PlaceStore::~PlaceStore() = default;

/// What stands beside the database is SQLite's to read, write and delete, if it is what SQLite has left
/// there.
void PlaceStore::mustBeIts(std::string const& path, bool isLog) const {
    File const left = openOwn(path, O_RDWR);
    std::array<unsigned char, 8> head{};
    if (!left || ::lseek(left.fd(), 0, SEEK_END) == 0) {
        return;
    }
    constexpr std::array<unsigned char, 8> journal{0xd9, 0xd5, 0x05, 0xf9, 0x20, 0xa1, 0x63, 0xd7};
    constexpr U32 log = 0x377f0682; // and the bit that tells the order of bytes in its sums
    bool const isWhole = left.read(head.data(), head.size(), 0);
    // The head of a journal is not there before what it is for is.
    bool const isKnown = isWhole && (isLog ? (bigEndian(head.data()) | 1) == (log | 1)
                                           : head == journal || head == decltype(head){});
    if (!isKnown || !file_) {
        throw Refused(shown(path) + " is in the way: " +
                      (isKnown ? "the database that it belongs to is gone" : "it is no log of a database"));
    }
}

/// Before SQLite looks at it, which would put an end to the log of any database.
void PlaceStore::mustBeOurs() const {
    std::array<unsigned char, 72> header{};
    constexpr std::size_t idAt = 68;
    if (::lseek(file_.fd(), 0, SEEK_END) == 0) { // a driver that was killed while it made it
        return;
    }
    if (!file_.read(header.data(), header.size(), 0) ||
        std::memcmp(header.data(), "SQLite format 3", 16) != 0 || bigEndian(&header[idAt]) != applicationId) {
        throw Refused(shown(path_) + " is no database of places");
    }
}

void PlaceStore::open(Sync sync) {
    sqlite3* made = nullptr;
    int const result =
        sqlite3_open_v2(resolved(path_).c_str(), &made,
                        SQLITE_OPEN_READWRITE | SQLITE_OPEN_NOFOLLOW | SQLITE_OPEN_NOMUTEX, nullptr);
    database_.reset(made);
    if (result != SQLITE_OK) {
        fail(result);
    }
    sqlite3_extended_result_codes(made, 1);
    sqlite3_db_config(made, SQLITE_DBCONFIG_NO_CKPT_ON_CLOSE, 1, nullptr);
    sqlite3_db_config(made, SQLITE_DBCONFIG_DEFENSIVE, 1, nullptr);
    sqlite3_db_config(made, SQLITE_DBCONFIG_ENABLE_TRIGGER, 0, nullptr);
    sqlite3_db_config(made, SQLITE_DBCONFIG_ENABLE_VIEW, 0, nullptr);
    sqlite3_db_config(made, SQLITE_DBCONFIG_TRUSTED_SCHEMA, 0, nullptr);
    run("PRAGMA locking_mode=EXCLUSIVE"); // and no file of shared memory
    run("PRAGMA temp_store=MEMORY");
    run("PRAGMA cell_size_check=ON");
    run("PRAGMA journal_size_limit=4194304");
    run(sync == Sync::full ? "PRAGMA synchronous=FULL"
                           : (sync == Sync::normal ? "PRAGMA synchronous=NORMAL" : "PRAGMA synchronous=OFF"));
}

void PlaceStore::make(ChipType chip) {
    std::string const all = places("BEGIN EXCLUSIVE; PRAGMA application_id=" + std::to_string(applicationId) +
                                       "; PRAGMA user_version=" + std::to_string(version) +
                                       "; CREATE TABLE chip(number INTEGER NOT NULL);",
                                   "INSERT INTO chip VALUES(" + std::to_string(chip) + "); COMMIT");
    run(all.c_str());
}

std::vector<PlaceStep> PlaceStore::all() const {
    std::vector<PlaceStep> places;
    Statement select(*this, "SELECT slot, app, entry, family FROM place ORDER BY family, slot");
    for (U64 row = 1; select.step(); ++row) {
        try {
            places.push_back({static_cast<Loam::VtAppId>(select.number(1)),
                              select.number(0),
                              {},
                              placedOf(select.text(3), select.text(2))});
        } catch (std::exception const& exception) { // also of a text that is no entry
            throw Refused(shown(path_) + ", row " + std::to_string(row) +
                          " of place: " + Forms::shown(exception.what(), 200));
        }
    }
    return places;
}

void PlaceStore::write(std::span<PlaceStep const> steps) {
    run("BEGIN IMMEDIATE");
    try {
        Statement insert(*this, "INSERT INTO place(family, slot, app, entry) VALUES(?1, ?2, ?3, ?4)");
        Statement update(*this, "UPDATE place SET entry = ?4 WHERE family = ?1 AND slot = ?2 AND app = ?3");
        Statement erase(*this, "DELETE FROM place WHERE family = ?1 AND slot = ?2 AND app = ?3");
        for (PlaceStep const& each : steps) {
            Statement& step = !isPlaced(each.after) ? erase : (isPlaced(each.before) ? update : insert);
            step.bind(1, families.at(each.family()));
            step.bind(2, each.index);
            step.bind(3, U32{each.app});
            if (isPlaced(each.after)) {
                step.bind(4, placedText(each.after));
            }
            step.step();
            step.reset();
            if (sqlite3_changes(database_.get()) != 1) {
                throw Refused(shown(path_) + " has no place with index " + std::to_string(each.index));
            }
        }
        run("COMMIT");
    } catch (...) {
        if (sqlite3_get_autocommit(database_.get()) == 0) { // else SQLite has done it
            sqlite3_exec(database_.get(), "ROLLBACK", nullptr, nullptr, nullptr);
        }
        throw;
    }
}

void PlaceStore::run(char const* sql) const {
    int const result = sqlite3_exec(database_.get(), sql, nullptr, nullptr, nullptr);
    if (result != SQLITE_OK) {
        fail(result);
    }
}

U64 PlaceStore::number(char const* sql) const {
    Statement statement(*this, sql);
    if (!statement.step()) {
        throw Refused(shown(path_) + " does not say of which chip it is");
    }
    return statement.number(0);
}

void PlaceStore::fail(int result) const {
    std::string const why = sqlite3_errmsg(database_.get());
    switch (result & 0xff) {
    case SQLITE_BUSY:
        throw Refused("another process has " + shown(path_));
    case SQLITE_FULL:
        throw Refused("cannot write " + shown(path_) + ": there is no room on its disk");
    default:
        throw Refused("cannot use " + Forms::shown(path_) + ": " + Forms::shown(why, 200));
    }
}

} // namespace tool
