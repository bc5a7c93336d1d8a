#!/bin/sh
# A trigger script of the concurrent updates: waits a little, as a real
# script would while it works, then copies the data file it was given to a
# record named after the run that started it.
sleep 0.1
cp "$1" "$(dirname "$1")/seen-$KESTREL_TEST_RUN"
