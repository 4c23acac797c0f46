# The target: MIPS32 big-endian with uClibc-ng. UCLIBC_TOOLCHAIN names a folder with `sysroot` (the C library and the
# kernel's headers) and `libstdcxx` (a static C++ library for the tests; the library itself needs none). The compiler
# is Debian's for MIPS.
set(CMAKE_SYSTEM_NAME Linux)
set(CMAKE_SYSTEM_PROCESSOR mips)
set(UCLIBC_TOOLCHAIN "$ENV{UCLIBC_TOOLCHAIN}" CACHE PATH "Folder of the uClibc-ng tool chain")
if(NOT IS_DIRECTORY "${UCLIBC_TOOLCHAIN}/sysroot")
  message(FATAL_ERROR "Set UCLIBC_TOOLCHAIN to the folder of the uClibc-ng tool chain: no sysroot in '${UCLIBC_TOOLCHAIN}'")
endif()
list(APPEND CMAKE_TRY_COMPILE_PLATFORM_VARIABLES UCLIBC_TOOLCHAIN)
set(_sysroot ${UCLIBC_TOOLCHAIN}/sysroot)
set(_libstdcxx ${UCLIBC_TOOLCHAIN}/libstdcxx)
set(CMAKE_C_COMPILER mips-linux-gnu-gcc)
set(CMAKE_CXX_COMPILER mips-linux-gnu-g++)
set(_include "-isystem /usr/lib/gcc-cross/mips-linux-gnu/12/include -isystem ${_sysroot}/usr/include")
set(CMAKE_C_FLAGS_INIT "-muclibc -nostdinc ${_include}")
set(CMAKE_CXX_FLAGS_INIT
  "-muclibc -nostdinc -nostdinc++ -isystem ${_libstdcxx}/include -isystem ${_libstdcxx}/include/mips-linux-uclibc ${_include}")
set(_link "-B${_sysroot}/usr/lib/ --sysroot=${_sysroot} -L${_sysroot}/usr/lib -L${_sysroot}/lib -static-libgcc")
set(CMAKE_SHARED_LINKER_FLAGS_INIT "${_link}")
set(CMAKE_MODULE_LINKER_FLAGS_INIT "${_link}")
# The unwinder of this compiler asks for a function that only glibc has; libfindobject supplies it.
set(CMAKE_EXE_LINKER_FLAGS_INIT "${_link} -L${_libstdcxx}/lib -static-libstdc++ -Wl,-u,_dl_find_object -lfindobject")
# Its symbols carry no version: a check knows them by its file.
set(NAS_C_LIBRARY ${_sysroot}/lib/libc.so.0)
set(CMAKE_FIND_ROOT_PATH ${_sysroot})
set(CMAKE_FIND_ROOT_PATH_MODE_PROGRAM NEVER)
set(CMAKE_FIND_ROOT_PATH_MODE_LIBRARY ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_INCLUDE ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_PACKAGE ONLY)
# uClibc's loader does not honour the run path: the emulated process is told where the library lies.
set(CMAKE_CROSSCOMPILING_EMULATOR /usr/bin/qemu-mips-static;-L;${_sysroot};-E;LD_LIBRARY_PATH=${CMAKE_BINARY_DIR}/src)
