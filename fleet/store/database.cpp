// Opens, runs, and says what went wrong with which file.
#include "database.h"

namespace ptp_fleet {
namespace {

constexpr int busy_ms = 10'000;

}  // namespace

bool database_error::may_pass() const {
    const int kind = code_ & 0xFF;  // above are details
    return kind == SQLITE_FULL || kind == SQLITE_BUSY || kind == SQLITE_LOCKED || kind == SQLITE_IOERR ||
           kind == SQLITE_NOMEM || kind == SQLITE_CANTOPEN;
}

database::database(const std::string &file, access mode) : file_(file) {
    sqlite3 *opened = nullptr;
    const int flags = mode == access::write ? SQLITE_OPEN_READWRITE | SQLITE_OPEN_CREATE : SQLITE_OPEN_READONLY;
    const int result = sqlite3_open_v2(file.c_str(), &opened, flags | SQLITE_OPEN_NOMUTEX, nullptr);
    handle_.reset(opened);
    if (result != SQLITE_OK) {
        fail("cannot be opened", result);
    }
    sqlite3_extended_result_codes(opened, 1);
    sqlite3_busy_timeout(opened, busy_ms);
}

void database::fail(const char *what, int code) {
    throw database_error(file_ + ": " + what + ": " + (handle_ ? sqlite3_errmsg(handle_.get()) : "no memory"), code);
}

void database::run(const char *sql) {
    const int result = sqlite3_exec(handle_.get(), sql, nullptr, nullptr, nullptr);
    if (result != SQLITE_OK) {
        fail("cannot be written", result);
    }
}

std::uint64_t database::number(const char *sql) {
    statement of(*this, sql);
    return of.step() ? of.count(0) : 0;
}

statement::statement(database &of, const char *sql) : of_(of) {
    sqlite3_stmt *made = nullptr;
    const int result = sqlite3_prepare_v3(of.get(), sql, -1, SQLITE_PREPARE_PERSISTENT, &made, nullptr);
    handle_.reset(made);
    if (result != SQLITE_OK) {
        of.fail("is no such database", result);
    }
}

bool statement::step() {
    const int result = sqlite3_step(handle_.get());
    if (result == SQLITE_ROW) {
        return true;
    }
    sqlite3_reset(handle_.get());
    if (result != SQLITE_DONE) {
        of_.fail("cannot be used", result);
    }
    return false;
}

void statement::run() {
    while (step()) {
    }
}

std::string statement::text(int column) const {
    const auto *text = reinterpret_cast<const char *>(sqlite3_column_text(handle_.get(), column));
    return text == nullptr ? std::string()
                           : std::string(text, static_cast<std::size_t>(sqlite3_column_bytes(handle_.get(), column)));
}

std::vector<std::uint8_t> statement::bytes(int column) const {
    const auto *first = static_cast<const std::uint8_t *>(sqlite3_column_blob(handle_.get(), column));
    return first == nullptr ? std::vector<std::uint8_t>()
                            : std::vector<std::uint8_t>(first, first + sqlite3_column_bytes(handle_.get(), column));
}

}  // namespace ptp_fleet
