#include "key_value_file.h"

#include "files.h"
#include "settings.h"
#include "text.h"

#include <fcntl.h>
#include <pthread.h>
#include <sqlite3.h>
#include <syslog.h>
#include <unistd.h>

#include <cerrno>

namespace nashost
{
namespace
{

constexpr int busy_milliseconds = 10000;

bool run(sqlite3 *database, const char *statement)
{
    return sqlite3_exec(database, statement, nullptr, nullptr, nullptr) == SQLITE_OK;
}

/* SQLite's own waiting sleeps up to a tenth of a second between two tries: a process that writes without a pause
 * would keep all others out for longer than they are willing to wait. */
int wait_for_lock(void *, int tries)
{
    constexpr int pause_milliseconds = 1;
    if (tries >= busy_milliseconds / pause_milliseconds)
        return 0;
    sqlite3_sleep(pause_milliseconds);
    return 1;
}

/* Two processes that create the file at the same moment: the loser is refused at once, without waiting
 * for the lock, and tries again. */
bool use_write_ahead_log(sqlite3 *database)
{
    constexpr int pause_milliseconds = 10;
    for (int waited = 0; waited < busy_milliseconds; waited += pause_milliseconds) {
        int result = sqlite3_exec(database, "PRAGMA journal_mode=WAL", nullptr, nullptr, nullptr);
        if (result == SQLITE_OK)
            return true;
        if (result != SQLITE_BUSY && result != SQLITE_LOCKED)
            return false;
        sqlite3_sleep(pause_milliseconds);
    }
    return false;
}

/* Passwords are among the values, so the file is its owner's alone; SQLite gives its side files the same mode. */
void create_private(const std::string &path)
{
    make_parent_folders(path);
    int fd = ::open(path.c_str(), O_RDWR | O_CREAT | O_CLOEXEC, 0600);
    if (fd >= 0)
        ::close(fd);
}

sqlite3_stmt *prepared(sqlite3 *database, const char *text)
{
    sqlite3_stmt *statement = nullptr;
    sqlite3_prepare_v3(database, text, -1, SQLITE_PREPARE_PERSISTENT, &statement, nullptr);
    return statement;
}

bool bind(sqlite3_stmt *statement, int index, const char *text)
{
    return sqlite3_bind_text(statement, index, text, -1, nullptr) == SQLITE_OK;
}

const char *column(sqlite3_stmt *statement, int index)
{
    const unsigned char *text = sqlite3_column_text(statement, index);
    return text == nullptr ? "" : reinterpret_cast<const char *>(text);
}

void close_file(KeyValueFile &file)
{
    sqlite3_finalize(file.select);
    sqlite3_finalize(file.replace);
    sqlite3_finalize(file.erase);
    sqlite3_close(file.database);
    file.select = file.replace = file.erase = nullptr;
    file.database = nullptr;
}

/* A lock belongs to a process, and SQLite remembers in memory which ones its process holds. A child born with
 * an open store would trust locks that it does not have, even in a store that it opens itself. So nothing is
 * open while a process forks; parent and child open anew at their next use. */
void close_before_fork()
{
    close_file(config_file());
    close_file(status_file());
}

bool prepare_statements(KeyValueFile &file)
{
    file.select = prepared(file.database, "SELECT value FROM pair WHERE key = ?");
    // An unchanged value is not written: it costs no sync and spares the flash.
    file.replace = prepared(file.database, "INSERT INTO pair VALUES (?, ?) ON CONFLICT (key) DO UPDATE "
                                           "SET value = excluded.value WHERE value IS NOT excluded.value");
    file.erase = prepared(file.database, "DELETE FROM pair WHERE key = ?");
    return file.select != nullptr && file.replace != nullptr && file.erase != nullptr;
}

bool set_up(KeyValueFile &file, const std::string &path)
{
    constexpr int flags = SQLITE_OPEN_READWRITE | SQLITE_OPEN_CREATE | SQLITE_OPEN_NOMUTEX;
    if (sqlite3_open_v2(path.c_str(), &file.database, flags, nullptr) != SQLITE_OK)
        return false;
    sqlite3 *database = file.database;
    sqlite3_busy_handler(database, wait_for_lock, nullptr);
    // Closing happens at every fork, so it must be cheap: the log is folded in by a later write instead.
    sqlite3_db_config(database, SQLITE_DBCONFIG_NO_CKPT_ON_CLOSE, 1, nullptr);
    return use_write_ahead_log(database) && run(database, "PRAGMA wal_autocheckpoint=100") &&
           run(database, file.keeps == Keeps::always ? "PRAGMA synchronous=FULL" : "PRAGMA synchronous=OFF") &&
           run(database, "CREATE TABLE IF NOT EXISTS pair (key TEXT PRIMARY KEY, value TEXT NOT NULL) WITHOUT ROWID") &&
           prepare_statements(file);
}

bool open_file(KeyValueFile &file)
{
    static const int fork_guard = pthread_atfork(close_before_fork, nullptr, nullptr);
    if (file.database != nullptr)
        return true;
    if (fork_guard != 0)
        return false;
    std::string path = setting(file.path_setting);
    create_private(path);
    if (set_up(file, path))
        return true;
    syslog(LOG_ERR, "store %s: %s", path.c_str(), sqlite3_errmsg(file.database));
    close_file(file);
    return false;
}

/* Nobody has written to it yet: to look into it creates nothing. */
bool is_new(const KeyValueFile &file)
{
    return file.database == nullptr && access(setting(file.path_setting).c_str(), F_OK) != 0 && errno == ENOENT;
}

} // namespace

bool read_value(KeyValueFile &file, const char *key, char *value, size_t size)
{
    if (is_new(file) || !open_file(file) || !bind(file.select, 1, key))
        return false;
    bool found = sqlite3_step(file.select) == SQLITE_ROW;
    if (found)
        copy_cut(value, size, column(file.select, 0));
    sqlite3_reset(file.select);
    return found;
}

bool write_value(KeyValueFile &file, const char *key, const char *value)
{
    if (!open_file(file) || !bind(file.replace, 1, key) || !bind(file.replace, 2, value))
        return false;
    bool done = sqlite3_step(file.replace) == SQLITE_DONE;
    sqlite3_reset(file.replace);
    return done;
}

bool remove_value(KeyValueFile &file, const char *key)
{
    if (is_new(file) || !open_file(file) || !bind(file.erase, 1, key))
        return false;
    bool done = sqlite3_step(file.erase) == SQLITE_DONE && sqlite3_changes(file.database) > 0;
    sqlite3_reset(file.erase);
    return done;
}

bool list_values(KeyValueFile &file, std::vector<std::pair<std::string, std::string>> &pairs)
{
    if (is_new(file))
        return true;
    if (!open_file(file))
        return false;
    sqlite3_stmt *statement = prepared(file.database, "SELECT key, value FROM pair ORDER BY key");
    int result = SQLITE_ERROR;
    while (statement != nullptr && (result = sqlite3_step(statement)) == SQLITE_ROW)
        pairs.emplace_back(column(statement, 0), column(statement, 1));
    sqlite3_finalize(statement);
    return result == SQLITE_DONE;
}

KeyValueFile &config_file()
{
    static KeyValueFile file = {"config_store", Keeps::always};
    return file;
}

KeyValueFile &status_file()
{
    static KeyValueFile file = {"status_store", Keeps::until_reboot};
    return file;
}

} // namespace nashost
