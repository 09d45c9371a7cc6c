#!/usr/bin/env bash
# Installs the Debian packages that building, testing, benchmarking and fuzzing Loom need.
# Runs as root on a fresh Debian machine; when everything is installed already it returns at
# once without touching apt, so every make target can call it.
set -euo pipefail

PACKAGES=(
  build-essential cmake g++          # the compiler and the build
  libgtest-dev libgmock-dev googletest  # unit tests
  libbenchmark-dev libmuparser-dev   # benchmarks (muParser only as the yardstick there)
  libcli11-dev libreadline-dev       # the loom command line and its REPL
  libfftw3-dev                       # spectra
  libsimpleini-dev                   # the settings block of a panel (INI)
  libsndfile1-dev libmatio-dev       # WAV and MAT data of `loom run`
  octave                             # the engine behind the MATLAB bridge (a child process)
  python3                            # the end-to-end tests of the command line
  pybind11-dev python3-dev python3-numpy  # the Python module
  python3-distributed                # the module's recipe for Dask clusters
  clang libclang-rt-14-dev           # fuzzing with libFuzzer
  clang-format                       # make format
  qt6-base-dev fonts-dejavu-core     # the configuration dialogs and the live plot (Qt 6 Widgets)
)

missing=()
for package in "${PACKAGES[@]}"; do
  status=$(dpkg-query -W -f='${db:Status-Status}' "$package" 2>/dev/null || true)
  if [[ "$status" != "installed" ]]; then
    missing+=("$package")
  fi
done

if ((${#missing[@]} == 0)); then
  exit 0
fi

echo "setup: installing ${missing[*]}"
if [[ $(id -u) -ne 0 ]]; then
  echo "setup: these packages are missing and installing them needs root" >&2
  exit 1
fi
export DEBIAN_FRONTEND=noninteractive
apt-get update
apt-get install -y --no-install-recommends "${missing[@]}"
