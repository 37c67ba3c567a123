#!/bin/sh
# Installs the build into a temporary prefix and builds a host app's project
# against it, with the CMake package (shared and static) and with
# pkg-config (a C++ app, and a C app on the C interface); each app must run
# and print the version. Also checks the installed shared library's name,
# that it exports Tessarin's symbols only, and that every installed header
# compiles on its own.
#
#   check_consumer.sh BUILD_DIR CONSUMER_SOURCE_DIR CXX [LAUNCHER] [FLAGS]
set -eu
build="$1"
source="$2"
cxx="$3"
launcher="${4:-}"
flags="${5:-}"

# A fixed place in the build tree, so that a compiler cache finds the same
# paths on the next run.
tmp="$build/install_consumer"
rm -rf "$tmp"
mkdir -p "$tmp"
trap 'rm -rf "$tmp"' EXIT
prefix="$tmp/prefix"
export XDG_DATA_HOME="$tmp/data"

fail() {
  echo "check_consumer: $*" >&2
  exit 1
}

cmake --install "$build" --prefix "$prefix" >/dev/null

library=$(find "$prefix" -name 'libtessarin.so.1.5.0')
[ -n "$library" ] || fail "libtessarin.so.1.5.0 not installed"
libdir=$(dirname "$library")
[ "$(readlink "$libdir/libtessarin.so.1")" = libtessarin.so.1.5.0 ] || fail "libtessarin.so.1 link missing"
[ "$(readlink "$libdir/libtessarin.so")" = libtessarin.so.1 ] || fail "libtessarin.so link missing"
[ -f "$libdir/libtessarin.a" ] || fail "libtessarin.a not installed"
readelf -d "$library" | grep -q 'Library soname: \[libtessarin.so.1\]' || fail "SONAME is not libtessarin.so.1"
foreign=$(nm -D --defined-only "$library" | awk '{ print $3 }' |
  grep -Ev '^(tessarin_|_ZNK?8tessarin|_ZT[VISTv]N8tessarin|_ZThn|_ZTv|_ZGVN8tessarin)' || true)
[ -z "$foreign" ] || fail "exports symbols not Tessarin's: $(echo "$foreign" | head -5)"

# Every installed header compiles on its own, as an app that includes only
# that one would see it: C++17, nothing on the include path but the
# installed headers, no warning. The C interface compiles as C too.
incdir="$prefix/include"
[ -f "$incdir/tessarin/tessarin.h" ] || fail "headers not installed in $incdir/tessarin"
for header in "$incdir"/tessarin/*.h; do
  name="tessarin/${header##*/}"
  # shellcheck disable=SC2086
  "$cxx" -std=c++17 -Wall -Wextra -Werror $flags -fsyntax-only -I"$incdir" -x c++ "$header" ||
    fail "$name does not compile on its own"
done
# shellcheck disable=SC2086
"${CC:-cc}" -std=c99 -pedantic -Wall -Wextra -Werror $flags -fsyntax-only -I"$incdir" -x c "$incdir/tessarin/tessarin_c.h" ||
  fail "tessarin/tessarin_c.h does not compile as C on its own"

expect_version() {
  out=$("$@") || fail "$1 failed"
  [ "$out" = "tessarin 1.5.0" ] || fail "$1 printed: $out"
}

# The CMake package.
cmake -S "$source" -B "$tmp/cmake" -DCMAKE_PREFIX_PATH="$prefix" -DCMAKE_BUILD_TYPE=Release \
  -DCMAKE_CXX_COMPILER="$cxx" -DCMAKE_CXX_COMPILER_LAUNCHER="$launcher" \
  -DCMAKE_CXX_FLAGS="$flags" -DCMAKE_EXE_LINKER_FLAGS="$flags" >/dev/null || fail "configuring with find_package failed"
cmake --build "$tmp/cmake" -j2 >/dev/null || fail "building with find_package failed"
readelf -d "$tmp/cmake/consumer_shared" | grep -q 'NEEDED.*\[libtessarin.so.1\]' || fail "the app does not need libtessarin.so.1"
expect_version "$tmp/cmake/consumer_shared"
expect_version "$tmp/cmake/consumer_static"

# pkg-config, as a Makefile would use it.
export PKG_CONFIG_PATH="$libdir/pkgconfig"
pkg-config --exists tessarin || fail "pkg-config does not find tessarin"
[ "$(pkg-config --modversion tessarin)" = 1.5.0 ] || fail "pkg-config version"
# shellcheck disable=SC2046,SC2086
$launcher "$cxx" -std=c++17 $flags "$source/main.cc" -o "$tmp/pkgconfig_app" \
  $(pkg-config --cflags --libs tessarin) -Wl,-rpath,"$(pkg-config --variable=libdir tessarin)" ||
  fail "building with pkg-config failed"
expect_version "$tmp/pkgconfig_app"

# The C interface, from C.
# shellcheck disable=SC2046,SC2086
$launcher "${CC:-cc}" -std=c99 -pedantic -Wall -Wextra -Werror $flags "$source/consumer_c.c" -o "$tmp/pkgconfig_c_app" \
  $(pkg-config --cflags --libs tessarin) -Wl,-rpath,"$(pkg-config --variable=libdir tessarin)" ||
  fail "building the C app with pkg-config failed"
expect_version "$tmp/pkgconfig_c_app"
