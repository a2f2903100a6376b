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
# shellcheck source=timing.sh
source "$here/timing.sh"

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

run_command() { eval "${commands[$1]}"; }
time_rounds "$runs" run_command "${order[@]}"

declare -A shown
for name in "${order[@]}"; do
  shown[$name]="\`${commands[$name]//\"/}\`"
done
median_table walker "walker / peer" "${order[@]}"
