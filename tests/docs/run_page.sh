#!/bin/sh
# run_page.sh ZEKA PAGE - runs every line of the page that begins with "zeka" in a ```sh block, in a folder of its own,
# and fails when one fails. Lines that drive an instrument find the virtual one plugged in, on its fast clock.
# Also fails when a picture that the page shows is missing, or when the page has no such line at all.
set -eu
zeka=$1
page=$2

folder=$(mktemp -d)
trap 'rm -rf "$folder"' EXIT
mkdir "$folder/bin"
ln -s "$zeka" "$folder/bin/zeka"
export PATH="$folder/bin:$PATH"

missing=$(sed -n 's/^!\[.*\](\(.*\))$/\1/p' "$page" | while read -r picture; do
    [ -s "$(dirname "$page")/$picture" ] || echo "$picture"
done)
[ -z "$missing" ] || { echo "$page shows pictures that are not there: $missing"; exit 1; }

awk '/^```/ { inside = $0 == "```sh"; next } inside && /^zeka / { print }' "$page" >"$folder/lines"
[ -s "$folder/lines" ] || { echo "$page has no line to run"; exit 1; }

cd "$folder"
while read -r line; do
    echo "$line"
    case $line in
    "zeka sim "* | *" --sim"*) sh -c "$line" ;;
    *) zeka sim --quiet --clock fast -- sh -c "$line" ;;
    esac </dev/null || { echo "exit status $?: $line"; exit 1; }
done <lines
