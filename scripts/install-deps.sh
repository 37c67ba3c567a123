#!/usr/bin/env bash
# Installs the Debian packages Tessarin builds, tests and runs with, and any
# named as arguments (scripts/install-deps.sh [PACKAGE...]), when any is
# missing. Safe to run again.
set -euo pipefail

packages=(
  build-essential cmake pkg-config
  nlohmann-json3-dev libicu-dev libcurl4-openssl-dev ca-certificates zlib1g-dev
  libgtest-dev libgmock-dev libbenchmark-dev libcpp-httplib-dev libssl-dev openssl
  libcairo2-dev libpango1.0-dev fonts-dejavu-core python3 python3-kiwisolver
  "$@"
)

missing=()
for p in "${packages[@]}"; do
  dpkg-query -W -f='${Status}' "$p" 2>/dev/null | grep -q "install ok installed" || missing+=("$p")
done

if ((${#missing[@]})); then
  echo "Installing: ${missing[*]}"
  sudo=""
  [ "$(id -u)" -ne 0 ] && sudo="sudo"
  $sudo apt-get update -qq
  DEBIAN_FRONTEND=noninteractive $sudo apt-get install -y -qq --no-install-recommends "${missing[@]}"
fi
