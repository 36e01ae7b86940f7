#!/bin/sh
# check_function_table.sh LIST TABLE - the page of all functions names every exported function and class, each function
# once, and none that is not exported.
set -eu
list=$1 table=$2

folder=$(mktemp -d)
trap 'rm -rf "$folder"' EXIT
# The version nodes are no functions; of the mangled names the class counts: _ZN15CAutoResetEvent10ResetEventEv.
sed -n '/^_Z/!{/^ZEKA_1\(_[0-9]*\)\{0,1\}$/!p}' "$list" | LC_ALL=C sort >"$folder/functions"
sed -n 's/^_Z[A-Z]*[0-9]*\(C[A-Za-z]*[a-z]\).*/\1/p' "$list" | LC_ALL=C sort -u >"$folder/classes"
[ -s "$folder/functions" ] && [ -s "$folder/classes" ] || {
    echo "no names in $list"
    exit 1
}

rows=$(sed -n 's/^| \([^|]*\) |.*/\1/p' "$table")
echo "$rows" | grep -o '[A-Za-z0-9_]*()' | sed 's/()//' | LC_ALL=C sort >"$folder/named-functions"
echo "$rows" | grep -o '\bC[A-Z][A-Za-z]*\b' | grep -vxF -f "$folder/named-functions" | LC_ALL=C sort >"$folder/named-classes"
diff -u "$folder/functions" "$folder/named-functions" && diff -u "$folder/classes" "$folder/named-classes" || {
    echo "-: missing in $table, +: there, but not exported or named twice"
    exit 1
}
