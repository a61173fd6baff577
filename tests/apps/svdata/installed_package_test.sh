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
    "./cmake-$form/svdata_arrays_example" >printed 2>/dev/null
    cat >expected <<'END'
view 7, copy 1
highest 90 at (3,1), mean 71
limited to 80, inner 3 x 2, turned 2 x 3
coldest 50
read back: the same
2 reports, empty: yes
in Fahrenheit 194
END
    diff printed expected
done
# Every line of code in the page is one of the example.
sed -n '/^```cpp$/,/^```$/p' "$example/../../docs/arrays.md" | grep -v '^```' >quoted
test -s quoted
while IFS= read -r line; do
    grep -qxF -- "$line" source/arrays.cpp || { echo "docs/arrays.md quotes what isn't in the example: $line"; exit 1; }
done <quoted
grep -q '^License: Apache-2.0$' "$PKG_CONFIG_PATH/svdata.pc"
grep -q 'SPDX-License-Identifier: Apache-2.0' "$libraries/cmake/svdata/svdata-config.cmake"

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

# A debugger can call the printers of a program that calls none of them, even where unused sections are dropped.
cat >printers.cpp <<'END'
#include "arrays/sv/SVDoubleArray.h"
int main()
{
    SVMutableDoubleArray A(3, 2);
    A = 1.5;
    const SVDoubleArray R = A;
    return R.Length() == 6 ? 0 : 1;
}
END
cat >commands <<'END'
break 7
run
call A.pinfo()
call A.pi(0)
call R.pj(1)
call A.pall()
call A.prange(0, 2)
call R.pcrange(0, 1)
call R.psigns()
print A.e(1, 1)
END
printf '%s\n' '3 x 2 double array' '1.5, 1.5' '1.5, 1.5, 1.5' '1.5, 1.5, 1.5' '1.5, 1.5, 1.5' '1.5, 1.5, 1.5' \
    '1.5, 1.5, 1.5' '1.5, 1.5, 1.5' '+++' '+++' '$1 = 1.5' >expected
for form in "-Wl,--gc-sections $libraries/libsvdata.a" "$link"; do
    # shellcheck disable=SC2086
    "$compiler" -std=c++17 -g -O0 $flags printers.cpp $form -o printers
    case $form in *.a) symbols=$(nm -C printers) ;; *) symbols=$(nm -DC "$libraries/libsvdata.so") ;; esac
    for printer in 'Handle<double>::pinfo() const' 'Finder<int, true>::prange(int, int) const' \
        'Signs<signed char, true>::psigns() const' 'Handle<unsigned char>::e(int, int, int) const'; do
        echo "$symbols" | grep -qF "SVArray$printer" || { echo "$form lacks $printer"; exit 1; }
    done
    if gdb -batch -nx -ex 'break main' -ex run -ex 'print 6*7' printers 2>&1 | grep -q '= 42'; then
        gdb -batch -nx -x commands printers >debugged 2>&1
        sed -n '/double array/,$p' debugged | diff - expected || { cat debugged; exit 1; }
    fi
done
# Internal headers stay in the tree.
if find prefix | grep -E 'kernels|LargePages|Internal'; then echo "an internal header is installed"; exit 1; fi
# Every installed header stands alone.
find prefix/include/svdata -name '*.h' | sed 's|prefix/include/svdata/||' | while read -r header; do
    echo "#include \"$header\"" | "$compiler" -std=c++17 -fsyntax-only -x c++ $flags -
done
prefix/bin/svdata list wave.svbin | grep -q 'Wave_3_time'
