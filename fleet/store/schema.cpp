// Everything is kept by clock, then by time, so that what is asked of a clock lies together.
#include "schema.h"

namespace ptp_fleet {
namespace {

constexpr std::uint64_t version = 1;

// piece: the journal. All other tables but change, alarm and command come of it, up to the piece named by meta.done.
// source: numbers taken. latest: records now. record: records that were. chunk: offset and path delay for a minute or
// two, coded until only their sum is kept; hour: what is older.
constexpr const char *tables = R"(
    CREATE TABLE meta (name TEXT PRIMARY KEY, value) WITHOUT ROWID;
    CREATE TABLE piece (id INTEGER PRIMARY KEY, first_ns INTEGER, last_ns INTEGER, count INTEGER, bytes BLOB);
    CREATE TABLE source (name TEXT PRIMARY KEY, last INTEGER, heard_ns INTEGER, missing TEXT) WITHOUT ROWID;
    CREATE TABLE clock (
        id INTEGER PRIMARY KEY, element TEXT NOT NULL, clock TEXT NOT NULL, lock_since_ns INTEGER, changed_ns INTEGER,
        heard_ns INTEGER, messages INTEGER, events INTEGER, UNIQUE (element, clock));
    CREATE TABLE latest (
        clock INTEGER, message TEXT, about TEXT, time_ns INTEGER, heard_ns INTEGER, bytes BLOB,
        PRIMARY KEY (clock, message, about)) WITHOUT ROWID;
    CREATE TABLE record (
        clock INTEGER, message TEXT, about TEXT, time_ns INTEGER, bytes BLOB,
        PRIMARY KEY (clock, message, about, time_ns)) WITHOUT ROWID;
    CREATE TABLE chunk (
        clock INTEGER, first_ns INTEGER, piece INTEGER, last_ns INTEGER, count INTEGER, low REAL, mean REAL, high REAL,
        delay REAL, coded BLOB, PRIMARY KEY (clock, first_ns, piece)) WITHOUT ROWID;
    CREATE TABLE hour (
        clock INTEGER, first_ns INTEGER, count INTEGER, low REAL, mean REAL, high REAL, delay REAL,
        PRIMARY KEY (clock, first_ns)) WITHOUT ROWID;
    CREATE TABLE change (
        id INTEGER PRIMARY KEY, clock INTEGER, time_ns INTEGER, what TEXT, before TEXT, after TEXT, piece INTEGER);
    CREATE INDEX change_of_clock ON change (clock, time_ns);
    CREATE INDEX change_by_time ON change (time_ns);
    CREATE TABLE alarm (id INTEGER PRIMARY KEY, until_ns INTEGER, json TEXT);
    CREATE TABLE command (id INTEGER PRIMARY KEY, time_ns INTEGER, json TEXT);
)";

}  // namespace

void prepare_tables(database &of) {
    of.run(
        "PRAGMA journal_mode = WAL; PRAGMA synchronous = FULL; PRAGMA wal_autocheckpoint = 4000;"
        "PRAGMA cache_size = -65536; PRAGMA journal_size_limit = 67108864; PRAGMA temp_store = MEMORY;");
    const std::uint64_t found = of.number("PRAGMA user_version");
    if (found == version) {
        return;
    }
    if (found != 0) {
        throw database_error(of.file() + ": is of another release of ptp_fleet (" + std::to_string(found) + ")",
                             SQLITE_ERROR);
    }
    transaction all(of);
    of.run(tables);
    of.run(("PRAGMA user_version = " + std::to_string(version)).c_str());
    all.commit();
}

}  // namespace ptp_fleet
