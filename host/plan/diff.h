/* The difference of two texts, as "diff -u" shows it. */
#ifndef NASPLAN_DIFF_H
#define NASPLAN_DIFF_H

#include <string>

namespace nasplan
{

/* The hunks, with three lines around each; empty for equal texts. */
std::string unified_diff(const std::string &before, const std::string &after);

} // namespace nasplan

#endif
