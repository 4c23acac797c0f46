# Where libiconv_open, libiconv and libiconv_close come from. GNU libiconv is recognised by linking
# libiconv_open: a C library's empty libiconv has no such symbol. For development the C library's own iconv may
# stand in behind the same names; a target build sets NAS_ICONV=GNU, because a small C library knows too few charsets.
set(NAS_ICONV AUTO CACHE STRING "Source of character set conversion: AUTO, GNU or LIBC")
set_property(CACHE NAS_ICONV PROPERTY STRINGS AUTO GNU LIBC)
set(NAS_LIBICONV_ROOT "" CACHE PATH "Where GNU libiconv is installed (empty: the compiler's own search path)")

add_library(nas_iconv INTERFACE)
if(NOT NAS_ICONV STREQUAL "LIBC")
  if(NAS_LIBICONV_ROOT)
    find_library(NAS_LIBICONV_LIBRARY NAMES iconv PATHS ${NAS_LIBICONV_ROOT} PATH_SUFFIXES lib
      NO_DEFAULT_PATH NO_CMAKE_FIND_ROOT_PATH)
  else()
    find_library(NAS_LIBICONV_LIBRARY NAMES iconv)
  endif()
  if(NAS_LIBICONV_LIBRARY)
    include(CheckCSourceCompiles)
    set(CMAKE_REQUIRED_LIBRARIES ${NAS_LIBICONV_LIBRARY})
    check_c_source_compiles("void *libiconv_open(const char *, const char *);
      int main(void) { return libiconv_open(\"UTF-8\", \"EUC-KR\") == 0; }" NAS_HAVE_LIBICONV_OPEN)
    unset(CMAKE_REQUIRED_LIBRARIES)
  endif()
endif()

if(NAS_HAVE_LIBICONV_OPEN)
  message(STATUS "iconv: GNU libiconv, ${NAS_LIBICONV_LIBRARY}")
  target_link_libraries(nas_iconv INTERFACE ${NAS_LIBICONV_LIBRARY})
elseif(NAS_ICONV STREQUAL "GNU")
  message(FATAL_ERROR "NAS_ICONV=GNU, but libiconv_open does not link (set NAS_LIBICONV_ROOT)")
else()
  message(STATUS "iconv: the C library's (development only)")
  target_sources(nas_iconv INTERFACE ${PROJECT_SOURCE_DIR}/src/platform/iconv_libc.c)
endif()
