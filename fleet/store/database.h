// SQLite with owners and exceptions.
#pragma once

#include <sqlite3.h>

#include <cstdint>
#include <memory>
#include <span>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

namespace ptp_fleet {

/** What the database said. */
class database_error : public std::runtime_error {
  public:
    database_error(const std::string &what, int code) : std::runtime_error(what), code_(code) {}
    /** Whether it may go by: the disk is full, somebody else writes. */
    bool may_pass() const;

  private:
    int code_;
};

class database;

/** A statement, used again and again: bind() all, then step() until it says false. */
class statement {
  public:
    statement(database &of, const char *sql);

    template <typename... values>
    statement &bind(const values &...all) {
        sqlite3_reset(handle_.get());
        int place = 0;
        (bind_one(++place, all), ...);
        return *this;
    }
    /** Whether there is a row. */
    bool step();
    /** For what gives no rows. */
    void run();

    std::int64_t number(int column) const { return sqlite3_column_int64(handle_.get(), column); }
    std::uint64_t count(int column) const { return static_cast<std::uint64_t>(number(column)); }
    double real(int column) const { return sqlite3_column_double(handle_.get(), column); }
    bool is_null(int column) const { return sqlite3_column_type(handle_.get(), column) == SQLITE_NULL; }
    std::string text(int column) const;
    std::vector<std::uint8_t> bytes(int column) const;

  private:
    struct finalize {
        void operator()(sqlite3_stmt *each) const { sqlite3_finalize(each); }
    };

    // Bound memory stays where it is until the statement has run.
    void bind_one(int place, std::string_view text) {
        sqlite3_bind_text(handle_.get(), place, text.data(), static_cast<int>(text.size()), SQLITE_STATIC);
    }
    void bind_one(int place, std::uint64_t value) {
        sqlite3_bind_int64(handle_.get(), place, static_cast<sqlite3_int64>(value));
    }
    void bind_one(int place, std::int64_t value) { sqlite3_bind_int64(handle_.get(), place, value); }
    void bind_one(int place, int value) { sqlite3_bind_int64(handle_.get(), place, value); }
    void bind_one(int place, double value) { sqlite3_bind_double(handle_.get(), place, value); }
    void bind_one(int place, std::span<const std::uint8_t> bytes) {
        sqlite3_bind_blob(handle_.get(), place, bytes.empty() ? reinterpret_cast<const void *>("") : bytes.data(),
                          static_cast<int>(bytes.size()), SQLITE_STATIC);
    }
    void bind_one(int place, const std::vector<std::uint8_t> &bytes) {
        bind_one(place, std::span<const std::uint8_t>(bytes));
    }

    database &of_;
    std::unique_ptr<sqlite3_stmt, finalize> handle_;
};

enum class access : std::uint8_t { write, read };

/** A file, opened by one thread at a time. All throw database_error. */
class database {
  public:
    database(const std::string &file, access mode);

    void run(const char *sql);
    std::uint64_t number(const char *sql);
    int changed_rows() const { return sqlite3_changes(handle_.get()); }
    sqlite3 *get() const { return handle_.get(); }
    const std::string &file() const { return file_; }
    [[noreturn]] void fail(const char *what, int code);

  private:
    struct close {
        void operator()(sqlite3 *each) const { sqlite3_close_v2(each); }
    };
    std::string file_;
    std::unique_ptr<sqlite3, close> handle_;
};

/** Everything until commit(), or nothing. */
class transaction {
  public:
    explicit transaction(database &of) : of_(of) { of_.run("BEGIN IMMEDIATE"); }
    ~transaction() {
        if (!is_done_) {
            sqlite3_exec(of_.get(), "ROLLBACK", nullptr, nullptr, nullptr);
        }
    }
    transaction(const transaction &) = delete;
    transaction &operator=(const transaction &) = delete;
    void commit() {
        of_.run("COMMIT");
        is_done_ = true;
    }

  private:
    database &of_;
    bool is_done_ = false;
};

}  // namespace ptp_fleet
