#!/usr/bin/env bash
# Times whole searches of this tree against another commit, in one run: both libraries are
# built in Release, bench/time_search.cpp is built against each, and the two programs run
# alternately; the minimum of each is kept (these machines are noisy).
#
#   bench/compare_with.sh COMMIT [ROUNDS]
set -euo pipefail
here="$(cd "$(dirname "$0")/.." && pwd)"
commit="$1"
rounds="${2:-5}"
work="$(mktemp -d)"
trap 'git -C "$here" worktree remove --force "$work/old" >/dev/null 2>&1 || true; rm -rf "$work"' EXIT

build() { # source dir, build dir
  cmake -S "$1" -B "$2" -G Ninja -DCMAKE_BUILD_TYPE=Release -DOLHS_BUILD_TESTS=OFF -DOLHS_BUILD_BENCHMARKS=OFF \
    -DOLHS_BUILD_EXAMPLES=OFF -DOLHS_BUILD_CLI=OFF >/dev/null
  cmake --build "$2" --target olhs -j2 >/dev/null
}
git -C "$here" worktree add --detach "$work/old" "$commit" >/dev/null 2>&1
build "$work/old" "$work/old-build"
build "$here" "$work/new-build"
for side in old new; do
  src="$here"; [ "$side" = old ] && src="$work/old"
  g++ -O2 -std=c++17 -I"$src/include" "$here/bench/time_search.cpp" -L"$work/$side-build/src" -lolhs \
    -Wl,-rpath,"$work/$side-build/src" -o "$work/time_$side"
done

cases=("doe 100 10" "doe 500 20" "outer 2000 10 20" "outer 5000 10 2")
printf '%-18s %10s %10s %8s %12s %12s\n' case "old s" "new s" ratio "old MiB" "new MiB"
for c in "${cases[@]}"; do
  best_old=1e9; best_new=1e9; mem_old=0; mem_new=0
  for ((r = 0; r < rounds; r++)); do
    for side in old new; do
      read -r t mem value < <("$work/time_$side" $c)
      if [ "$side" = old ]; then
        best_old=$(python3 -c "print(min($best_old, $t))"); mem_old=$mem; value_old=$value
      else
        best_new=$(python3 -c "print(min($best_new, $t))"); mem_new=$mem; value_new=$value
      fi
    done
  done
  [ "$value_old" = "$value_new" ] || echo "results differ for $c: $value_old vs $value_new" >&2
  printf '%-18s %10.4f %10.4f %7.1fx %12.1f %12.1f\n' "$c" "$best_old" "$best_new" \
    "$(python3 -c "print($best_old / $best_new)")" "$mem_old" "$mem_new"
done
