#!/bin/sh
# headless_ci.sh - a job for a build server without an instrument: the program under test meets the virtual one, and
# the job fails when what was measured is not what was asked for.
#     headless_ci.sh PROGRAM [ARGUMENT]...
set -eu

# 1. The command checks itself: status 0 only when every measured value lies within its limit. The fast clock plays as
#    fast as it goes, so that neither the job waits for the signal nor a busy build server makes gaps in it.
zeka play ecg --rate 72 --pacing 5 --seconds 60 --sim --clock fast

# 2. The program under test finds the virtual instrument as it would find the real one, and its status is the job's.
#    What arrived at the outputs is reported on stderr.
report=$(mktemp)
trap 'rm -f "$report"' EXIT
status=0
zeka sim --clock fast --report -- "$@" 2>"$report" || status=$?
cat "$report" >&2
[ "$status" -eq 0 ] || exit "$status"

# 3. A stream without gaps is part of the bargain.
grep -q 'sequence gaps 0  underruns 0' "$report" || {
    echo "headless_ci.sh: the stream had gaps" >&2
    exit 1
}
echo "all well"
