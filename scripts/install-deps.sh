#!/usr/bin/env bash
# Installs the Debian packages the project needs, and only those that are missing.
# Idempotent: when everything is present it returns after one dpkg-query.
set -euo pipefail

packages=(
  build-essential cmake ninja-build ccache pkg-config clang libclang-rt-14-dev clang-format
  protobuf-compiler libprotobuf-dev python3
  libjsoncpp-dev libboost-dev qtbase5-dev libcurl4-openssl-dev libcpp-httplib-dev curl
  libgtest-dev libgmock-dev libbenchmark-dev
  chromium fonts-dejavu-core doxygen nodejs xvfb imagemagick x11-utils xdotool
)

missing=()
for p in "${packages[@]}"; do
  status=$(dpkg-query -W -f='${Status}' "$p" 2>/dev/null || true)
  [[ "$status" == "install ok installed" ]] || missing+=("$p")
done

# Debian's nodejs comes without npm (a separate package); other builds of Node carry their own.
if ! command -v npm >/dev/null; then missing+=(npm); fi

if ((${#missing[@]} > 0)); then
  echo "install-deps: installing ${missing[*]}"
  sudo_cmd=()
  if [[ $(id -u) -ne 0 ]]; then sudo_cmd=(sudo); fi
  export DEBIAN_FRONTEND=noninteractive
  "${sudo_cmd[@]}" apt-get update -qq
  "${sudo_cmd[@]}" apt-get install -y -qq --no-install-recommends "${missing[@]}" >/dev/null
fi

# The TypeScript compiler that checks the sample pages, and the framework the outside example
# app is written with, from the npm registry at the versions package-lock.json names, into
# node_modules/.
cd "$(dirname "$0")/.."
if [[ ! -x node_modules/.bin/tsc || ! -f node_modules/vue/dist/vue.global.prod.js ]]; then
  echo "install-deps: installing the TypeScript compiler and Vue (npm ci)"
  npm ci --no-audit --no-fund --loglevel=error >/dev/null
fi
