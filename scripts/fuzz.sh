#!/usr/bin/env bash
# Fuzzes the SDK's parsers of outside input with libFuzzer (tests/fuzz/):
#
#   scripts/fuzz.sh [SECONDS] [TARGET...]     default: 600 seconds each, every target
#
# Installs clang-14 and its runtime when missing, builds the targets with
# ASan and UBSan in build-fuzz (TESSARIN_FUZZ_BUILD to change), and runs each
# for SECONDS over its seed corpus (tests/fuzz/corpus/<target>) plus a scratch
# corpus outside the repository, which later runs start from
# (TESSARIN_FUZZ_WORK, default /tmp/tessarin-fuzz/<target>). TESSARIN_FUZZ_JOBS
# targets run at once (default 1). Crashes, leaks, hangs and sanitizer reports
# are kept in <work>/<target>/findings/; the script prints a summary per
# target and fails when anything was found. A finding worth keeping goes into
# the seed corpus, where the suite's fuzz_replay test runs it from then on.
set -euo pipefail
cd "$(dirname "$0")/.."
root=$PWD
scripts/install-deps.sh clang-14 libclang-rt-14-dev

seconds=600
if (($#)) && [[ $1 =~ ^[0-9]+$ ]]; then
  seconds=$1
  shift
fi
all=()
for source in tests/fuzz/*_fuzz.cc; do
  name=${source##*/}
  all+=("${name%_fuzz.cc}")
done
targets=("$@")
((${#targets[@]})) || targets=("${all[@]}")
for target in "${targets[@]}"; do
  if [ ! -f "tests/fuzz/${target}_fuzz.cc" ]; then
    echo "no fuzz target $target (targets: ${all[*]})" >&2
    exit 64
  fi
done

build=${TESSARIN_FUZZ_BUILD:-build-fuzz}
work=${TESSARIN_FUZZ_WORK:-${TMPDIR:-/tmp}/tessarin-fuzz}
jobs=${TESSARIN_FUZZ_JOBS:-1}
launcher=()
if command -v ccache >/dev/null; then
  launcher=(-DCMAKE_CXX_COMPILER_LAUNCHER=ccache -DCMAKE_C_COMPILER_LAUNCHER=ccache)
fi
# Optimised, with assertions on and line tables for the reports' stacks.
cmake -S . -B "$build" -DCMAKE_BUILD_TYPE=RelWithDebInfo \
  -DCMAKE_CXX_FLAGS_RELWITHDEBINFO="-O1 -g1" -DCMAKE_C_FLAGS_RELWITHDEBINFO="-O1 -g1" \
  -DCMAKE_CXX_COMPILER=clang++-14 -DCMAKE_C_COMPILER=clang-14 \
  -DTESSARIN_FUZZ=ON -DTESSARIN_BUILD_BENCH=OFF "${launcher[@]}" >/dev/null
cmake --build "$build" -j"$(nproc)" --target "${targets[@]/#/fuzz_}"

# One target: its log, its summary line and its findings under $work/<target>.
fuzz_one() {
  local target=$1 dir=$work/$1
  mkdir -p "$dir/corpus" "$dir/findings"
  local before
  before=$(find "$dir/findings" -type f | wc -l)
  local started=$SECONDS status=0
  # Leaks are checked after every input that allocated more than it freed;
  # fontconfig's process-wide cache is not Tessarin's (tests/lsan.supp).
  # The whole library is instrumented, so every input touches many thousand
  # coverage features; the entropic schedule's bookkeeping over them costs
  # the façade targets seven eighths of their speed.
  ASAN_OPTIONS=detect_leaks=1 \
  LSAN_OPTIONS=suppressions="$root/tests/lsan.supp" \
  UBSAN_OPTIONS=print_stacktrace=1:halt_on_error=1 \
    "$build/tests/fuzz/fuzz_$target" -max_total_time="$seconds" -timeout=30 -rss_limit_mb=2048 -entropic=0 \
      -print_final_stats=1 -artifact_prefix="$dir/findings/" \
      "$dir/corpus" "$root/tests/fuzz/corpus/$target" >"$dir/log" 2>&1 || status=$?
  local elapsed=$((SECONDS - started))
  local execs new cov corpus found
  execs=$(sed -n 's/^stat::number_of_executed_units: *//p' "$dir/log" | tail -1)
  new=$(sed -n 's/^stat::new_units_added: *//p' "$dir/log" | tail -1)
  cov=$(grep -o 'cov: [0-9]*' "$dir/log" | tail -1 | cut -d' ' -f2)
  corpus=$(find "$dir/corpus" -type f | wc -l)
  found=$(($(find "$dir/findings" -type f | wc -l) - before))
  printf '%-16s %5ss  execs %-10s new %-6s cov %-6s corpus %-6s findings %s%s\n' "$target" "$elapsed" \
    "${execs:-?}" "${new:-?}" "${cov:-?}" "$corpus" "$found" \
    "$( ((status == 0)) || echo "  (exit $status, see $dir/log)")" >"$dir/summary"
  ((status == 0 && found == 0))
}

echo "Fuzzing ${targets[*]} for ${seconds}s each, $jobs at a time; work in $work"
failed=0
running=0
for target in "${targets[@]}"; do
  fuzz_one "$target" &
  running=$((running + 1))
  if ((running >= jobs)); then
    wait -n || failed=1
    running=$((running - 1))
  fi
done
while ((running > 0)); do
  wait -n || failed=1
  running=$((running - 1))
done

for target in "${targets[@]}"; do cat "$work/$target/summary"; done
exit $failed
