#!/bin/sh
# check_pkg_config.sh CMAKE BUILD-FOLDER CC CXX PKG-CONFIG - plain compiler calls with what pkg-config says.
set -eu
cmake=$1 build=$2 cc=$3 cxx=$4 pkg_config=$5
source=$(cd "$(dirname "$0")/consumer" && pwd)
. "$(dirname "$0")/moved_tree.sh"

PKG_CONFIG_PATH=$(dirname "$(find "$prefix" -name zeka.pc)")
export PKG_CONFIG_PATH
"$pkg_config" --exact-version="$("$prefix/bin/zeka" --version | sed 's/zeka //')" zeka
LD_LIBRARY_PATH=$("$pkg_config" --variable=libdir zeka)
export LD_LIBRARY_PATH

# shellcheck disable=SC2046 # flags are meant to be split
{
    "$cc" -std=c11 -Werror "$source/consumer.c" -o in_c $("$pkg_config" --cflags --libs zeka)
    "$cc" -std=c11 -Werror "$source/consumer.c" -o in_c_static $("$pkg_config" --cflags --libs zeka_static)
    "$cxx" -std=c++20 -Werror "$source/consumer.cpp" -o in_cxx $("$pkg_config" --cflags --libs zeka)
}
for program in in_c in_cxx in_c_static; do
    run "./$program"
done
