// What stopping all services writes down where none of them runs.
#ifndef NAS_TESTS_STOPPED_SERVICES_H
#define NAS_TESTS_STOPPED_SERVICES_H

#include <string>

namespace nas_test
{

// Each daemon is told to end.
inline const std::string all_told_to_end = "run killall serviced -> 1\n"
                                           "run killall nmbd -> 1\n"
                                           "run /usr/bin/killall smbd -> 1\n"
                                           "run killall lighttpd_kelsto -> 1\n"
                                           "run /usr/bin/killall proftpd -> 1\n"
                                           "run /usr/bin/killall lighttpd -> 1\n"
                                           "run /usr/bin/killall rsync -> 1\n"
                                           "run /usr/bin/killall transmission-daemon -> 1\n"
                                           "run /usr/bin/killall minidlna -> 1\n";
inline const std::string telnet_told_to_end = "run /usr/bin/killall telnetd -> 1\n"
                                              "run /usr/bin/killall telnetd -> 1\n";

// What is taken down of a package environment that is not there, but for its telnet server.
inline const std::string environment_down = "run /sbin/iptables -D INPUT -p tcp ! -i br-lan --dport 23 -j DROP -> 0\n"
                                            "run /bin/umount /tmp/cur/proc -> 0\n"
                                            "unlink /tmp/cur -> failed\n"
                                            "set-status entware = 0\n";

// Each daemon is waited for.
inline const std::string all_waited_for = "run /usr/bin/killall smbd -> 1\n"
                                          "stderr: /usr/bin/killall smbd\n"
                                          "list smbd -> 0\n"
                                          "run /usr/bin/killall proftpd -> 1\n"
                                          "stderr: /usr/bin/killall proftpd\n"
                                          "list proftpd: -> 0\n"
                                          "run /usr/bin/killall lighttpd -> 1\n"
                                          "stderr: /usr/bin/killall lighttpd\n"
                                          "list lighttpd -> 0\n"
                                          "run /usr/bin/killall rsync -> 1\n"
                                          "stderr: /usr/bin/killall rsync\n"
                                          "list rsync -> 0\n"
                                          "run /usr/bin/killall nalvexcloud -> 1\n"
                                          "stderr: /usr/bin/killall nalvexcloud\n"
                                          "list nalvexcloud -> 0\n"
                                          "run /usr/bin/killall transmission-daemon -> 1\n"
                                          "stderr: /usr/bin/killall transmission-daemon\n"
                                          "list transmission-daemon -> 0\n"
                                          "run /usr/bin/killall minidlna -> 1\n"
                                          "stderr: /usr/bin/killall minidlna\n"
                                          "list minidlna -> 0\n";
inline const std::string telnet_waited_for = "run /usr/bin/killall telnetd -> 1\n"
                                             "stderr: /usr/bin/killall telnetd\n"
                                             "list telnetd -> 0\n";

inline const std::string services_stopped =
    all_told_to_end + telnet_told_to_end + environment_down + all_waited_for + telnet_waited_for;

} // namespace nas_test

#endif
