/* Passwords stay out of what is shown. */
#ifndef NASPLAN_SECRETS_H
#define NASPLAN_SECRETS_H

#include "plan/acts.h"
#include "plan/changed_files.h"

#include <string>
#include <vector>

namespace nasplan
{

/* The stored users' passwords, in every form in which a command or a record holds one. */
std::vector<std::string> stored_secrets();

/* Account commands and records are shown with "********" in the place of every secret, other commands in the place of a
 * quoted word that is one: a short password must not garble what has nothing to do with it. */
std::string without_secrets(const Act &act, const std::vector<std::string> &secrets);

/* Not everybody may read it, it is a daemon's list of secrets, or an account command works on it: its content is not
 * shown. */
bool is_secret(const ChangedFile &file, const std::vector<Act> &acts);

} // namespace nasplan

#endif
