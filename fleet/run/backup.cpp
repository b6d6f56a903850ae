// Copies of a store: as it is at one moment, while it is written; and back, when it is whole.
#include <filesystem>

#include "database.h"
#include "run.h"

namespace ptp_fleet {
namespace {

constexpr int pages_at_once = 2000;  // before a writer has its turn

void copy(database &from, database &to) {
    sqlite3_backup *backup = sqlite3_backup_init(to.get(), "main", from.get(), "main");
    if (backup == nullptr) {
        to.fail("cannot be written", sqlite3_errcode(to.get()));
    }
    int result = SQLITE_OK;
    while (result == SQLITE_OK || result == SQLITE_BUSY || result == SQLITE_LOCKED) {
        result = sqlite3_backup_step(backup, pages_at_once);
        if (result != SQLITE_OK && result != SQLITE_DONE) {
            sqlite3_sleep(50);
        }
    }
    const int finished = sqlite3_backup_finish(backup);
    if (result != SQLITE_DONE || finished != SQLITE_OK) {
        to.fail("the copy is not whole", result);
    }
}

void check_whole(database &of) {
    statement asked(of, "PRAGMA integrity_check(1)");
    if (!asked.step() || asked.text(0) != "ok") {
        throw std::runtime_error(of.file() + ": is damaged: " + asked.text(0));
    }
    if (of.number("SELECT count(*) FROM sqlite_schema WHERE name IN ('meta', 'piece', 'source')") != 3) {
        throw std::runtime_error(of.file() + ": is no store of ptp_fleet");
    }
}

/** Under another name until it is whole. */
void copy_file(const std::string &from, const std::string &to) {
    if (std::filesystem::exists(to) || std::filesystem::exists(to + "-wal")) {
        throw std::runtime_error(to + ": is there already; move it away first");
    }
    const std::string unfinished = to + ".unfinished";
    std::filesystem::remove(unfinished);
    {
        database source(from, access::read);
        database target(unfinished, access::write);
        copy(source, target);
        target.run("PRAGMA journal_mode = DELETE");
        check_whole(target);
    }
    std::filesystem::rename(unfinished, to);
}

}  // namespace

void back_up(const std::string &database, const std::string &copy) { copy_file(database, copy); }

void restore(const std::string &copy, const std::string &database) { copy_file(copy, database); }

}  // namespace ptp_fleet
