#!/usr/bin/env bash
# ./run.sh demo : install what is missing, build, run `zxvu demo`
# ./run.sh test : install what is missing, build, run the whole test suite
#                 (normal build, ASan+UBSan build, TSan on the concurrency
#                 tests, every fuzz target for a bounded time)
set -euo pipefail
ROOT="$(cd "$(dirname "${BASH_SOURCE[0]}")" && pwd)"
cd "$ROOT"
JOBS="${JOBS:-$(nproc)}"
FUZZ_SECONDS="${FUZZ_SECONDS:-20}"

PACKAGES=(build-essential cmake ninja-build pkg-config
          libicu-dev libssl-dev
          libgtest-dev libgmock-dev libbenchmark-dev libexpat1-dev libpugixml-dev
          libcli11-dev nlohmann-json3-dev libfmt-dev
          clang libclang-rt-14-dev)

install_missing() {
  local missing=()
  for p in "${PACKAGES[@]}"; do
    dpkg-query -W -f='${Status}' "$p" 2>/dev/null | grep -q "install ok installed" || missing+=("$p")
  done
  [ ${#missing[@]} -eq 0 ] && return 0
  echo "== installing: ${missing[*]}"
  local sudo=""
  [ "$(id -u)" -ne 0 ] && sudo="sudo"
  $sudo apt-get update -qq
  DEBIAN_FRONTEND=noninteractive $sudo apt-get install -y -qq --no-install-recommends "${missing[@]}"
}

configure_build() { # dir, extra cmake args...
  local dir="$1"; shift
  cmake -S "$ROOT" -B "$dir" -G Ninja "$@" >/dev/null
}

build_main() {
  configure_build build -DCMAKE_BUILD_TYPE=RelWithDebInfo
  cmake --build build -j "$JOBS"
}

run_fuzz() {
  CC=clang CXX=clang++ configure_build build-fuzz -DCMAKE_BUILD_TYPE=RelWithDebInfo \
    -DZXV_BUILD_FUZZ=ON -DZXV_SANITIZE=address -DZXV_WERROR=OFF \
    -DZXV_BUILD_TESTS=OFF -DZXV_BUILD_BENCH=OFF -DZXV_BUILD_TOOLS=OFF
  cmake --build build-fuzz -j "$JOBS"
  local total=0
  for f in build-fuzz/fuzz/*_fuzz; do
    [ -x "$f" ] || continue
    local name; name="$(basename "$f" _fuzz)"
    local work; work="$(mktemp -d)"
    cp -r "fuzz/corpus/$name/." "$work/" 2>/dev/null || true
    echo "== fuzz $name for ${FUZZ_SECONDS}s"
    KWSPREFIX="$work/data" "$f" -max_total_time="$FUZZ_SECONDS" -print_final_stats=1 \
      -timeout=10 -rss_limit_mb=2048 "$work" 2>"$work.log" || { tail -50 "$work.log"; return 1; }
    grep -E "stat::number_of_executed_units" "$work.log" || true
    rm -rf "$work" "$work.log"
    total=$((total + 1))
  done
  echo "== fuzz: $total targets ran clean"
}

case "${1:-}" in
  demo)
    install_missing
    build_main
    ./build/tools/zxvu/zxvu demo
    ;;
  test)
    install_missing
    build_main
    echo "== tests (normal build)"
    (cd build && ctest --output-on-failure -j "$JOBS" --timeout 300)
    echo "== tests (ASan+UBSan)"
    configure_build build-asan -DCMAKE_BUILD_TYPE=Debug -DZXV_SANITIZE=address -DZXV_BUILD_BENCH=OFF
    cmake --build build-asan -j "$JOBS"
    (cd build-asan && ASAN_OPTIONS=detect_leaks=1 UBSAN_OPTIONS=print_stacktrace=1 \
      ctest --output-on-failure -j "$JOBS" --timeout 600)
    echo "== tests (TSan, concurrency)"
    CC=clang CXX=clang++ configure_build build-tsan -DCMAKE_BUILD_TYPE=RelWithDebInfo \
      -DZXV_SANITIZE=thread -DZXV_WERROR=OFF -DZXV_BUILD_BENCH=OFF -DZXV_BUILD_TOOLS=OFF
    cmake --build build-tsan -j "$JOBS" --target concurrency_tests
    (cd build-tsan && ctest --output-on-failure -L concurrency --no-tests=ignore --timeout 600)
    echo "== fuzz"
    run_fuzz
    echo "== all test stages passed"
    ;;
  *)
    echo "usage: $0 demo|test" >&2
    exit 2
    ;;
esac
