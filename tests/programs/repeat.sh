#!/usr/bin/env bash
# repeat.sh COUNT SECONDS COMMAND...: runs COMMAND COUNT times, each run limited
# to SECONDS; fails on the first run that does not exit with 0 (a crash, a
# sanitizer report, or a hang: a sanitizer report printed while other threads
# run can dead-lock the process), naming the run and showing its output.
count=$1
limit=$2
shift 2
log=$(mktemp)
trap 'rm -f "$log"' EXIT
for ((i = 1; i <= count; i++)); do
  timeout --kill-after=5 "$limit" "$@" >"$log" 2>&1
  status=$?
  if [ "$status" -ne 0 ]; then
    if [ "$status" -eq 124 ] || [ "$status" -eq 137 ]; then
      echo "run $i of $count did not end within $limit seconds:"
    else
      echo "run $i of $count failed with status $status:"
    fi
    head -c 4000 "$log"
    exit 1
  fi
done
echo "$count runs passed"
