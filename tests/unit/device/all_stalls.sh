#!/bin/sh
# all_stalls.sh <device_test> [processes] - every stall of the line with every pair of commands (stall_test.cpp), in so
# many processes at a time; they mostly wait. Prints the cases that failed and the sums; 18048 cases take some minutes.
set -eu
program=$1
parts=${2:-40}
folder=$(mktemp -d)
trap 'rm -rf "$folder"' EXIT
part=0
while [ "$part" -lt "$parts" ]; do
    ZEKA_STALLS=$part/$parts "$program" --gtest_filter='Stall.OfAnyLength*' >"$folder/$part" 2>&1 &
    part=$((part + 1))
done
wait
cat "$folder"/* | grep -A 6 ': Failure' | grep -E ' ms at |the next but one|not one of' || echo "no case failed"
cat "$folder"/* | awk '/ repeated, the next exchange worked in / { cases += $1; repeated += $3; next_worked += $NF }
    END { print cases " cases, " repeated " repeated; the next exchange worked in " next_worked; exit cases < 18048 }'
