// Conversion of texts between character sets, and the other tools for texts and paths.
#include "fuzz/fuzz.h"

#include "support/known_leak.h"

#include "nas/util.h"

#include <cstring>
#include <iterator>
#include <vector>

namespace nas_fuzz
{
namespace
{

constexpr const char *charsets[] = {"UTF-8", "EUC-KR", "CP949", "ISO-8859-1", "UTF-16LE", "ASCII", "NONE", ""};

void convert(World &world, const std::string &text, const char *from, const char *to, int size)
{
    std::vector<char> converted(static_cast<std::size_t>(size));
    const nas_test::KnownLeak documented; // of the converter, when the result has no room
    world.host.call(iconv_string, text.c_str(), converted.data(), size, from, to);
    require(std::memchr(converted.data(), '\0', converted.size()) != nullptr, "a converted text ends");
}

} // namespace

void try_input(Input input, World &world)
{
    const char *const from = charsets[input.choice(std::size(charsets))];
    const char *const to = charsets[input.choice(std::size(charsets))];
    const int size = static_cast<int>(input.choice(256)) + 1;
    const std::string path = input.text();
    const std::string text = input.text();

    convert(world, text, from, to, size);
    convert(world, text, from, to, static_cast<int>(text.size()) * 3 + 1);
    std::vector<char> copy(text.size() + 1);
    world.host.call(iconv_to_utf8, text.c_str(), copy.data(), static_cast<int>(copy.size()));
    world.host.call(iconv_to_local, text.c_str(), copy.data(), static_cast<int>(copy.size()));
    world.host.call(safe_strcpy, copy.data(), text.c_str());
    require(text == copy.data(), "a copy is a copy");
    world.host.call(isdir, path.c_str());
    if (path.find("..") == std::string::npos)
        world.host.call(storlib_create_dir, ("/tmp/mnt/" + path).c_str(), 0755U);
}

} // namespace nas_fuzz
