#!/usr/bin/env bash
# Times a clean build of two revisions back to back, alternating A B A B, each in a fresh clone
# with the compiler cache off, and prints a table.
#
#   bench/build-time.sh [-p PAIRS] [-j JOBS] [-k KEEP_DIR] REV_A REV_B
#
# A is the revision under test, B the baseline. Each run times configure and
# `cmake --build -j JOBS` of the whole project. With -k, each run's .ninja_log is kept in
# KEEP_DIR so per-file compile times can be compared (see bench/ninja-log-compare.sh).
set -euo pipefail

pairs=2
jobs=2
keep=""
while getopts "p:j:k:" opt; do
  case $opt in
    p) pairs=$OPTARG ;;
    j) jobs=$OPTARG ;;
    k) keep=$OPTARG ;;
    *) echo "usage: $0 [-p PAIRS] [-j JOBS] [-k KEEP_DIR] REV_A REV_B" >&2; exit 2 ;;
  esac
done
shift $((OPTIND - 1))
if [[ $# -ne 2 ]]; then
  echo "usage: $0 [-p PAIRS] [-j JOBS] [-k KEEP_DIR] REV_A REV_B" >&2
  exit 2
fi

repo="$(cd "$(dirname "$0")/.." && git rev-parse --show-toplevel)"
rev_a=$(git -C "$repo" rev-parse --short "$1^{commit}")
rev_b=$(git -C "$repo" rev-parse --short "$2^{commit}")
work=$(mktemp -d "${TMPDIR:-/tmp}/tarnel-build-time.XXXXXX")
trap 'rm -rf "$work"' EXIT
[[ -n $keep ]] && mkdir -p "$keep"

# No compiler cache anywhere: neither a launcher nor a ccache masquerading as the compiler.
export CCACHE_DISABLE=1
unset CMAKE_CXX_COMPILER_LAUNCHER CMAKE_C_COMPILER_LAUNCHER

# build REV LABEL RUN: prints "wall cpu" seconds of configure + build; cpu is user + system of
# every process the build waited for, which the other work on a shared machine disturbs less.
build() {
  local rev=$1 label=$2 run=$3
  local src="$work/src-$label" out="$work/build-$label"
  local log="$work/log-$label-$run.txt" times="$work/time-$label-$run.txt"
  rm -rf "$src" "$out"
  git clone --quiet --no-checkout "$repo" "$src"
  git -C "$src" checkout --quiet "$rev"
  if ! /usr/bin/time -f '%e %U %S' -o "$times" sh -c '
      cmake -S "$1" -B "$2" -G Ninja -DCMAKE_BUILD_TYPE=Release -DTARNEL_WERROR=ON \
        -DCMAKE_CXX_COMPILER_LAUNCHER= -DCMAKE_C_COMPILER_LAUNCHER= &&
      cmake --build "$2" -j "$3"' build "$src" "$out" "$jobs" >"$log" 2>&1; then
    echo "build of $rev failed; last lines:" >&2
    tail -n 30 "$log" >&2
    exit 1
  fi
  [[ -n $keep ]] && cp "$out/.ninja_log" "$keep/ninja_log-$label-$run"
  rm -rf "$src" "$out"
  awk 'END {printf "%s %s\n", $1, $2 + $3}' "$times"
}

declare -a wall_a wall_b cpu_a cpu_b
for ((i = 1; i <= pairs; i++)); do
  read -r w c < <(build "$rev_a" A "$i") && [[ -n $w ]] || exit 1
  wall_a+=("$w"); cpu_a+=("$c")
  echo "pair $i: A ($rev_a) wall $w s, cpu $c s" >&2
  read -r w c < <(build "$rev_b" B "$i") && [[ -n $w ]] || exit 1
  wall_b+=("$w"); cpu_b+=("$c")
  echo "pair $i: B ($rev_b) wall $w s, cpu $c s" >&2
done

median() { printf '%s\n' "$@" | sort -n | awk '{v[NR]=$1} END {print (NR%2 ? v[(NR+1)/2] : (v[NR/2]+v[NR/2+1])/2)}'; }

ratio() { echo "$1 / $2" | bc -l; }
echo "| pair | A $rev_a wall (s) | B $rev_b wall (s) | A/B wall | A cpu (s) | B cpu (s) | A/B cpu |"
echo "|---|---|---|---|---|---|---|"
for ((i = 0; i < pairs; i++)); do
  printf '| %d | %.0f | %.0f | %.2f | %.0f | %.0f | %.2f |\n' $((i + 1)) "${wall_a[i]}" "${wall_b[i]}" \
    "$(ratio "${wall_a[i]}" "${wall_b[i]}")" "${cpu_a[i]}" "${cpu_b[i]}" "$(ratio "${cpu_a[i]}" "${cpu_b[i]}")"
done
wa=$(median "${wall_a[@]}"); wb=$(median "${wall_b[@]}")
ca=$(median "${cpu_a[@]}"); cb=$(median "${cpu_b[@]}")
printf '| median | %.0f | %.0f | %.2f | %.0f | %.0f | %.2f |\n' "$wa" "$wb" "$(ratio "$wa" "$wb")" "$ca" "$cb" "$(ratio "$ca" "$cb")"
