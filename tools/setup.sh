#!/usr/bin/env bash
# Installs the Debian or Ubuntu packages that a part of olhs needs, only those missing. This
# is the one list of them: the README's commands and .ci/run both call it.
#
#   tools/setup.sh [build|python|tests|ci] [--list]
#
#   build   (default) CMake, Ninja, g++, CLI11 and nlohmann-json: the library and the command
#   python  build, plus Python's development files, pybind11, numpy, scipy, matplotlib, Dask
#           (distributed), pip, setuptools, wheel and venv: the Python module and its pip
#           installation
#   tests   python, plus GoogleTest, Google Benchmark, pytest, pkg-config and valgrind:
#           everything `cmake --workflow --preset ci` builds and runs
#   ci      tests, plus clang and its libFuzzer runtime: the fuzzing step of .ci/run
#
# --list prints the group's packages, one a line, and installs nothing. Run it as root or
# as a user who may sudo; with nothing missing it needs neither and touches nothing.
set -euo pipefail

group=build
list=0
for argument in "$@"; do
  case "$argument" in
    build | python | tests | ci) group="$argument" ;;
    --list) list=1 ;;
    -h | --help) sed -n '2,/^set -euo/{/^set -euo/d;s/^# \{0,1\}//;p}' "$0"; exit 0 ;;
    *) echo "tools/setup.sh: unknown argument '$argument' (expected build, python, tests, ci or --list)" >&2; exit 2 ;;
  esac
done

packages=(cmake ninja-build g++ libcli11-dev nlohmann-json3-dev)
case "$group" in python | tests | ci)
  packages+=(python3 python3-dev pybind11-dev python3-numpy python3-scipy python3-matplotlib python3-distributed
             python3-setuptools python3-wheel python3-pip python3-venv) ;;
esac
case "$group" in tests | ci)
  packages+=(libgtest-dev libgmock-dev libbenchmark-dev pkg-config python3-pytest valgrind) ;;
esac
case "$group" in ci) packages+=(clang) ;; esac

# libFuzzer comes with clang's runtime, whose package is named after clang's version
# (libclang-rt-14-dev on Debian 12, libclang-rt-18-dev on Ubuntu 24.04). It is optional:
# without it .ci/run skips the fuzzing.
fuzzer_runtime() {
  local major=""
  if command -v clang >/dev/null 2>&1; then
    major="$(clang -dumpversion 2>/dev/null | cut -d. -f1)"
  elif command -v apt-cache >/dev/null 2>&1; then
    major="$(apt-cache depends clang 2>/dev/null | sed -n 's/^ *Depends: clang-\([0-9][0-9]*\)$/\1/p' | head -n 1)"
  fi
  [ -n "$major" ] && echo "libclang-rt-$major-dev"
}

if [ "$list" -eq 1 ]; then
  printf '%s\n' "${packages[@]}"
  if [ "$group" = ci ]; then
    echo "$(fuzzer_runtime || echo "libclang-rt-<clang's major version>-dev") (optional: fuzzing)"
  fi
  exit 0
fi

installed() { [ "$(dpkg-query -W -f='${Status}' "$1" 2>/dev/null)" = "install ok installed" ]; }

if ! command -v apt-get >/dev/null 2>&1 || ! command -v dpkg-query >/dev/null 2>&1; then
  echo "tools/setup.sh: not a Debian or Ubuntu system (no apt-get); install the equivalents of:" >&2
  printf '  %s\n' "${packages[@]}" >&2
  exit 1
fi

as_root() {
  if [ "$(id -u)" -eq 0 ]; then
    "$@"
  elif command -v sudo >/dev/null 2>&1; then
    sudo "$@"
  else
    echo "tools/setup.sh: installing packages needs root: run this as root, or install sudo" >&2
    exit 1
  fi
}

updated=0
apt_install() {
  if [ "$updated" -eq 0 ]; then
    as_root apt-get update
    updated=1
  fi
  # No question may stop an unattended set-up (tzdata, for one, would ask for a time zone).
  as_root env DEBIAN_FRONTEND=noninteractive apt-get install -y --no-install-recommends "$@"
}

missing=()
for p in "${packages[@]}"; do
  installed "$p" || missing+=("$p")
done
if [ "${#missing[@]}" -gt 0 ]; then
  echo "tools/setup.sh: installing ${missing[*]}"
  apt_install "${missing[@]}"
fi

if [ "$group" = ci ]; then
  runtime="$(fuzzer_runtime || true)"
  if [ -n "$runtime" ] && ! installed "$runtime"; then
    if [ "$updated" -eq 0 ]; then
      as_root apt-get update
      updated=1
    fi
    # Only what this distribution's archive has: the name differs between releases.
    if apt-cache policy "$runtime" 2>/dev/null | grep -q '^ *Candidate: [^(]'; then
      echo "tools/setup.sh: installing $runtime"
      apt_install "$runtime"
    else
      echo "tools/setup.sh: $runtime is not in this system's archive: fuzzing will be skipped"
    fi
  fi
fi
