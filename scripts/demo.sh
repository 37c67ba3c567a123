#!/usr/bin/env bash
# Builds and runs the demo host app: scripts/demo.sh [demo options...]
set -euo pipefail
cd "$(dirname "$0")/.."
scripts/install-deps.sh
scripts/build.sh build -DTESSARIN_BUILD_BENCH=ON
exec build/tools/tessarin-demo "$@"
