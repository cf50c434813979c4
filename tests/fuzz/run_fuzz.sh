#!/usr/bin/env bash
# Builds the libFuzzer targets under AddressSanitizer and UndefinedBehaviorSanitizer
# (fuzz_optimal_lh.cpp with the library's sources, fuzz_design_reader.cpp with the
# command's design reader) and fuzzes each for half of a bounded time from an empty corpus.
#
#   tests/fuzz/run_fuzz.sh [seconds]      (default 60 in all, or $OLHS_FUZZ_SECONDS)
#
# Needs clang++ with libFuzzer ($OLHS_FUZZ_CXX picks another). Exits nonzero on any finding,
# keeping the scratch directory with the crashing input; replay it with the target's
# *_replay program of a regular build or with the fuzzer binary itself.
set -euo pipefail
seconds="${1:-${OLHS_FUZZ_SECONDS:-60}}"
cxx="${OLHS_FUZZ_CXX:-clang++}"
root="$(cd "$(dirname "$0")/../.." && pwd)"
command -v "$cxx" >/dev/null 2>&1 || { echo "run_fuzz.sh: $cxx not found" >&2; exit 2; }
work="$(mktemp -d "${TMPDIR:-/tmp}/olhs-fuzz-XXXXXX")"
keep=0
trap '[ "$keep" -eq 0 ] && rm -rf "$work" || echo "run_fuzz.sh: scratch directory kept: $work" >&2' EXIT

flags=(-std=c++17 -O1 -g -fno-omit-frame-pointer -ffp-contract=off -fsanitize=fuzzer,address,undefined
       -fno-sanitize-recover=all -Wall -Wextra -Wpedantic -Werror
       -DOLHS_BUILDING_LIBRARY -I "$root/include" -I "$root/src" -I "$root/src/legacy")
mkdir -p "$work/obj"
export cxx work
printf '%s\n' "$root"/src/*/*.cpp "$root/tests/fuzz/fuzz_optimal_lh.cpp" |
  xargs -P 2 -I{} sh -c 'src=$1; shift; exec "$cxx" "$@" -c "$src" -o "$work/obj/$(basename "$src" .cpp).o"' \
    sh {} "${flags[@]}"
"$cxx" "${flags[@]}" "$work"/obj/*.o -o "$work/fuzz_optimal_lh"
"$cxx" "${flags[@]}" -I "$root/apps/olhs" "$root/apps/olhs/design_reader.cpp" "$root/tests/fuzz/fuzz_design_reader.cpp" \
  -o "$work/fuzz_design_reader"

# Any crash, sanitizer report, leak, timeout or out-of-memory ends the run nonzero.
share=$(( seconds / 2 > 0 ? seconds / 2 : 1 ))
for target in fuzz_optimal_lh fuzz_design_reader; do
  mkdir -p "$work/corpus-$target"
  if ! (cd "$work" && "./$target" -max_total_time="$share" -timeout=30 -rss_limit_mb=2048 -max_len=4096 \
        -print_final_stats=1 -artifact_prefix="$work/$target-" "corpus-$target"); then
    keep=1
    echo "run_fuzz.sh: $target reported a finding: $(ls "$work/$target"-* 2>/dev/null)" >&2
    exit 1
  fi
  echo "run_fuzz.sh: $target: no findings in ${share} s ($(ls "$work/corpus-$target" | wc -l) corpus entries)"
done
