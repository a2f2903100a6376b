#!/usr/bin/env bash
# Installs the Debian packages Tarnel builds, runs and tests with, and only those missing.
set -euo pipefail

packages=(
  build-essential cmake ninja-build pkg-config git
  libasio-dev nlohmann-json3-dev libfmt-dev
  qt6-base-dev qt6-base-dev-tools qt6-svg-dev libgl1-mesa-dev
  libsystemd-dev libudev-dev libsensors-dev
  libzip-dev zipcmp zipmerge ziptool
  libsqlite3-dev libcurl4-openssl-dev
  libgtest-dev libgmock-dev libbenchmark-dev
  xvfb xauth dbus fonts-dejavu-core util-linux procps trayer
  gdu fd-find bc python3 pciutils smartmontools
)

missing=()
for p in "${packages[@]}"; do
  dpkg-query -W -f='${Status}' "$p" 2>/dev/null | grep -q "install ok installed" || missing+=("$p")
done
[ ${#missing[@]} -eq 0 ] && exit 0

echo "Installing: ${missing[*]}"
sudo=""
[ "$(id -u)" -eq 0 ] || sudo="sudo"
export DEBIAN_FRONTEND=noninteractive
$sudo apt-get update -qq
$sudo apt-get install -y -qq --no-install-recommends "${missing[@]}"
