#!/usr/bin/env bash
# Builds and runs the whole suite, then again under AddressSanitizer and
# UndefinedBehaviorSanitizer, then the tests that run real threads under
# ThreadSanitizer.
set -euo pipefail
cd "$(dirname "$0")/.."
scripts/install-deps.sh

# Line tables are all the suite's reports need (sanitizer stacks, failure
# locations); full debug information would cost a quarter of the compile
# time and three times the object size.
# Compiling is most of this script's time on two cores: the library is
# compiled in batches (about half its compile time), and the sanitizer
# builds optimise less, -O1 being what the sanitizers are made for (a third
# to a half less compile time than -O2). At -O1 the compiler takes parts of
# the standard library's <regex> (which cpp-httplib's header brings into the
# tests) for uninitialised; the -O2 build keeps that warning for our code.
flags=(-DTESSARIN_UNITY_BUILD=ON
       -DCMAKE_CXX_FLAGS_RELWITHDEBINFO="-O2 -g1 -DNDEBUG" -DCMAKE_C_FLAGS_RELWITHDEBINFO="-O2 -g1 -DNDEBUG")
sanitizer_flags=(-DTESSARIN_UNITY_BUILD=ON
                 -DCMAKE_CXX_FLAGS_RELWITHDEBINFO="-O1 -g1 -DNDEBUG -Wno-maybe-uninitialized"
                 -DCMAKE_C_FLAGS_RELWITHDEBINFO="-O1 -g1 -DNDEBUG")
scripts/build.sh build -DTESSARIN_BUILD_BENCH=ON "${flags[@]}"
(cd build && ctest --output-on-failure -j"$(nproc)")

# The suppressions path is taken here, before the subshell changes directory.
lsan_suppressions="$PWD/tests/lsan.supp"
scripts/build.sh build-asan -DTESSARIN_SANITIZE=ON -DTESSARIN_BUILD_BENCH=OFF "${sanitizer_flags[@]}"
# The checks of the build's structure (layers, the installed package) and the
# layout oracle, which only compares solved numbers, ran above; under the
# sanitizers they would cost minutes and find nothing new.
(cd build-asan && ASAN_OPTIONS=detect_leaks=1 UBSAN_OPTIONS=print_stacktrace=1 \
  LSAN_OPTIONS=suppressions="$lsan_suppressions" \
  ctest --output-on-failure -j"$(nproc)" -E '^(install_consumer|layout_oracle|layer_boundaries)$')

# ThreadSanitizer: only the library and the threaded tests are built (the
# rest of the suite runs on the simulated platform's one thread).
tsan_suppressions="$PWD/tests/tsan.supp"
cmake -S . -B build-tsan -DCMAKE_BUILD_TYPE=RelWithDebInfo -DTESSARIN_SANITIZE_THREAD=ON -DTESSARIN_BUILD_BENCH=OFF \
  "${sanitizer_flags[@]}" >/dev/null
cmake --build build-tsan -j"$(nproc)" --target tessarin_tests
(cd build-tsan && TSAN_OPTIONS="halt_on_error=1 second_deadlock_stack=1 suppressions=$tsan_suppressions" \
  ctest --output-on-failure -j"$(nproc)")
