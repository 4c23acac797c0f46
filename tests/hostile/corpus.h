// The hostile texts of corpus.txt, and what the tests say of texts in words of their own.
#ifndef NAS_TESTS_HOSTILE_CORPUS_H
#define NAS_TESTS_HOSTILE_CORPUS_H

#include <string>
#include <string_view>
#include <vector>

namespace hostile
{

// All texts of the file.
const std::vector<std::string> &whole_corpus();

// Every text, or (unless NAS_HOSTILE_TEST=long) every so-manyth, other ones for each `start`.
std::vector<std::string> corpus(size_t start);

// For messages: one line, control characters and high bytes as \xHH.
std::string shown(std::string_view text);

std::string up_to(std::string_view text, const char *ends); // the part before the first of these characters
std::string cut(std::string_view text, size_t length);
std::string in_quotes(std::string_view text); // as it stands between single quotes: ' is '\''
bool has_any(std::string_view text, std::string_view characters);
bool has_control(std::string_view text);
bool is_file_name(const std::string &text); // of one folder's entry
bool is_prefix(const std::string &part, const std::string &whole);

} // namespace hostile

// For each text of the corpus; says which one it was when something fails.
#define FOR_EACH_TEXT(text, start)                                                                                     \
    for (const std::string &text : hostile::corpus(start))                                                             \
        if (const testing::ScopedTrace trace(__FILE__, __LINE__, "text: " + hostile::shown(text)); true)

#endif
