/* One key-value store in an SQLite file, used by any number of processes at once. */
#ifndef NASHOST_KEY_VALUE_FILE_H
#define NASHOST_KEY_VALUE_FILE_H

#include <cstddef>
#include <string>
#include <utility>
#include <vector>

struct sqlite3;
struct sqlite3_stmt;

namespace nashost
{

enum class Keeps { always, until_reboot };

/* The file is opened at the first use and stays open, its statements prepared. */
struct KeyValueFile {
    const char *path_setting; /* the setting that holds the file's path */
    Keeps keeps;
    sqlite3 *database = nullptr;
    sqlite3_stmt *select = nullptr;
    sqlite3_stmt *replace = nullptr;
    sqlite3_stmt *erase = nullptr;
};

/* False when the key is absent or the store cannot be read; `value` stays as it was then. */
bool read_value(KeyValueFile &file, const char *key, char *value, size_t size);

bool write_value(KeyValueFile &file, const char *key, const char *value);

/* False when it was absent. */
bool remove_value(KeyValueFile &file, const char *key);

/* Appends all pairs, sorted by key; false when the store cannot be read. */
bool list_values(KeyValueFile &file, std::vector<std::pair<std::string, std::string>> &pairs);

/* The two stores of the router. */
KeyValueFile &config_file();
KeyValueFile &status_file();

} // namespace nashost

#endif
