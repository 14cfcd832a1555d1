#!/usr/bin/env bash
# Installs the build and test dependencies from Debian's packages when they
# are missing: compiler, CMake, Ninja, libpng, GoogleTest.
set -euo pipefail
pkgs=(g++ cmake ninja-build libpng-dev libgtest-dev pkg-config)
need=()
for p in "${pkgs[@]}"; do dpkg -s "$p" >/dev/null 2>&1 || need+=("$p"); done
if ((${#need[@]})); then
  echo "installing ${need[*]}" >&2
  sudo_cmd=""; [[ $(id -u) -eq 0 ]] || sudo_cmd=sudo
  $sudo_cmd apt-get update -qq
  DEBIAN_FRONTEND=noninteractive $sudo_cmd apt-get install -y -qq "${need[@]}" >/dev/null
fi
