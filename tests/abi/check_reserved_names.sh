#!/bin/sh
# check_reserved_names.sh CXX ROOT - no system header that the library uses defines a macro of a name with which the
# library's own declarations begin with an underscore: such a macro would rewrite them.
set -eu
cxx=$1 root=$2

names=$(sed -n '/AllowedIdentifiers/,/"$/p' "$root/.clang-tidy" | grep -o '\b_[A-Za-z][A-Za-z0-9_]*')
[ "$(echo "$names" | wc -l)" -ge 15 ] || {
    echo "the list of names in .clang-tidy was not found"
    exit 1
}
{
    find "$root/src" "$root/include" -name '*.h' -o -name '*.hpp' -o -name '*.cpp' |
        xargs grep -h '^ *# *include *<' | sed 's/ *#  *include/#include/; s/>.*/>/' | grep -v '<zeka/' | LC_ALL=C sort -u
    for name in $names; do
        printf '#ifdef %s\n#error "%s is a macro of the system"\n#endif\n' "$name" "$name"
    done
} | "$cxx" -std=c++20 -fsyntax-only -x c++ -
