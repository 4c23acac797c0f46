// What the fuzz targets share. A target defines try_input: it makes a small world of the input, calls the library in it
// and checks what must hold whatever the input is.
#ifndef NAS_TESTS_FUZZ_H
#define NAS_TESTS_FUZZ_H

#include "support/recording_host.h"
#include "support/sandbox.h"

#include <cstddef>
#include <string>
#include <string_view>

namespace nas_fuzz
{

// An input is a row of texts, each ended by a zero byte, so that a seed is easily made and any byte stands in a text.
class Input
{
  public:
    explicit Input(std::string_view bytes) : rest_(bytes)
    {
    }
    bool at_end() const
    {
        return rest_.empty();
    }
    std::string text();                 // the next one; empty at the end
    std::size_t choice(std::size_t of); // the next byte, as a number below `of`; 0 at the end
    std::string rest();                 // all that is left, zero bytes too

  private:
    std::string_view rest_;
};

struct World {
    nas_test::Sandbox &sandbox;
    nas_test::RecordingHost &host;
};

void try_input(Input input, World &world);

// Ends the program when it does not hold.
void require(bool holds, const char *what);

// Checks that a field of a record is a text with an end.
template <std::size_t size>
void require_end(const char (&field)[size], const char *what)
{
    require(std::string_view(field, size).find('\0') != std::string_view::npos, what);
}

// Puts a file, with the folders above it, below `root`; a folder when the path ends in "/"; a link to `content` when it
// begins with "@". What no file system would hold is left out. The path never leaves `root`.
void plant(const std::string &root, std::string path, const std::string &content);

// The same for as many pairs of path and content as the input has, 64 at most.
void plant_all(const std::string &root, Input &input);

// Makes a disk's usual surroundings: Disk1 on sda1, mounted, with a folder, and the addresses of WAN and LAN.
void set_up_router(World &world);

} // namespace nas_fuzz

#endif
