# Sourced by the compare-*.sh scripts: timing rounds of several commands and a table of medians.

declare -A samples

# time_rounds <runs> <runner> <name>...: `runner name` runs one command. Each runs once to warm the
# caches, then in interleaved rounds, so drift of the shared machine touches every command alike;
# samples[name] gathers the times in microseconds.
time_rounds() {
  local runs=$1 runner=$2
  shift 2
  local name round start end
  for name in "$@"; do
    "$runner" "$name" >/dev/null 2>&1
  done
  for ((round = 0; round < runs; ++round)); do
    for name in "$@"; do
      start=$(date +%s%N)
      "$runner" "$name" >/dev/null 2>&1
      end=$(date +%s%N)
      samples[$name]+="$(((end - start) / 1000)) "
    done
  done
}

median() { tr ' ' '\n' | grep -v '^$' | sort -n | awk '{a[NR]=$1} END {print a[int((NR+1)/2)]}'; }

# median_table <reference> <ratio heading> <name>...: a Markdown row for each name, labelled by
# shown[name], with its median in milliseconds and the reference's median over it.
median_table() {
  local reference=$1 heading=$2
  shift 2
  local reference_median name m
  reference_median=$(echo "${samples[$reference]}" | median)
  echo "| command | median wall time (ms) | $heading |"
  echo "|---|---|---|"
  for name in "$@"; do
    m=$(echo "${samples[$name]}" | median)
    printf '| %s | %.1f | %.2f |\n' "${shown[$name]}" "$(echo "$m / 1000" | bc -l)" \
      "$(echo "$reference_median / $m" | bc -l)"
  done
}
