#!/usr/bin/env bash
# Builds the libFuzzer target (fuzz_optimal_lh.cpp with the library sources, under
# AddressSanitizer and UndefinedBehaviorSanitizer) and fuzzes it for a bounded time,
# starting from an empty corpus in a scratch directory.
#
#   tests/fuzz/run_fuzz.sh [seconds]      (default 60, or $OLHS_FUZZ_SECONDS)
#
# Needs clang++ with libFuzzer ($OLHS_FUZZ_CXX picks another clang). Exits nonzero on any
# finding, keeping the scratch directory with the crashing input; replay that input with
# the fuzz_optimal_lh_replay program of a regular build or with the fuzzer binary itself.
set -euo pipefail

seconds="${1:-${OLHS_FUZZ_SECONDS:-60}}"
cxx="${OLHS_FUZZ_CXX:-clang++}"
root="$(cd "$(dirname "$0")/../.." && pwd)"

if ! command -v "$cxx" >/dev/null 2>&1; then
  echo "run_fuzz.sh: $cxx not found" >&2
  exit 2
fi

work="$(mktemp -d "${TMPDIR:-/tmp}/olhs-fuzz-XXXXXX")"
keep=0
cleanup() {
  if [ "$keep" -eq 0 ]; then
    rm -rf "$work"
  else
    echo "run_fuzz.sh: scratch directory kept: $work" >&2
  fi
}
trap cleanup EXIT

flags=(-std=c++17 -O1 -g -fno-omit-frame-pointer -ffp-contract=off
       -fsanitize=fuzzer,address,undefined -fno-sanitize-recover=all
       -Wall -Wextra -Wpedantic -Werror
       -DOLHS_BUILDING_LIBRARY -I "$root/include" -I "$root/src" -I "$root/src/legacy")

# Compile the library and the target, two at a time.
mkdir -p "$work/obj" "$work/corpus"
start=$SECONDS
export cxx work
printf '%s\n' "$root"/src/legacy/*.cpp "$root"/src/engine/*.cpp "$root/tests/fuzz/fuzz_optimal_lh.cpp" |
  xargs -P 2 -I{} sh -c 'src=$1; shift; exec "$cxx" "$@" -c "$src" -o "$work/obj/$(basename "$src" .cpp).o"' \
    sh {} "${flags[@]}"
"$cxx" "${flags[@]}" "$work"/obj/*.o -o "$work/fuzz_optimal_lh"
echo "run_fuzz.sh: built the fuzz target in $((SECONDS - start)) s"

# Any crash, sanitizer report, leak, timeout or out-of-memory ends the run nonzero.
status=0
(cd "$work" && ./fuzz_optimal_lh -max_total_time="$seconds" -timeout=30 -rss_limit_mb=2048 -max_len=4096 \
  -print_final_stats=1 -artifact_prefix="$work/" corpus) || status=$?
if [ "$status" -ne 0 ]; then
  keep=1
  echo "run_fuzz.sh: the fuzzer reported a finding (exit status $status); inputs:" >&2
  ls -l "$work"/crash-* "$work"/leak-* "$work"/timeout-* "$work"/oom-* 2>/dev/null >&2 || true
  exit 1
fi
echo "run_fuzz.sh: no findings in ${seconds} s ($(ls "$work/corpus" | wc -l) corpus entries)"
