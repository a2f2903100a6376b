#!/usr/bin/env bash
# Times one whole Clean scan of a generated home against du -sb over the same locations (the
# home and the system logs), in one run with warm caches, and prints the medians as a Markdown
# table.
#   bench/scanning/compare-clean-scan.sh <build dir> [home] [runs]
# A home that does not exist yet is generated there: the walker's tree of 200,000 files, four of
# its folders moved to the cache, state, Downloads and Desktop folders, some files renamed to
# packages, disk images and logs, and some made sparse and over 100 MB.
set -euo pipefail

build=${1:?build directory}
home=${2:-/tmp/tarnel-clean-home}
runs=${3:-7}
here=$(cd "$(dirname "$0")" && pwd)
clean="$build/bench/scanning/bench_scanning_clean"
logs=/var/log

if [ ! -e "$home" ]; then
  python3 "$here/make_tree.py" "$home"
  python3 - "$home" <<'PY'
import os, random, sys
home = sys.argv[1]
rng = random.Random(7)
# The tree hangs from one top folder: its first four subfolders become the XDG folders.
top = os.path.join(home, "d1")
subfolders = sorted((d for d in os.listdir(top) if d.startswith("d")), key=lambda d: int(d[1:]))
for folder, sub in zip([".cache", ".local/state", "Downloads", "Desktop"], subfolders):
    os.makedirs(os.path.dirname(os.path.join(home, folder)), exist_ok=True)
    os.rename(os.path.join(top, sub), os.path.join(home, folder))
files = [os.path.join(d, f) for d, _, names in os.walk(home) for f in names if f.endswith(".dat")]
suffixes = [".deb", ".rpm", ".pkg.tar.zst", ".flatpakref", ".snap", ".iso", ".img", ".dmg", ".log"]
for path in rng.sample(files, 1000):
    os.rename(path, path[:-4] + rng.choice(suffixes))
for path in rng.sample([f for f in files if os.path.exists(f)], 40):
    with open(path, "r+b") as handle:
        handle.truncate(100_000_000 + rng.randrange(2) * rng.randrange(1, 10**9))
PY
fi

"$clean" "$home" >&2

run_clean() { "$clean" "$home"; }
run_du() { du -sb "$home" "$logs"; }
names=(clean du)

declare -A samples
for name in "${names[@]}"; do
  "run_$name" >/dev/null 2>&1 || true # warm the caches
done
# Interleaved rounds, so drift of the shared machine touches both commands alike.
for ((round = 0; round < runs; ++round)); do
  for name in "${names[@]}"; do
    start=$(date +%s%N)
    "run_$name" >/dev/null 2>&1 || true
    end=$(date +%s%N)
    samples[$name]+="$(((end - start) / 1000)) "
  done
done

median() { tr ' ' '\n' | grep -v '^$' | sort -n | awk '{a[NR]=$1} END {print a[int((NR+1)/2)]}'; }
clean_median=$(echo "${samples[clean]}" | median)
declare -A shown=(
  [clean]="bench_scanning_clean (whole Clean scan)"
  [du]="du -sb home /var/log"
)
echo "| command | median wall time (ms) | Clean scan / command |"
echo "|---|---|---|"
for name in "${names[@]}"; do
  m=$(echo "${samples[$name]}" | median)
  printf '| %s | %.1f | %.2f |\n' "${shown[$name]}" "$(echo "$m / 1000" | bc -l)" "$(echo "$clean_median / $m" | bc -l)"
done
