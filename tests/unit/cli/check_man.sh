#!/bin/sh
# check_man <zeka> <folder>: the manual pages in the folder are those that the command makes of its own help, and troff
# renders them without a warning (where there is a troff).
set -eu
made=$(mktemp -d)
trap 'rm -rf "$made"' EXIT

"$1" man "$made"
if ! diff -ru "$2" "$made"; then
    echo "the pages in $2 are not what the help says; make them anew: zeka man $2" >&2
    exit 1
fi
command -v groff >/dev/null || exit 0
for page in "$made"/*.1; do
    complaints=$(groff -man -Tutf8 -wall "$page" 2>&1 >/dev/null)
    if [ -n "$complaints" ]; then
        echo "$complaints" >&2
        exit 1
    fi
done
