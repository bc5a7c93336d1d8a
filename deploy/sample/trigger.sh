#!/bin/sh
# Trigger script of the sample configuration. kestrel.cgi runs it after
# every change with the path of the data file it has just written (a header
# line of labels, then the changed entry). It appends that file, with the
# time, to changes.log beside it. Runs as the web server's user.
set -eu
data=${1:?usage: trigger.sh DATA-FILE}
log=$(dirname "$data")/changes.log
{
  printf '== %s\n' "$(date -u '+%Y-%m-%d %H:%M:%S UTC')"
  cat "$data"
} >>"$log"
