#!/bin/bash
# Builds the target's tool chain and prints its folder: uClibc-ng for MIPS32 big-endian, a static C++ library for the
# tests (the library itself needs none) and GNU libiconv, all with Debian's cross compiler. Five minutes on two cores;
# nothing is done when it is there. It lies in ${XDG_CACHE_HOME:-~/.cache}/libnas, outside of the tree.
#
# All sources are Debian's: two packages (tools/setup.sh target), and the file that carries GNU libiconv 1.14, which
# is fetched from $DEBIAN_MIRROR and checked.
set -euo pipefail

here=$(cd "$(dirname "$0")" && pwd)
uclibc_source=/usr/src/uClibc-ng-1.0.35.tar.xz
gcc_source=$(echo /usr/src/gcc-12/gcc-12*.tar.xz)
iconv_file=node-iconv_3.0.1+~3.0.0.orig.tar.gz
iconv_address=${DEBIAN_MIRROR:-http://deb.debian.org/debian}/pool/main/n/node-iconv/$iconv_file
iconv_sum=99792d61b7c97b78ba7488f334c693a65797f8f05b2314404eb968ea3b60a79c
jobs=${JOBS:-$(nproc)}

# What the result depends on names its folder.
identity=$({ cat "$here"/*; mips-linux-gnu-gcc --version; dpkg-query -W uclibc-source gcc-12-source \
  linux-libc-dev-mips-cross; } | sha256sum | cut -c 1-12)
cache=${XDG_CACHE_HOME:-$HOME/.cache}/libnas
prefix=$cache/mips-uclibc-$identity
sysroot=$prefix/sysroot
work=$prefix/work
gcc_folder=$(dirname "$(mips-linux-gnu-gcc -print-libgcc-file-name)")

# logged NAME COMMAND...: runs it and keeps quiet unless it fails.
logged() {
  local log=$prefix/$1.log
  shift
  "$@" > "$log" 2>&1 || {
    tail -n 30 "$log" >&2
    echo "The whole log is $log" >&2
    exit 1
  }
}

# The compiler's own folder of headers mixes the kernel's with another C library's.
install_kernel_headers() {
  dpkg -L linux-libc-dev-mips-cross | sed -n 's,^/usr/mips-linux-gnu/\(include/.*\.h\)$,\1,p' > "$work/headers"
  mkdir -p "$work/kernel" "$sysroot/usr"
  tar -C /usr/mips-linux-gnu -cf - -T "$work/headers" | tar -C "$work/kernel" -xf -
  cp -a "$work/kernel/include" "$sysroot/usr/"
}

build_uclibc() {
  tar -C "$work" -xJf "$uclibc_source"
  cd "$work"/uClibc-ng-*/
  { cat "$here/uclibc.config"; echo "KERNEL_HEADERS=\"$work/kernel/include\""; } > .config
  # "yes" is ended by a broken pipe.
  logged uclibc-configure bash -c 'yes "" | make ARCH=mips oldconfig; grep -q "^ARCH_BIG_ENDIAN=y" .config'
  logged uclibc-make make ARCH=mips -j"$jobs"
  logged uclibc-install make ARCH=mips PREFIX="$sysroot" install
}

# The compiler's own start: the C library's headers and files instead of those it was made for.
write_compiler() {
  mkdir -p "$work/bin"
  cat > "$work/bin/$1" <<WRAPPER
#!/bin/sh
case " \$* " in
  *" -c "* | *" -S "* | *" -E "* | *" -fsyntax-only "*) link= ;;
  *) link="--sysroot=$sysroot -B$sysroot/usr/lib/ -L$sysroot/usr/lib -L$sysroot/lib -static-libgcc" ;;
esac
exec mips-linux-gnu-$1 -muclibc -nostdinc \$link "\$@" -isystem $gcc_folder/include -isystem $sysroot/usr/include
WRAPPER
  chmod +x "$work/bin/$1"
}

build_libstdcxx() {
  tar -C "$work" -xJf "$gcc_source" --wildcards '*/libstdc++-v3/*' '*/libgcc/*' '*/config/*' '*/include/*' \
    '*/libiberty/*' '*/gcc/BASE-VER' '*/gcc/DATESTAMP' '*/config*' '*/install-sh' '*/ltmain.sh' '*/missing' \
    '*/mkinstalldirs' '*/depcomp' '*/compile' '*/move-if-change' '*/symlink-tree'
  local top
  top=$(echo "$work"/gcc-12*)
  # Without it configure finds no threads, and there is no std::mutex.
  ln -sf gthr-posix.h "$top/libgcc/gthr-default.h"
  mkdir -p "$work/libstdcxx"
  cd "$work/libstdcxx"
  export CC=$work/bin/gcc CXX=$work/bin/g++ CFLAGS="-O2 -ffunction-sections -fdata-sections"
  export CXXFLAGS=$CFLAGS
  local tool
  for tool in AR RANLIB NM LD AS STRIP; do
    export "$tool=mips-linux-gnu-$(echo $tool | tr '[:upper:]' '[:lower:]')"
  done
  logged libstdcxx-configure "$top/libstdc++-v3/configure" --build=x86_64-linux-gnu --host=mips-linux-uclibc \
    --prefix="$prefix/libstdcxx" --with-gxx-include-dir="$prefix/libstdcxx/include" --disable-multilib --disable-nls \
    --disable-shared --enable-static --disable-libstdcxx-pch --disable-libstdcxx-verbose --enable-clocale=generic
  logged libstdcxx-make make -j"$jobs"
  logged libstdcxx-install make install
  "$CC" -O2 -Wall -c "$here/find_object.c" -o "$work/find_object.o"
  mips-linux-gnu-ar rcs "$prefix/libstdcxx/lib/libfindobject.a" "$work/find_object.o"
}

build_libiconv() {
  local archive=$cache/$iconv_file
  if ! echo "$iconv_sum  $archive" | sha256sum --check --status 2> /dev/null; then
    rm -f "$archive"
    logged libiconv-fetch /usr/lib/apt/apt-helper download-file "$iconv_address" "$archive" "SHA256:$iconv_sum"
  fi
  mkdir -p "$work/libiconv"
  tar -C "$work/libiconv" --strip-components=1 -xzf "$archive"
  cd "$work/libiconv"
  # The names and the flags are those of GNU libiconv's own build.
  logged libiconv-make "$work/bin/gcc" -O2 -fPIC -w -DICONV_CONST=const -DENABLE_EXTRA=1 -Isupport -shared \
    -Wl,-soname,libiconv.so.2 deps/libiconv/lib/iconv.c support/localcharset.c -o "$sysroot/usr/lib/libiconv.so.2"
  ln -sf libiconv.so.2 "$sysroot/usr/lib/libiconv.so"
}

mkdir -p "$prefix"
exec 9> "$prefix/lock"
flock 9
if [ ! -e "$prefix/complete" ]; then
  echo "Building the target's tool chain in $prefix (once, about five minutes)" >&2
  rm -rf "$work" "$sysroot" "$prefix/libstdcxx"
  mkdir -p "$work"
  install_kernel_headers
  build_uclibc
  write_compiler gcc
  write_compiler g++
  build_libiconv
  build_libstdcxx
  rm -rf "$work"
  touch "$prefix/complete"
fi
echo "$prefix"
