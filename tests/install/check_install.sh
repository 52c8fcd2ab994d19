#!/usr/bin/env bash
# Installs vorn from a build tree into a temporary prefix and builds a small
# consumer three ways: find_package, pkg-config, and add_subdirectory of the
# source tree (as a static library, BUILD_SHARED_LIBS=OFF). Each consumer must
# run and print "consumer ok 42", and no installed or consumer binary may
# search the current directory for libraries.
set -euo pipefail
build_dir=$1
source_dir=$2
here=$(cd "$(dirname "$0")" && pwd)
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT

cmake --install "$build_dir" --prefix "$work/prefix" >/dev/null
check() {
  local output
  output=$("$@")
  [ "$output" = "consumer ok 42" ] || { echo "unexpected output from $1: $output" >&2; exit 1; }
}

echo "-- the installed tool"
"$work/prefix/bin/vorn" --version | grep -q '^vorn ' || { echo "bin/vorn missing or broken" >&2; exit 1; }
ls "$work/prefix"/lib*/libvorn.so.0.* >/dev/null 2>&1 || ls "$work/prefix"/lib/*/libvorn.so.0.* >/dev/null \
  || { echo "versioned libvorn.so missing" >&2; exit 1; }

echo "-- find_package"
cmake -S "$here/consumer" -B "$work/find_package" -G Ninja -DCMAKE_PREFIX_PATH="$work/prefix" >/dev/null
cmake --build "$work/find_package" >/dev/null
check "$work/find_package/consumer"

echo "-- pkg-config"
pc_dir=$(dirname "$(find "$work/prefix" -name vorn.pc | head -n 1)")
lib_dir=$(PKG_CONFIG_PATH="$pc_dir" pkg-config --variable=libdir vorn)
# shellcheck disable=SC2046
c++ "$here/consumer/main.cpp" -o "$work/pkg_config_consumer" \
  $(PKG_CONFIG_PATH="$pc_dir" pkg-config --cflags --libs vorn) -Wl,-rpath,"$lib_dir"
check "$work/pkg_config_consumer"

# Each optional library that was installed: find_package(vorn COMPONENTS X)
# and pkg-config vorn-X.
components_checked=()
for component in json sqlite postgres; do
  find "$work/prefix" -name "libvorn_${component}.so*" | grep -q . || continue
  echo "-- find_package(vorn COMPONENTS $component)"
  cmake -S "$here/${component}_consumer" -B "$work/${component}_find_package" -G Ninja \
    -DCMAKE_PREFIX_PATH="$work/prefix" >/dev/null
  cmake --build "$work/${component}_find_package" >/dev/null
  check "$work/${component}_find_package/${component}_consumer"

  echo "-- pkg-config vorn-$component"
  # shellcheck disable=SC2046
  c++ "$here/${component}_consumer/main.cpp" -o "$work/${component}_pkg_config_consumer" \
    $(PKG_CONFIG_PATH="$pc_dir" pkg-config --cflags --libs "vorn-$component") -Wl,-rpath,"$lib_dir"
  check "$work/${component}_pkg_config_consumer"
  components_checked+=("$work/${component}_find_package" "$work/${component}_pkg_config_consumer")
done

echo "-- add_subdirectory"
cmake -S "$here/consumer" -B "$work/subdirectory" -G Ninja -DVORN_CONSUMER_MODE=subdirectory \
  -DVORN_SOURCE_DIR="$source_dir" -DCMAKE_BUILD_TYPE=Release -DBUILD_SHARED_LIBS=OFF >/dev/null
cmake --build "$work/subdirectory" >/dev/null
check "$work/subdirectory/consumer"
[ -f "$work/subdirectory/vorn/libvorn.a" ] || { echo "BUILD_SHARED_LIBS=OFF built no libvorn.a" >&2; exit 1; }
if readelf -d "$work/subdirectory/consumer" | grep -q 'libvorn'; then
  echo "the static consumer still needs libvorn.so" >&2
  exit 1
fi

echo "-- search paths"
"$here/check_runpath.sh" "$work/prefix" "$work/find_package" "$work/subdirectory" "$work/pkg_config_consumer" \
  "${components_checked[@]}"
# Only the library is built for a consumer: no tests, examples or benchmarks.
if find "$work/subdirectory" -name 'vorn_*_tests' -o -name 'example_*' | grep -q .; then
  echo "add_subdirectory built more than the library" >&2
  exit 1
fi
echo "install checks passed"
