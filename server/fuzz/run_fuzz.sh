#!/usr/bin/env bash
# Builds the request fuzzer with clang and runs it for a bounded time.
#
#   server/fuzz/run_fuzz.sh BUILD_DIR [SECONDS]     (default 25 s)
#
# The seed corpus is server/fuzz/corpus; what libFuzzer finds on the way is
# kept in BUILD_DIR/corpus for the next run. A crash leaves its input in
# BUILD_DIR and fails the run. For a longer search:
#   server/fuzz/run_fuzz.sh build/fuzz 3600
set -euo pipefail
here=$(cd "$(dirname "$0")" && pwd)
build=${1:?usage: run_fuzz.sh BUILD_DIR [SECONDS]}
seconds=${2:-25}

if ! command -v clang++ >/dev/null; then
  echo "run_fuzz.sh: clang++ is missing (Debian packages clang and libclang-rt-14-dev)" >&2
  exit 1
fi
mkdir -p "$build/corpus"
if [[ ! -f $build/CMakeCache.txt ]]; then
  cmake -S "$here" -B "$build" -G Ninja -DCMAKE_BUILD_TYPE=RelWithDebInfo \
    -DCMAKE_CXX_COMPILER=clang++ >/dev/null
fi
cmake --build "$build" -j2 >/dev/null
cd "$build"
# Each input stays below the size of a real sync batch's worth of fields, so
# the run explores structure rather than spending its time on big buffers.
exec ./server_request_fuzzer -max_total_time="$seconds" -max_len=65536 -timeout=10 \
  -rss_limit_mb=2048 -print_final_stats=1 corpus "$here/corpus"
