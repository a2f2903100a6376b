#!/usr/bin/env bash
# Times the home-folder queries of a Clean scan, answered from one walk, against the plain walk
# of the same tree in tree mode and against find with the same filters, in one run with warm
# caches, and prints the medians as a Markdown table.
#   bench/scanning/compare-home-queries.sh <build dir> [home root] [runs]
# A root that does not exist yet is generated there: the walker's tree of 200,000 files, with
# some of them renamed to packages and disk images and some made sparse and over 100 MB.
set -euo pipefail

build=${1:?build directory}
home=${2:-/tmp/tarnel-home-tree}
runs=${3:-9}
here=$(cd "$(dirname "$0")" && pwd)
# shellcheck source=timing.sh
source "$here/timing.sh"
queries="$build/bench/scanning/bench_scanning_home_queries"
walker="$build/bench/scanning/bench_scanning_walk"

if [ ! -e "$home" ]; then
  python3 "$here/make_tree.py" "$home"
  python3 - "$home" <<'PY'
import os, random, sys
rng = random.Random(7)
files = [os.path.join(d, f) for d, _, names in os.walk(sys.argv[1]) for f in names if f.endswith(".dat")]
suffixes = [".deb", ".rpm", ".pkg.tar.zst", ".flatpakref", ".snap", ".iso", ".img", ".dmg", ".ISO", ".Deb"]
for path in rng.sample(files, 1000):
    os.rename(path, path[:-4] + rng.choice(suffixes))
for path in rng.sample([f for f in files if os.path.exists(f)], 40):
    with open(path, "r+b") as handle:
        handle.truncate(100_000_000 + rng.randrange(2) * rng.randrange(1, 10**9))
PY
fi

filters=(\( -iname '*.deb' -o -iname '*.rpm' -o -iname '*.pkg.tar.zst' -o -iname '*.flatpakref' -o -iname '*.snap'
         -o -iname '*.iso' -o -iname '*.img' -o -iname '*.dmg' -o -size +100000000c \))

# The answers must agree with find: the same distinct paths.
read -r packages images large distinct < <("$queries" "$home")
find_count=$(find "$home" -mindepth 1 "${filters[@]}" -print | wc -l)
echo "queries: $packages packages, $images disk images, $large large, $distinct distinct; find: $find_count" >&2
if [ "$distinct" != "$find_count" ]; then
  echo "the queries disagree with find" >&2
  exit 1
fi

run_queries() { "$queries" "$home"; }
run_walk() { "$walker" "$home"; }
run_find() { find "$home" -mindepth 1 "${filters[@]}" -printf '%s %p\n'; }
names=(queries walk find)

run_named() { "run_$1"; }
time_rounds "$runs" run_named "${names[@]}"

declare -A shown=(
  [queries]="bench_scanning_home_queries (3 queries, one walk)"
  [walk]="bench_scanning_walk (tree mode)"
  [find]="find with the same 9 filters"
)
median_table queries "queries / peer" "${names[@]}"
