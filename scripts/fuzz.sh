#!/usr/bin/env bash
# Builds a fuzz target with clang and libFuzzer and runs it.
# Usage: scripts/fuzz.sh [frame|edid|smartctl] [seconds]   (default: frame, 600 s; "scripts/fuzz.sh 60" still means frame)
set -euo pipefail
root="$(cd "$(dirname "$0")/.." && pwd)"
target=frame
if [[ $# -gt 0 && ! "$1" =~ ^[0-9]+$ ]]; then
  target="$1"
  shift
fi
seconds="${1:-600}"
out="${TARNEL_FUZZ_DIR:-$root/build-fuzz}/$target"
command -v clang++ >/dev/null || { echo "clang++ is needed: apt-get install clang libclang-rt-dev" >&2; exit 1; }
case "$target" in
  frame)
    sources=(
      "$root/fuzz/FrameDecoderFuzzer.cpp"
      "$root/src/TarnelFoundation/Codec/Value.cpp"
      "$root/src/TarnelXPC/Wire/ValueCoding.cpp"
      "$root/src/TarnelXPC/Envelope.cpp"
      "$root/src/TarnelXPC/XPCError.cpp"
      "$root/src/TarnelXPC/XPCRoute.cpp"
    )
    seeds="$root/fuzz/corpus"
    max_len=65536
    ;;
  edid)
    sources=("$root/fuzz/EdidFuzzer.cpp" "$root/src/Platform/Display/Edid.cpp")
    seeds="$root/fuzz/corpus-edid"
    max_len=1024
    ;;
  smartctl)
    sources=(
      "$root/fuzz/SmartctlJsonFuzzer.cpp"
      "$root/src/Platform/Hardware/SmartctlReport.cpp"
      "$root/daemon/Statistics/SmartHealth.cpp"
      "$root/src/QuendalFoundation/Formatting/ByteCountFormatter.cpp"
      "$root/src/TarnelFoundation/Codec/Date.cpp"
    )
    seeds="$root/fuzz/corpus-smartctl"
    max_len=16384
    ;;
  *)
    echo "unknown fuzz target '$target': frame, edid or smartctl" >&2
    exit 2
    ;;
esac
mkdir -p "$out/corpus"
clang++ -std=c++20 -O1 -g -fsanitize=fuzzer,address,undefined -fno-sanitize-recover=undefined \
  -I"$root/src" -I"$root/daemon" "${sources[@]}" -lfmt -o "$out/fuzzer"
cp -n "$seeds"/* "$out/corpus/" 2>/dev/null || true
exec "$out/fuzzer" -max_total_time="$seconds" -timeout=5 -rss_limit_mb=2048 \
  -max_len="$max_len" -artifact_prefix="$out/" "$out/corpus"
