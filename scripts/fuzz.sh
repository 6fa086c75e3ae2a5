#!/usr/bin/env bash
# Runs the libFuzzer targets of the linux-fuzz build (fuzz/fuzz_<name>.cpp).
#
#   scripts/fuzz.sh --list             the target names, one per line
#   scripts/fuzz.sh NAME --short       20,000 runs: a quick check for test runs
#   scripts/fuzz.sh NAME --long        10 minutes of fuzzing
#   scripts/fuzz.sh NAME --short|--long [libFuzzer options...]
#
# NAME may be given with or without the "fuzz_" prefix. The target is built
# first (configuring build/linux-fuzz when needed). Each run starts from the
# seed corpus fuzz/corpus/NAME/ (read only) and keeps what it discovers in a
# temporary working corpus that is removed afterwards. Crashing, leaking or
# timing-out inputs are written to build/linux-fuzz/fuzz-artifacts/NAME/.
# A target may have fuzz/fuzz_NAME.options (libFuzzer flags for both run
# lengths, overriding the defaults) and fuzz/fuzz_NAME.dict (a dictionary).
# Exit status: 0 when libFuzzer found nothing, non-zero otherwise.
set -euo pipefail
cd "$(dirname "$0")/.."
root=$(pwd)
build="$root/build/linux-fuzz"

list_targets() {
  local source
  for source in fuzz/fuzz_*.cpp; do
    [ -e "$source" ] || continue
    source=$(basename "$source" .cpp)
    echo "${source#fuzz_}"
  done
}

usage() {
  sed -n '2,17p' "$0" | sed 's/^# \{0,1\}//' >&2
  exit 2
}

[ $# -ge 1 ] || usage
if [ "$1" = "--list" ]; then
  list_targets
  exit 0
fi
[ $# -ge 2 ] || usage

name=${1#fuzz_}
mode=$2
shift 2
if [ ! -f "fuzz/fuzz_${name}.cpp" ]; then
  echo "fuzz.sh: no target '$name' (known: $(list_targets | tr '\n' ' '))" >&2
  exit 2
fi
case "$mode" in
  --short) budget=(-runs=20000) ;;
  --long) budget=(-max_total_time=600) ;;
  *) usage ;;
esac

if [ ! -f "$build/build.ninja" ]; then
  cmake --preset linux-fuzz >/dev/null
fi
cmake --build --preset linux-fuzz --target "fuzz_${name}" >/dev/null

seeds="$root/fuzz/corpus/$name"
artifacts="$build/fuzz-artifacts/$name"
mkdir -p "$artifacts"
work=$(mktemp -d "${TMPDIR:-/tmp}/hdu-fuzz-${name}.XXXXXX")
trap 'rm -rf "$work"' EXIT

corpora=("$work")
[ -d "$seeds" ] && corpora+=("$seeds")

target_options=()
if [ -f "fuzz/fuzz_${name}.options" ]; then
  read -r -a target_options <"fuzz/fuzz_${name}.options"
fi
if [ -f "fuzz/fuzz_${name}.dict" ]; then
  target_options+=("-dict=$root/fuzz/fuzz_${name}.dict")
fi

export ASAN_OPTIONS="${ASAN_OPTIONS:-detect_leaks=1:halt_on_error=1}"
export UBSAN_OPTIONS="${UBSAN_OPTIONS:-print_stacktrace=1:halt_on_error=1}"

echo "fuzz.sh: fuzz_${name} ${budget[*]} ${target_options[*]} (seeds: ${seeds#"$root"/})"
status=0
"$build/bin/fuzz_${name}" "${budget[@]}" -timeout=25 -print_final_stats=1 \
  -artifact_prefix="$artifacts/" "${target_options[@]}" "$@" "${corpora[@]}" || status=$?
if [ "$status" -ne 0 ]; then
  echo "fuzz.sh: fuzz_${name} FAILED (status $status); inputs in ${artifacts#"$root"/}/" >&2
fi
exit "$status"
