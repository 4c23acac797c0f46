/* The names of the folders below /tmp/mnt. They go into command lines and configuration files, so nothing of a disk's
 * label gets there but letters, digits, ".", "_" and "-". */
#ifndef USBMOUNT_FOLDER_NAME_H
#define USBMOUNT_FOLDER_NAME_H

#include <functional>
#include <string>
#include <string_view>

namespace usbmount
{

/* A service's record has room for this many characters of its disk's name. */
constexpr size_t folder_name_limit = 15;

/* What is left of a label, or of any text; it may be nothing. No dot or dash comes first. */
std::string reduced_label(std::string_view label);

/* `wanted`, a reduced label, or the next free name of the same stem: "Data", "Data_2", "Data_3" ...; without a label
 * "Disk1", "Disk2" ... */
std::string free_folder_name(const std::string &wanted, const std::function<bool(const std::string &)> &is_taken);

/* Names that differ in the case alone are one to Windows clients. */
bool is_same_name(std::string_view a, std::string_view b);

} // namespace usbmount

#endif
