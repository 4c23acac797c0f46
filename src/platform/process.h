/* Processes, the shell and small files. */
#ifndef NAS_PLATFORM_PROCESS_H
#define NAS_PLATFORM_PROCESS_H

#ifdef __cplusplus
extern "C" {
#endif

#if defined(__GNUC__)
#define NAS_PRINTF_LIKE(format_at, first_argument) __attribute__((format(printf, format_at, first_argument)))
#else
#define NAS_PRINTF_LIKE(format_at, first_argument)
#endif

/* One running process. `name` is its own title up to the first blank, without directories: a daemon
 * that titles itself "proftpd: (accepting connections)" is named "proftpd:", "/sbin/smbd -D" is
 * named "smbd". `cmdline` is the command line with single blanks between the words. Both are cut. */
struct ProcessEntry {
    struct ProcessEntry *next;
    int pid;
    char name[64];
    char cmdline[512];
};

struct ProcessList {
    int count;
    struct ProcessEntry *first;
};

/* Formats a command line and runs it with `system`; returns the command's status, 0 for success. */
int system2(const char *format, ...) NAS_PRINTF_LIKE(1, 2);

/* Fills `list` with the running processes whose `name` or short kernel name equals `name` exactly;
 * null takes all. `flags` is 0. Returns the count. The host owns the nodes until they are released. */
int get_process_list(const char *name, struct ProcessList *list, int flags);

/* Releases the nodes of `list` and leaves it empty. Returns 0. */
int free_process_list(struct ProcessList *list);

/* Non-zero while the process whose decimal pid `pid_file` holds runs. */
int check_process2(const char *pid_file);

/* Sends `signal` to the process whose pid `pid_file` holds. Returns 0, -1 on failure. */
int kill_process2(const char *pid_file, int signal);

/* Escapes `text` in place so that it is safe between single quotes of a shell command. Never writes
 * past `capacity` bytes; text that does not fit is cut, never in the middle of an escape. Returns `text`. */
char *quote_r(char *text, int capacity);

/* Copies at most `size - 1` characters and always terminates. Returns `dst`. */
char *sf_strncpy(char *dst, const char *src, int size);

/* Replaces the file's content by `text`. Returns 0, -1 on failure. */
int write_file(const char *path, const char *text);

/* Reads the first `size - 1` bytes, without a trailing newline. Non-zero when the file was read. */
int get_file_string(const char *path, char *buffer, int size);

/* The decimal integer that the file holds; 0 when it cannot be read. `flags` is 1. */
int get_file_value(const char *path, int flags);

/* Non-zero when the path exists. */
int file_exists(const char *path);

#ifdef __cplusplus
}
#endif
#endif
