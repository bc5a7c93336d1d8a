#!/bin/sh
# A trigger script that writes more than a pipe holds before it records
# anything, then records how SIGPIPE reached it and the data file as it
# found it.
i=0
while [ $i -lt 4000 ]; do
  echo "line $i of what the script says"
  i=$((i + 1))
done
dir=$(dirname "$1")
ignored=$(sed -n 's/^SigIgn:[[:space:]]*//p' /proc/$$/status)
if [ $((0x$ignored & 0x1000)) -eq 0 ]; then
  echo "SIGPIPE at its default"
else
  echo "SIGPIPE ignored"
fi > "$dir/seen"
cat "$1" >> "$dir/seen"
