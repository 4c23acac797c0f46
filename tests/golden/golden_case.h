// A golden case is a folder: "case" says what is there before and what is called; "transcript" is every outside act and
// the result; "tree" lists what lies below /etc, /mnt, /tmp and /var afterwards, with modes; "files" holds every
// regular file of it, byte for byte, under its own path. tests/README.md describes the lines of "case".
#ifndef NAS_TESTS_GOLDEN_CASE_H
#define NAS_TESTS_GOLDEN_CASE_H

#include "support/recording_host.h"
#include "support/sandbox.h"

#include <map>
#include <optional>
#include <string>
#include <vector>

namespace nas_test
{

// What is expected, and what came out.
struct GoldenState {
    std::string transcript;
    std::string tree;
    std::map<std::string, std::string> files; // per absolute path
};

struct GoldenCase {
    std::string function;
    std::optional<std::string> mode;   // none: null
    std::optional<std::string> origin; // none: null
    int run_count = 0;                 // of a periodic callback's record
    std::string complaint;             // what is wrong with the case itself
};

// The cases' folders, "media/first_start", ordered. The golden folder is opened here, before anything covers it.
std::vector<std::string> find_golden_cases();

// What the case calls, by the name alone.
std::string golden_function(const std::string &folder);

// Sets up what "case" describes.
GoldenCase set_up_golden_case(const std::string &folder, Sandbox &sandbox, RecordingHost &host);

// A missing file counts as empty.
GoldenState read_expectation(const std::string &folder);
void write_expectation(const std::string &folder, const GoldenState &state);

// What the sandbox holds now.
std::map<std::string, std::string> read_tree_files();

} // namespace nas_test

#endif
