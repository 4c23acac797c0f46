/* The folders below /tmp/mnt: which one a volume gets, and that none stays behind. */
#ifndef USBMOUNT_FOLDERS_H
#define USBMOUNT_FOLDERS_H

#include "volume.h"

#include <string>
#include <vector>

namespace usbmount
{

/* ---- the rules: the text of the file that keeps which volume has which folder, lines "UUID FOLDER [LABEL]" ---- */

/* The folder that the volume had when it was first seen with its label; empty when it is not known. A line without a
 * label is for any. */
std::string known_folder(const std::string &text, const FileSystem &volume);

/* The text with the volume's folder; the oldest go when there are too many. */
std::string with_folder(const std::string &text, const FileSystem &volume, const std::string &folder);

/* ---- the folders ---- */

/* Makes the folder for a volume: the one that it had before, or one named after its label, if that is free. Returns its
 * path, empty on failure. */
std::string make_folder(const FileSystem &volume);

/* Keeps in mind where the volume is mounted: until it is unmounted, and, the first time, for ever. */
void remember_folder(const std::string &volume_name, const FileSystem &volume, const std::string &folder);

/* Removes the folder if it is a free one of ours; what somebody has put into it stays. */
void remove_folder(const std::string &folder);

/* Removes what remembered volumes have left: of one volume ("sda1") or of all of a disk ("sda"). */
void remove_left_folders(const std::string &name);

} // namespace usbmount

#endif
