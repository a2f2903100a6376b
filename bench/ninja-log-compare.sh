#!/usr/bin/env bash
# Compares the compile steps of two clean builds from their .ninja_log files (as kept by
# bench/build-time.sh -k): the summed seconds of object files, of precompiled headers and
# links, and the objects that cost most in the first log beside the same object in the second.
#
#   bench/ninja-log-compare.sh NINJA_LOG_A NINJA_LOG_B [TOP]
set -euo pipefail
if [[ $# -lt 2 ]]; then
  echo "usage: $0 NINJA_LOG_A NINJA_LOG_B [TOP]" >&2
  exit 2
fi
top=${3:-15}
# A .ninja_log line: start end mtime output hash, times in milliseconds.
awk -v top="$top" '
  FNR == 1 { file++ }
  /^#/ { next }
  {
    seconds = ($2 - $1) / 1000
    kind = ($4 ~ /\.gch$/) ? "precompiled headers" : ($4 ~ /\.o$/) ? "objects" : "links and other steps"
    sum[file, kind] += seconds
    count[file, kind]++
    if ($4 ~ /\.o$/) { key = $4; sub(/.*CMakeFiles\/[^\/]*\.dir\//, "", key); cost[file, key] = seconds; keys[key] = 1 }
  }
  END {
    printf "| steps | A count | A s | B count | B s |\n|---|---|---|---|---|\n"
    n = split("objects,precompiled headers,links and other steps", kinds, ",")
    for (i = 1; i <= n; i++)
      printf "| %s | %d | %.0f | %d | %.0f |\n", kinds[i], count[1, kinds[i]], sum[1, kinds[i]], count[2, kinds[i]], sum[2, kinds[i]]
    # The costliest objects of B (the baseline) and what they cost in A.
    m = 0
    for (k in keys) if ((2, k) in cost) { m++; names[m] = k }
    for (i = 1; i <= m; i++) for (j = i + 1; j <= m; j++)
      if (cost[2, names[j]] > cost[2, names[i]]) { t = names[i]; names[i] = names[j]; names[j] = t }
    printf "\n| object (costliest in B) | A s | B s |\n|---|---|---|\n"
    for (i = 1; i <= m && i <= top; i++)
      printf "| %s | %s | %.1f |\n", names[i], ((1, names[i]) in cost) ? sprintf("%.1f", cost[1, names[i]]) : "-", cost[2, names[i]]
  }' "$1" "$2"
