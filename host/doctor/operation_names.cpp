#include "doctor/checks.h"

namespace nasdoctor
{
namespace
{

constexpr const char *names[] = {
    "iconfig_get_value_direct",
    "iconfig_set_value_direct",
    "iconfig_get_intvalue_direct",
    "iconfig_set_intvalue_direct",
    "iconfig_remove_config_tag",
    "istatus_get_value_direct",
    "istatus_set_value_direct",
    "istatus_get_intvalue_direct",
    "istatus_set_intvalue_direct",
    "istatus_remove_status_tag",
    "signal_nas",
    "signal_start",
    "signal_update",
    "signal_wan",
    "syslog_msg",
    "system2",
    "get_process_list",
    "free_process_list",
    "check_process2",
    "kill_process2",
    "quote_r",
    "sf_strncpy",
    "write_file",
    "get_file_string",
    "get_file_value",
    "file_exists",
    "get_wan_ip",
    "get_ifconfig",
    "set_ifconfig",
    "get_ifexist",
    "get_wan_link",
    "get_wan_type",
    "get_wan_ipconfig",
    "get_wan_hw_ifname",
    "get_wansetup_status",
    "get_default_gateway",
    "set_default_gateway",
    "set_default_gateway2",
    "check_default_gateway",
    "local_gateway_is_default_gateway",
    "get_hwaddr_org",
    "get_hwaddr_by_ip",
    "get_hwaddr_flash_raw",
    "get_dns_shadow",
    "dhcpd_set_dns",
    "set_system_dns",
    "get_autodns",
    "read_ftp_private_port",
    "write_ftp_private_port",
    "get_si",
    "is_factory_test_mode",
    "check_diag_flag",
    "check_module_installed",
    "set_usbled",
    "get_led_silent_control",
    "ddnsapi_read_config_by_service_type",
    "encode_crypt",
    "Base64encode",
};

} // namespace

std::span<const char *const> operation_names()
{
    return names;
}

} // namespace nasdoctor
