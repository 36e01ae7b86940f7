#!/bin/sh
# check_cmake.sh CMAKE BUILD-FOLDER CC CXX - find_package(zeka) in a project of its own.
set -eu
cmake=$1 build=$2 cc=$3 cxx=$4
source=$(cd "$(dirname "$0")/consumer" && pwd)
. "$(dirname "$0")/moved_tree.sh"

"$cmake" -S "$source" -B . -DCMAKE_PREFIX_PATH="$prefix" -DCMAKE_C_COMPILER="$cc" -DCMAKE_CXX_COMPILER="$cxx" >log &&
    "$cmake" --build . >>log 2>&1 || {
    cat log
    exit 1
}
for program in in_c in_cxx in_c_static; do
    run "./$program"
done

# A program written for another major version is told so, not linked.
if "$cmake" -S "$source" -B other -DCMAKE_PREFIX_PATH="$prefix" -DWANTED=2.0 >log 2>&1; then
    echo "version 2.0 was asked for, and 1 was found"
    exit 1
fi
