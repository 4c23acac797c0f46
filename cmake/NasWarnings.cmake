# One set of flags for all code of the project; warnings are errors with gcc and clang alike. A hardened C library would
# warn of commands whose status is not looked at: that is how the library works.
add_library(nas_flags INTERFACE)
target_compile_options(nas_flags INTERFACE
  -Wall -Wextra -Werror -Wpedantic -Wshadow -Wformat=2 -Wcast-qual -Wundef -Wvla -Wno-unused-result
  $<$<COMPILE_LANGUAGE:CXX>:-Wnon-virtual-dtor -Wold-style-cast>
  $<$<COMPILE_LANGUAGE:C>:-Wmissing-prototypes>)
# scandir and stat fail on large inodes and files of a 32-bit system otherwise.
target_compile_definitions(nas_flags INTERFACE _FILE_OFFSET_BITS=64)
if(NAS_SANITIZE)
  target_compile_options(nas_flags INTERFACE
    -fsanitize=address,undefined -fno-sanitize-recover=all -fno-omit-frame-pointer)
  target_link_options(nas_flags INTERFACE -fsanitize=address,undefined)
endif()
# clang alone: what the fuzzer needs to see which way an input went.
if(NAS_FUZZ)
  target_compile_options(nas_flags INTERFACE
    -O1 -g -fsanitize=fuzzer-no-link,address,undefined -fno-sanitize-recover=all -fno-omit-frame-pointer)
  target_link_options(nas_flags INTERFACE -fsanitize=address,undefined)
endif()
