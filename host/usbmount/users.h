/* The processes that use a volume or a device, as /proc shows them. No file of the volume itself is looked at: one
 * whose disk is gone would hang who asks. */
#ifndef USBMOUNT_USERS_H
#define USBMOUNT_USERS_H

#include <string>
#include <string_view>
#include <vector>

namespace usbmount
{

struct User {
    int pid = 0;
    std::string name;
};

/* Is the path the folder, or something in it? */
bool is_inside(std::string_view path, std::string_view folder);

/* Who has a file open there, runs a program of it, has one mapped, or stands in it. */
std::vector<User> users_of(const std::string &folder);

/* Has any process the device open? */
bool is_device_open(const std::string &device);

} // namespace usbmount

#endif
