#!/bin/sh
# check_example.sh HEADER INCLUDE-FOLDER LIBRARY CC CXX - the program at the head of the header compiles as C and as C++
# and links with the library, exactly as it stands there.
set -eu
header=$1 include=$2 library=$3 cc=$4 cxx=$5

folder=$(mktemp -d)
trap 'rm -rf "$folder"' EXIT
awk '/@endcode/ { exit } inside { sub(/^ \* ?/, ""); print } /@code/ { inside = 1 }' "$header" >"$folder/example.c"
grep -q 'int main' "$folder/example.c" || {
    echo "no program between @code and @endcode in $header"
    exit 1
}
flags="-Wall -Wextra -Wpedantic -Wshadow -Wconversion -Werror -I $include"
# shellcheck disable=SC2086 # flags are meant to be split
"$cc" -std=c11 $flags "$folder/example.c" "$library" -o "$folder/as_c"
# shellcheck disable=SC2086
"$cxx" -std=c++17 $flags -x c++ "$folder/example.c" -x none "$library" -o "$folder/as_cxx"
