#!/usr/bin/env bash
# The whole test run: installs what is missing, then builds and tests every
# configuration.
#   1. linux       native build with AddressSanitizer + UBSan; unit tests and
#                  the installed-consumer test
#      linux-tsan  the thread tests and the exit-while-threads-run program
#                  under ThreadSanitizer
#   2. mingw-i686  the product DLL; checked to be a PE32 DLL
#   3. mingw-x64   the same code for 64-bit Windows; unit tests under wine64
#   4. linux-fuzz  every libFuzzer target for a short fixed number of runs
# Ends with one line "N passed, N failed": N counts every GoogleTest case run
# (natively and under Wine) plus every other check above. Exit status 0 only
# when nothing failed.
set -uo pipefail
cd "$(dirname "$0")/.."
root=$(pwd)

passed=0
failed=0
failures=()
stage_start=0

stage() {
  stage_start=$(date +%s)
  printf '\n==== %s\n' "$*"
}
stage_done() { printf '==== done in %ss\n' "$(($(date +%s) - stage_start))"; }

check() {  # check NAME COMMAND...: one counted check
  local name=$1
  shift
  if "$@"; then
    passed=$((passed + 1))
  else
    failed=$((failed + 1))
    failures+=("$name")
    echo "FAILED: $name" >&2
  fi
}

count_gtest_report() {  # count_gtest_report NAME XML
  local name=$1 xml=$2
  if [ ! -s "$xml" ]; then
    failed=$((failed + 1))
    failures+=("$name: no GoogleTest report")
    return
  fi
  local summary tests fails errs skipped
  summary=$(grep -m1 '<testsuites' "$xml")
  tests=$(sed -n 's/.* tests="\([0-9]*\)".*/\1/p' <<<"$summary")
  fails=$(sed -n 's/.* failures="\([0-9]*\)".*/\1/p' <<<"$summary")
  errs=$(sed -n 's/.* errors="\([0-9]*\)".*/\1/p' <<<"$summary")
  skipped=$(grep -c 'result="skipped"' "$xml")
  passed=$((passed + tests - fails - errs - skipped))
  failed=$((failed + fails + errs))
  [ "$((fails + errs))" -eq 0 ] || failures+=("$name: $((fails + errs)) GoogleTest case(s)")
  echo "$name: $tests test cases, $fails failed, $errs errors, $skipped skipped"
}

total_start=$(date +%s)

stage "dependencies"
bash scripts/install-deps.sh || { echo "dependency installation failed" >&2; echo "0 passed, 1 failed"; exit 1; }
stage_done

stage "linux: build and test (ASan + UBSan)"
rm -f build/linux/test-results/*.xml
if check "linux build" bash -c 'cmake --preset linux >/dev/null && cmake --build --preset linux'; then
  check "linux ctest" ctest --preset linux
  count_gtest_report "linux unit tests" build/linux/test-results/unit.xml
  count_gtest_report "linux hdutil unit tests" build/linux/test-results/hdutil-unit.xml
fi
stage_done

stage "linux-tsan: thread tests under ThreadSanitizer"
rm -f build/linux-tsan/test-results/*.xml
if check "linux-tsan build" bash -c 'cmake --preset linux-tsan >/dev/null &&
    cmake --build --preset linux-tsan --target hduThreadTests hduExitWhileThreadsRun'; then
  check "linux-tsan thread tests" ctest --preset linux-tsan
fi
stage_done

stage "mingw-i686: the product DLL"
if check "mingw-i686 build" bash -c 'cmake --preset mingw-i686 >/dev/null && cmake --build --preset mingw-i686'; then
  description=$(file -b build/mingw-i686/bin/hd-Utilities.dll)
  echo "hd-Utilities.dll: $description"
  check "hd-Utilities.dll is a PE32 DLL" grep -q '^PE32 executable (DLL).*Intel 80386' <<<"$description"
fi
stage_done

stage "mingw-x64: build, tests under wine64"
rm -f build/mingw-x64/test-results/*.xml
if check "mingw-x64 build" bash -c 'cmake --preset mingw-x64 >/dev/null && cmake --build --preset mingw-x64'; then
  check "mingw-x64 ctest under wine64" ctest --preset mingw-x64
  count_gtest_report "wine64 unit tests" build/mingw-x64/test-results/unit-wine.xml
  count_gtest_report "wine64 hdutil unit tests" build/mingw-x64/test-results/hdutil-unit-wine.xml
fi
stage_done

if [ -f fuzz/CMakeLists.txt ] && [ -x scripts/fuzz.sh ]; then
  stage "linux-fuzz: libFuzzer targets, short runs"
  if check "linux-fuzz build" bash -c 'cmake --preset linux-fuzz >/dev/null && cmake --build --preset linux-fuzz'; then
    for target in $(bash scripts/fuzz.sh --list); do
      check "fuzz $target" bash scripts/fuzz.sh "$target" --short
    done
  fi
  stage_done
fi

printf '\nwall time: %ss\n' "$(($(date +%s) - total_start))"
if [ ${#failures[@]} -gt 0 ]; then
  printf 'failed: %s\n' "${failures[@]}"
fi
echo "$passed passed, $failed failed"
[ "$failed" -eq 0 ]
