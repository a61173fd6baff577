#!/bin/sh
# installed_package_test.sh CMAKE BUILD EXAMPLE COMPILER: installs the library into a scratch folder, moves it,
# and builds and runs the example against it through CMake and through pkg-config, static and shared.
set -eu
cmake=$1 build=$2 example=$3 compiler=$4

folder=$(mktemp -d)
trap 'rm -rf "$folder"' EXIT
"$cmake" --build "$build" --target svdata svdata_shared svdata_tool >/dev/null
"$cmake" --install "$build" --component svdata --prefix "$folder/first" >/dev/null
mv "$folder/first" "$folder/prefix" # An installed tree can be moved.
cp -r "$example" "$folder/source"   # Nothing may be found through the tree.
cd "$folder"
libraries=$(dirname "$(find prefix -name libsvdata.a)")
export LD_LIBRARY_PATH="$folder/$libraries"
export PKG_CONFIG_PATH="$folder/$libraries/pkgconfig"

runs() { # runs PROGRAM shared|static
    "$1" 2>listing || { cat listing; echo "$1 fails"; exit 1; }
    grep -q '12 entries' listing
    if [ "$2" = shared ]; then ldd "$1" | grep -q libsvdata; else ! ldd "$1" 2>&1 | grep -q libsvdata; fi
}

for form in OFF:static ON:shared; do
    "$cmake" -S source -B "cmake-$form" -DCMAKE_PREFIX_PATH="$folder/prefix" -DCMAKE_CXX_COMPILER="$compiler" \
        -DBUILD_SHARED_LIBS="${form%:*}" >/dev/null
    "$cmake" --build "cmake-$form" >/dev/null
    runs "./cmake-$form/svdata_example" "${form#*:}"
done

flags=$(pkg-config --cflags svdata)
link=$(pkg-config --libs svdata)
for standard in 17 20; do
    # The flags are words of their own.
    # shellcheck disable=SC2086
    "$compiler" -std=c++$standard -Wall -Wextra -Werror $flags source/main.cpp $link -o "shared-$standard"
    runs "./shared-$standard" shared
done
# shellcheck disable=SC2086
"$compiler" -std=c++17 -static $flags source/main.cpp $(pkg-config --static --libs svdata) -o static-17
runs ./static-17 static

# Internal headers stay in the tree.
if find prefix | grep -E 'kernels|LargePages|Internal'; then echo "an internal header is installed"; exit 1; fi
# Every installed header stands alone.
find prefix/include/svdata -name '*.h' | sed 's|prefix/include/svdata/||' | while read -r header; do
    echo "#include \"$header\"" | "$compiler" -std=c++17 -fsyntax-only -x c++ $flags -
done
prefix/bin/svdata list wave.svbin | grep -q 'Wave_3_time'
