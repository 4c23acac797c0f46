/* The programs that a firmware puts its own signals in place of: the settings update_hook and wan_hook. */
#ifndef NASHOST_HOOKS_H
#define NASHOST_HOOKS_H

namespace nashost
{

/* Both run in the background. A WAN hook waits for the one before it. */
void start_update_hook();
void start_wan_hook();

/* Is somebody setting the WAN up: the hook, or whoever else holds the lock <run_dir>/wan.lock? */
bool wan_is_being_set_up();

} // namespace nashost

#endif
