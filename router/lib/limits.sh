# shellcheck shell=bash
# Root in the router is root on this machine's kernel; what would reach past the namespaces is taken away, both from its
# first process and from whatever enters it.
# shellcheck disable=SC2034 # used by those who source this
DROPPED=-sys_time,-sys_module,-sys_boot,-sys_rawio,-syslog,-wake_alarm,-mac_admin,-mac_override
