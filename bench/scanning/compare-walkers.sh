#!/usr/bin/env bash
# Times the walker in tree mode against du, gdu, fd and find on one tree, in the same run with
# warm caches, and prints the medians as a Markdown table.
#   bench/scanning/compare-walkers.sh <bench_scanning_walk> [tree root] [runs]
# A root that does not exist yet is generated there (200,000 files in 20,000 folders) and kept
# for later runs; an existing folder, such as /usr, is walked as it is.
set -euo pipefail

walker=${1:?path to bench_scanning_walk}
tree=${2:-/tmp/tarnel-walk-tree}
runs=${3:-9}
here=$(cd "$(dirname "$0")" && pwd)

if [ ! -e "$tree" ]; then
  python3 "$here/make_tree.py" "$tree"
fi

fd_command=$(command -v fd || command -v fdfind || true)

# The walker must agree with find: bytes of regular files and symbolic links, and the count of
# files and folders below the root.
read -r bytes nodes _ < <("$walker" "$tree")
find_bytes=$(find "$tree" -mindepth 1 \( -type f -o -type l \) -printf '%s\n' | awk '{s+=$1} END {printf "%.0f\n", s}')
find_nodes=$(find "$tree" -mindepth 1 \( -type f -o -type d \) | wc -l)
echo "walker: $bytes bytes, $nodes nodes; find: $find_bytes bytes, $find_nodes nodes" >&2
if [ "$bytes" != "$find_bytes" ] || [ "$nodes" != "$find_nodes" ]; then
  echo "the walker disagrees with find" >&2
  exit 1
fi

declare -A commands=(
  [walker]="\"$walker\" \"$tree\""
  [du]="du -sbl \"$tree\""
  [find]="find \"$tree\" -printf '%s\\n' | awk '{s+=\$1} END {print s}'"
)
order=(walker du find)
if command -v gdu >/dev/null; then
  commands[gdu]="gdu -n -a \"$tree\""
  order+=(gdu)
fi
if [ -n "$fd_command" ]; then
  commands[fd]="\"$fd_command\" -u . \"$tree\" | wc -l"
  order+=(fd)
fi

declare -A samples
for name in "${order[@]}"; do
  eval "${commands[$name]}" >/dev/null 2>&1 # warm the caches
done
# Interleaved rounds, so drift of the shared machine touches every command alike.
for ((round = 0; round < runs; ++round)); do
  for name in "${order[@]}"; do
    start=$(date +%s%N)
    eval "${commands[$name]}" >/dev/null 2>&1
    end=$(date +%s%N)
    samples[$name]+="$(((end - start) / 1000)) "
  done
done

median() { tr ' ' '\n' | grep -v '^$' | sort -n | awk '{a[NR]=$1} END {print a[int((NR+1)/2)]}'; }
walker_median=$(echo "${samples[walker]}" | median)
echo "| command | median wall time (ms) | walker / peer |"
echo "|---|---|---|"
for name in "${order[@]}"; do
  m=$(echo "${samples[$name]}" | median)
  printf '| `%s` | %.1f | %.2f |\n' "${commands[$name]//\"/}" "$(echo "$m / 1000" | bc -l)" \
    "$(echo "$walker_median / $m" | bc -l)"
done
