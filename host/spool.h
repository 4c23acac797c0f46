/* A list of texts in a file that outlives the processes which add to it and take from it. */
#ifndef NASHOST_SPOOL_H
#define NASHOST_SPOOL_H

#include <functional>
#include <string>
#include <vector>

namespace nashost
{

using Texts = std::vector<std::string>;

/* Hands the list to `edit`, alone among all processes, and stores what it made of it: a process that is killed leaves
 * the old list or the new one. A text holds no NUL. False when the list cannot be stored; the old one stays then. */
bool edit_spool(const std::string &path, const std::function<void(Texts &)> &edit);

/* The list as it is just now; empty when there is none. */
Texts read_spool(const std::string &path);

} // namespace nashost

#endif
