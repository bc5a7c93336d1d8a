#!/bin/sh
# A trigger script: records its arguments and the data file as it found it
# beside that file, writes to its output (which must be discarded), fails.
dir=$(dirname "$1")
printf '%s|%s\n' "$#" "$1" > "$dir/args"
cat "$1" > "$dir/seen"
echo noise on the pipe
exit 3
