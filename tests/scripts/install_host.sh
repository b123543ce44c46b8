#!/usr/bin/env bash
# Installs the build into a temporary prefix and uses it as a stranger would: every public header
# and data file must be there, the example host must build through find_package(Vorn) and through
# pkg-config and run, the installed vornc must find the library and its data with no environment
# variable, and a library without its data must say so once.
# Usage: install_host.sh BUILD_DIR SOURCE_DIR
set -uo pipefail
build=$1
source=$2
fail=0
check() { if ! eval "$2"; then echo "FAILED: $1"; fail=1; fi; }

tmp=$(mktemp -d)
trap 'rm -rf "$tmp"' EXIT
prefix=$tmp/prefix
unset QZ_ROOT QZ_FILE_PATH
if ! cmake --install "$build" --prefix "$prefix" >"$tmp/install.log" 2>&1; then
  cat "$tmp/install.log"; echo "FAILED: cmake --install"; exit 1
fi

# What must be there: each header of include/vorn/ and each file of data/, byte for byte.
libdir=$(dirname "$(find "$prefix" -name 'libvorn.so' | head -n 1)")
datadir=$prefix/share/vorn
for header in "$source"/include/vorn/*.h; do
  check "header $(basename "$header") installed" "cmp -s '$header' '$prefix/include/vorn/$(basename "$header")'"
done
for file in "$source"/data/*; do
  check "data file $(basename "$file") installed" "cmp -s '$file' '$datadir/$(basename "$file")'"
done
soname=$(objdump -p "$libdir/libvorn.so" | awk '$1 == "SONAME" {print $2}')
check "the library has a versioned SONAME" "[ \"$soname\" = libvorn.so.0 ] && [ -e '$libdir/$soname' ]"
runpath=$(objdump -p "$prefix/bin/vornc" | awk '$1 == "RUNPATH" || $1 == "RPATH" {print $2}')
relative=no
case "$runpath" in '$ORIGIN/'*) [[ "$runpath" != *"$build"* ]] && relative=yes ;; esac
check "vornc's run path is relative to it ($runpath)" "[ $relative = yes ]"

# The installed vornc, moved away from the build, finds the library and the annotation map.
mv "$prefix" "$tmp/moved" && prefix=$tmp/moved && libdir=${libdir/$tmp\/prefix/$prefix} && datadir=$prefix/share/vorn
work=$tmp/work; mkdir -p "$work/build" "$work/installed"
cp "$source/examples/phong.ovl" "$work/"
(cd "$work" && "$build/vornc" compile phong.ovl --target FX -o build) >/dev/null 2>&1
err=$(cd "$work" && "$prefix/bin/vornc" compile phong.ovl --target FX -o installed 2>&1 >/dev/null)
check "installed vornc compiles without a warning" "[ -z \"\$err\" ]"
check "installed vornc gives the build's FX text" "cmp -s '$work/build/phong.fx' '$work/installed/phong.fx'"

# The library copied alone has no annotation map: one warning naming the file and the places.
mkdir -p "$tmp/alone/lib"; cp "$libdir/libvorn.so.0" "$tmp/alone/lib/"; cp "$prefix/bin/vornc" "$tmp/alone/lib/"
err=$(cd "$work" && "$tmp/alone/lib/vornc" compile phong.ovl --target FX -o "$tmp/alone" 2>&1 >/dev/null)
check "a missing annotation map is warned about once" \
  "[ \$(grep -c 'data file \"default.axml\" not found; looked in: ' <<<\"\$err\") -eq 1 ]"
check "the warning names the places looked in" "grep -q '$tmp/alone/lib/' <<<\"\$err\""

# A sanitized library needs its runtime loaded first: the host is built with the same flags.
host_flags=()
grep -q '^VORN_SANITIZE:BOOL=ON' "$build/CMakeCache.txt" && host_flags=(-fsanitize=address,undefined)

# The example host through find_package, on a good file and on a file with errors.
generator=$(sed -n 's/^CMAKE_GENERATOR:INTERNAL=//p' "$build/CMakeCache.txt")
if ! cmake -S "$source/examples/host" -B "$tmp/host-cmake" -G "${generator:-Unix Makefiles}" -DCMAKE_PREFIX_PATH="$prefix" \
    -DCMAKE_CXX_FLAGS="${host_flags[*]}" \
    >"$tmp/host.log" 2>&1 || ! cmake --build "$tmp/host-cmake" >>"$tmp/host.log" 2>&1; then
  cat "$tmp/host.log"; echo "FAILED: the example host does not build through find_package"; exit 1
fi
check_host() {
  local host=$1 route=$2 out
  mkdir -p "$work/$route"
  out=$(cd "$work" && "$host" phong.ovl "$route" 2>&1)
  check "$route host compiles phong.ovl" "[ $? -eq 0 ]"
  local companion; companion=$(sed -n 's/^link the fragment text with //p' <<<"$out")
  check "$route host names the installed companion source" "cmp -s '$companion' '$source/data/vorn_companion.glsl' && [[ '$companion' == '$prefix/'* ]]"
  check "$route host writes a vertex text glslangValidator accepts" "glslangValidator -d '$work/$route/phong.vert' >/dev/null"
  check "$route host writes a fragment text that links with the companion" \
    "cp '$work/$route/phong.frag' '$tmp/a.frag' && cp '$datadir/vorn_companion.glsl' '$tmp/b.frag' && glslangValidator -d -l '$tmp/a.frag' '$tmp/b.frag' >/dev/null"
  printf 'shader S { output: Color result;\nvoid main() { result = nothing; } };\n' >"$work/bad.ovl"
  out=$(cd "$work" && "$host" bad.ovl "$route" 2>&1)
  check "$route host fails on a file with errors" "[ $? -eq 1 ]"
  check "$route host prints line and column" "grep -q '^2:[0-9]*: error [0-9]*: ' <<<\"\$out\""
}
check_host "$tmp/host-cmake/vorn_host" find_package

# The same program through pkg-config.
export PKG_CONFIG_PATH=$libdir/pkgconfig
if ! g++ -std=c++17 "${host_flags[@]}" -DVORN_DATA_DIR="\"$(pkg-config --variable=vorn_datadir vorn)\"" \
    "$source/examples/host/main.cpp" -o "$tmp/vorn_host_pc" $(pkg-config --cflags --libs vorn) \
    -Wl,-rpath,"$(pkg-config --variable=libdir vorn)" 2>"$tmp/pc.log"; then
  cat "$tmp/pc.log"; echo "FAILED: the example host does not build through pkg-config"; exit 1
fi
check "pkg-config names the version" "[ \"\$(pkg-config --modversion vorn)\" = \"\$(sed -n 's/^project(vorn VERSION \([0-9.]*\).*/\1/p' '$source/CMakeLists.txt')\" ]"
check_host "$tmp/vorn_host_pc" pkg_config

exit $fail
