#!/bin/sh
# check_exports.sh NM LIBRARY LIST - the dynamic symbols that the library defines are exactly those listed, each with
# its version; what it needs in turn is the C and C++ run-time alone.
set -eu
nm=$1 library=$2 list=$3

status=0
defined=$("$nm" -D --defined-only "$library" | awk '{ print $NF }' | LC_ALL=C sort)
unversioned=$(echo "$defined" | grep -vE '(@@|^)ZEKA_1(_[0-9]+)?$' || true)
if [ -n "$unversioned" ]; then
    echo "defined without a version node:" $unversioned
    status=1
fi
if ! echo "$defined" | sed 's/@.*//' | LC_ALL=C sort -u | diff -u "$list" -; then
    echo "The exports have changed (-: no longer, +: newly). If that is meant, change $list in a commit that says so."
    status=1
fi

for needed in $(readelf -d "$library" | sed -n 's/.*(NEEDED).*\[\(.*\)\]/\1/p'); do
    case $needed in
    libc.so.* | libm.so.* | libstdc++.so.* | libgcc_s.so.* | ld-linux*.so.*) ;;
    *)
        echo "needs $needed"
        status=1
        ;;
    esac
done
exit $status
