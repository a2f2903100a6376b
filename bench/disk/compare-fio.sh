#!/usr/bin/env bash
# The engine at its real constants against fio with the same pattern, on one file system in one
# run: sequential, 10,000,000-byte blocks, one file of 1,000,000,000 bytes, write then read, the
# file's cached pages dropped before each pass (fio's invalidate, which is posix_fadvise
# DONTNEED, as the engine does) and the write's flush inside the measured time (end_fsync).
# Prints each round and the medians of the rounds in MB/s as a Markdown table.
#   bench/disk/compare-fio.sh <bench_disk_engine> [folder] [runs]
set -euo pipefail

engine=${1:?path to bench_disk_engine}
folder=${2:-/var/tmp/tarnel-disk-bench}
runs=${3:-3}

if ! command -v fio >/dev/null; then
  apt-get install -y fio >/dev/null
fi
mkdir -p "$folder"
file="$folder/fio-test"
common=(--filename="$file" --size=1000000000 --bs=10000000 --ioengine=psync --iodepth=1 --numjobs=1
        --direct=0 --invalidate=1 --output-format=json)
# The engine writes chunks of one byte value each; fio writes one byte value too, so a host that
# compresses or deduplicates what reaches it treats both alike.
fio_write=(fio --name=seqwrite --rw=write --end_fsync=1 --buffer_pattern=0x5a "${common[@]}")
fio_read=(fio --name=seqread --rw=read "${common[@]}")
echo "fio write: ${fio_write[*]}" >&2
echo "fio read:  ${fio_read[*]}" >&2

bandwidth() { # bytes per second of the job's one direction, from fio's JSON
  python3 -c 'import json,sys; j=json.load(sys.stdin)["jobs"][0][sys.argv[1]]; print(j["io_bytes"]*1000//j["runtime"])' "$1"
}

mean() { printf '%s\n' "$@" | awk '{s+=$1} END {printf "%.0f\n", s/NR}'; }

# fio runs as many write-then-read passes as the engine did in its round, on one file that is
# kept between them as the engine keeps its own, and each side's figure is the mean of its
# passes: the same statistic over the same span, since neighbours on a shared disk make single
# passes vary severalfold. Rounds alternate which side goes first.
fio_round() { # passes -> "<mean write> <mean read>"
  local n=$1 k w r
  local -a ws=() rs=()
  for ((k = 0; k < n; k++)); do
    ws+=("$("${fio_write[@]}" | bandwidth write)")
    rs+=("$("${fio_read[@]}" | bandwidth read)")
  done
  rm -f "$file"
  echo "$(mean "${ws[@]}") $(mean "${rs[@]}")"
}

declare -a ew er fw fr
passes=10
for ((i = 0; i < runs; i++)); do
  if ((i % 2 == 1)); then
    read -r w r < <(fio_round "$passes")
    fw+=("$w"); fr+=("$r")
    echo "run $((i + 1)) fio:    write $((w / 1000000)) MB/s, read $((r / 1000000)) MB/s ($passes + $passes passes)" >&2
  fi
  read -r w r wp rp < <("$engine" "$folder" 2>/dev/null)
  ew+=("$w"); er+=("$r")
  passes=$wp
  echo "run $((i + 1)) engine: write $((w / 1000000)) MB/s, read $((r / 1000000)) MB/s ($wp + $rp passes)" >&2
  if ((i % 2 == 0)); then
    read -r w r < <(fio_round "$passes")
    fw+=("$w"); fr+=("$r")
    echo "run $((i + 1)) fio:    write $((w / 1000000)) MB/s, read $((r / 1000000)) MB/s ($passes + $passes passes)" >&2
  fi
done

median() { printf '%s\n' "$@" | sort -n | awk '{a[NR]=$1} END {print a[int((NR+1)/2)]}'; }
mw=$(median "${ew[@]}"); mr=$(median "${er[@]}"); fwm=$(median "${fw[@]}"); frm=$(median "${fr[@]}")
python3 - "$mw" "$mr" "$fwm" "$frm" <<'PY'
import sys
ew, er, fw, fr = map(int, sys.argv[1:])
print("| | write MB/s | read MB/s |")
print("|---|---|---|")
print(f"| engine (median of rounds) | {ew/1e6:.0f} | {er/1e6:.0f} |")
print(f"| fio (median of rounds) | {fw/1e6:.0f} | {fr/1e6:.0f} |")
print(f"| engine / fio | {ew/fw:.3f} | {er/fr:.3f} |")
PY
