#!/usr/bin/env bash
# install_test.sh BUILD_DIR CONSUMER_DIR CMAKE GENERATOR CC LIBDIR FLAGS
# Installs BUILD_DIR's libraries and development files into a temporary
# prefix, then builds and runs the consumer with find_package(zxvxzu) and with
# `cc $(pkg-config --cflags --libs zxvxzu)`.
set -euo pipefail
build="$1" consumer="$2" cmake="$3" generator="$4" cc="$5" libdir="$6" flags="${7:-}"

work="$(mktemp -d)"
trap 'rm -rf "$work"' EXIT
prefix="$work/prefix"

echo "== install into $prefix"
"$cmake" --install "$build" --prefix "$prefix" --component runtime >/dev/null
"$cmake" --install "$build" --prefix "$prefix" --component development >/dev/null

for f in "$libdir/libzxvxzu.so.1" "$libdir/libzxvxcs2.so.1" "$libdir/libzxvxzu.so" \
         include/zxvxzu/names.h include/zxvxcs2/xcs_memory.h \
         "$libdir/cmake/zxvxzu/zxvxzuConfig.cmake" "$libdir/cmake/zxvxzu/zxvxzuConfigVersion.cmake" \
         "$libdir/pkgconfig/zxvxzu.pc"; do
  [ -e "$prefix/$f" ] || { echo "missing after install: $f"; exit 1; }
done
soname="$(objdump -p "$prefix/$libdir/libzxvxzu.so" | awk '$1 == "SONAME" {print $2}')"
[ "$soname" = "libzxvxzu.so.1" ] || { echo "unexpected SONAME: '$soname'"; exit 1; }

echo "== consumer through find_package(zxvxzu)"
"$cmake" -S "$consumer" -B "$work/cmake-build" -G "$generator" \
  -DCMAKE_PREFIX_PATH="$prefix" -DCMAKE_C_COMPILER="$cc" \
  -DCMAKE_C_FLAGS="$flags" -DCMAKE_EXE_LINKER_FLAGS="$flags" >/dev/null
"$cmake" --build "$work/cmake-build" >/dev/null
"$work/cmake-build/consumer"

echo "== consumer through pkg-config"
export PKG_CONFIG_PATH="$prefix/$libdir/pkgconfig"
# shellcheck disable=SC2046,SC2086
"$cc" -std=c11 $flags "$consumer/consumer.c" $(pkg-config --cflags --libs zxvxzu) \
  -o "$work/consumer-pc"
LD_LIBRARY_PATH="$prefix/$libdir" "$work/consumer-pc"
