# moved_tree.sh - for the checks beside it: installs the build folder $build under one prefix, moves the tree to another,
# $prefix, and leaves the shell in an empty folder that goes when it ends. Whatever remembers a place is found out.
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
"$cmake" --install "$build" --prefix "$work/at-first" >"$work/install.log" || {
    cat "$work/install.log"
    exit 1
}
prefix=$work/moved
mv "$work/at-first" "$prefix"
mkdir "$work/consumer"
cd "$work/consumer"
if moved=$(grep -rlF -e "$work/at-first" -e "$build" "$prefix" --include='*.cmake' --include='*.pc'); then
    echo "these remember where they were built or installed:" $moved
    exit 1
fi

# run PROGRAM - with the virtual instrument plugged in, by the installed command. Says which one fails.
run() {
    "$prefix/bin/zeka" sim -- "$1" || {
        echo "$1 failed"
        exit 1
    }
}
