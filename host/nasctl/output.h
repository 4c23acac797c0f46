/* What nasctl prints, and how it fails. */
#ifndef NASCTL_OUTPUT_H
#define NASCTL_OUTPUT_H

#include <nlohmann/json.hpp>

#include <stdexcept>
#include <string>
#include <vector>

namespace nasctl
{

using Json = nlohmann::ordered_json;

/* The command failed: exit status 1. */
struct Failure : std::runtime_error {
    using std::runtime_error::runtime_error;
};

/* The command line was wrong: exit status 2. */
struct UsageError : std::runtime_error {
    using std::runtime_error::runtime_error;
};

/* Set by --json. */
extern bool json_wanted;

void print_json(const Json &value);
void print_line(const std::string &line);

/* Columns as wide as their longest text; the first row is the heading. */
void print_table(const std::vector<std::vector<std::string>> &rows);

/* On standard error, and nowhere when JSON is wanted. */
void print_progress(const std::string &line);

void print_error(const std::string &message);

std::string yes_or_no(bool value);

} // namespace nasctl

#endif
