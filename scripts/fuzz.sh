#!/usr/bin/env bash
# Builds the frame decoder fuzzer with clang and libFuzzer and runs it.
# Usage: scripts/fuzz.sh [seconds]   (default 600)
set -euo pipefail
root="$(cd "$(dirname "$0")/.." && pwd)"
seconds="${1:-600}"
out="${TARNEL_FUZZ_DIR:-$root/build-fuzz}"
mkdir -p "$out/corpus"
command -v clang++ >/dev/null || { echo "clang++ is needed: apt-get install clang libclang-rt-dev" >&2; exit 1; }
sources=(
  "$root/fuzz/FrameDecoderFuzzer.cpp"
  "$root/src/TarnelFoundation/Codec/Value.cpp"
  "$root/src/TarnelXPC/Wire/ValueCoding.cpp"
  "$root/src/TarnelXPC/Envelope.cpp"
  "$root/src/TarnelXPC/XPCError.cpp"
  "$root/src/TarnelXPC/XPCRoute.cpp"
)
clang++ -std=c++20 -O1 -g -fsanitize=fuzzer,address,undefined -fno-sanitize-recover=undefined \
  -I"$root/src" "${sources[@]}" -lfmt -o "$out/frame-decoder-fuzzer"
cp -n "$root"/fuzz/corpus/* "$out/corpus/" 2>/dev/null || true
exec "$out/frame-decoder-fuzzer" -max_total_time="$seconds" -timeout=5 -rss_limit_mb=2048 \
  -max_len=65536 -artifact_prefix="$out/" "$out/corpus"
