#include "plan/diff.h"

#include <algorithm>
#include <cstddef>
#include <vector>

namespace nasplan
{
namespace
{

/* Texts that differ in more lines than this are shown as one replaced by the other. */
constexpr size_t table_limit = 16000000;
constexpr size_t lines_around = 3;

using Lines = std::vector<std::string>;

struct Edit {
    char sign; /* ' ', '-' or '+' */
    const std::string *line;
};

/* Each line with its line feed: one that lacks it is another line. */
Lines lines_of(const std::string &text)
{
    Lines lines;
    for (size_t begin = 0; begin < text.size();) {
        const size_t feed = text.find('\n', begin);
        const size_t end = feed == std::string::npos ? text.size() : feed + 1;
        lines.push_back(text.substr(begin, end - begin));
        begin = end;
    }
    return lines;
}

size_t common_beginning(const Lines &a, const Lines &b)
{
    size_t count = 0;
    while (count < a.size() && count < b.size() && a[count] == b[count])
        count++;
    return count;
}

size_t common_end(const Lines &a, const Lines &b, size_t beginning)
{
    size_t count = 0;
    while (beginning + count < std::min(a.size(), b.size()) && a[a.size() - 1 - count] == b[b.size() - 1 - count])
        count++;
    return count;
}

/* How many lines a[i...] and b[j...] have in common at most. */
class CommonLines
{
  public:
    CommonLines(const Lines &a, const Lines &b, size_t begin, size_t a_end, size_t b_end)
        : columns_(b_end - begin + 1), begin_(begin), counts_((a_end - begin + 1) * columns_)
    {
        for (size_t i = a_end; i-- > begin;) {
            for (size_t j = b_end; j-- > begin;)
                at(i, j) = a[i] == b[j] ? at(i + 1, j + 1) + 1 : std::max(at(i + 1, j), at(i, j + 1));
        }
    }
    unsigned &at(size_t i, size_t j)
    {
        return counts_[(i - begin_) * columns_ + (j - begin_)];
    }

  private:
    size_t columns_, begin_;
    std::vector<unsigned> counts_;
};

void add_changed_middle(std::vector<Edit> &edits, const Lines &a, const Lines &b, size_t begin, size_t a_end,
                        size_t b_end)
{
    size_t i = begin, j = begin;
    if ((a_end - begin + 1) * (b_end - begin + 1) <= table_limit) {
        CommonLines common(a, b, begin, a_end, b_end);
        while (i < a_end && j < b_end) {
            if (a[i] == b[j]) {
                edits.push_back({' ', &a[i++]});
                j++;
            } else if (common.at(i + 1, j) >= common.at(i, j + 1)) {
                edits.push_back({'-', &a[i++]});
            } else {
                edits.push_back({'+', &b[j++]});
            }
        }
    }
    while (i < a_end)
        edits.push_back({'-', &a[i++]});
    while (j < b_end)
        edits.push_back({'+', &b[j++]});
}

std::vector<Edit> edits_between(const Lines &a, const Lines &b)
{
    const size_t beginning = common_beginning(a, b), end = common_end(a, b, beginning);
    std::vector<Edit> edits;
    for (size_t i = 0; i < beginning; i++)
        edits.push_back({' ', &a[i]});
    add_changed_middle(edits, a, b, beginning, a.size() - end, b.size() - end);
    for (size_t i = a.size() - end; i < a.size(); i++)
        edits.push_back({' ', &a[i]});
    return edits;
}

std::string range(size_t first, size_t count)
{
    const size_t shown = count == 0 ? first : first + 1;
    return std::to_string(shown) + (count == 1 ? "" : "," + std::to_string(count));
}

std::string edit_text(const Edit &edit)
{
    const bool ended = edit.line->ends_with('\n');
    return edit.sign + *edit.line + (ended ? "" : "\n\\ No newline at end of file\n");
}

/* How many lines of the old and the new text stand before, or are in, some edits. */
struct Count {
    size_t before = 0, after = 0;

    void add(const Edit &edit)
    {
        before += edit.sign != '+' ? 1 : 0;
        after += edit.sign != '-' ? 1 : 0;
    }
};

/* Where the hunk that begins at `begin` ends: behind it come more unchanged lines than are shown around two hunks. */
size_t hunk_end(const std::vector<Edit> &edits, size_t begin)
{
    size_t last_change = begin;
    for (size_t i = begin; i < edits.size() && i <= last_change + 2 * lines_around + 1; i++) {
        if (edits[i].sign != ' ')
            last_change = i;
    }
    return std::min(edits.size(), last_change + lines_around + 1);
}

} // namespace

std::string unified_diff(const std::string &before, const std::string &after)
{
    const Lines a = lines_of(before), b = lines_of(after);
    const std::vector<Edit> edits = edits_between(a, b);
    std::string text;
    Count passed;
    for (size_t at = 0; at < edits.size();) {
        size_t change = at;
        while (change < edits.size() && edits[change].sign == ' ')
            change++;
        if (change == edits.size())
            break;
        const size_t begin = std::max(at, change - std::min(change, lines_around)), end = hunk_end(edits, change);
        for (; at < begin; at++)
            passed.add(edits[at]);
        Count hunk;
        std::string lines;
        for (; at < end; at++) {
            hunk.add(edits[at]);
            lines += edit_text(edits[at]);
        }
        text += "@@ -" + range(passed.before, hunk.before) + " +" + range(passed.after, hunk.after) + " @@\n" + lines;
        passed.before += hunk.before;
        passed.after += hunk.after;
    }
    return text;
}

} // namespace nasplan
