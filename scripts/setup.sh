#!/usr/bin/env bash
# Installs the Debian packages that this project needs and that are missing, and nothing else.
#
# usage: scripts/setup.sh [group ...]      (no group: build and test)
#   build   the compiler, CMake and what the library, the virtual instrument and mfx are built from
#   test    what the tests need on top
#   bench   what the benchmarks and their peers need
#   check   clang, clang-format and clang-tidy: formatting, static analysis, fuzzing; shells that mfx
#           prints a completion for
#   report  what scripts/coverage.sh prints its table with
#   cluster what scripts/cluster.sh spreads a batch with: Slurm, GNU parallel, Dask
#   pages   the browser in which tests look at a report; they are left out without it
#
# Runs as root, or through sudo. When nothing is missing it changes nothing and needs neither.
set -euo pipefail

packages_of() {
  case $1 in
    build) echo g++ cmake ninja-build libeigen3-dev nlohmann-json3-dev libnanoflann-dev \
                libutfcpp-dev libembree-dev libassimp-dev libcli11-dev zlib1g-dev python3 ;;
    test) echo libgtest-dev libgmock-dev librapidcheck-dev pkg-config mandoc libvalijson-dev \
               libxml2-utils libceres-dev zstd ;;
    bench) echo libbenchmark-dev libcgal-dev libceres-dev ;;
    check) echo clang clang-format clang-tidy libclang-rt-14-dev lld zsh fish ;;
    report) echo gcovr ;;
    cluster) echo slurmctld slurmd slurm-client munge parallel python3-distributed zstd ;;
    pages) echo chromium poppler-utils ;;
    *)
      echo "setup: unknown group '$1' (build, test, bench, check, report, cluster, pages)" >&2
      return 1
      ;;
  esac
}

is_installed() {
  [ "$(dpkg-query -W -f='${db:Status-Status}' "$1" 2>/dev/null)" = installed ]
}

[ $# -gt 0 ] || set -- build test
wanted=()
for group in "$@"; do
  list=$(packages_of "$group")
  read -ra names <<<"$list"
  wanted+=("${names[@]}")
done

if ! command -v dpkg-query >/dev/null; then
  echo "setup: this script installs Debian packages, and there is no dpkg here." >&2
  echo "setup: install these, or what your system calls them: ${wanted[*]}" >&2
  exit 1
fi

missing=()
for name in "${wanted[@]}"; do
  is_installed "$name" || missing+=("$name")
done
if [ ${#missing[@]} -eq 0 ]; then
  echo "setup: every package for $* is installed"
  exit 0
fi

as_root=()
if [ "$(id -u)" -ne 0 ]; then
  if ! command -v sudo >/dev/null; then
    echo "setup: these packages are missing, and installing needs root or sudo: ${missing[*]}" >&2
    exit 1
  fi
  as_root=(sudo)
fi

log=$(mktemp)
trap 'rm -f "$log"' EXIT
run_quietly() {
  if ! "${as_root[@]}" env DEBIAN_FRONTEND=noninteractive "$@" >"$log" 2>&1; then
    cat "$log" >&2
    echo "setup: failed: $*" >&2
    exit 1
  fi
}
echo "setup: reading the package lists"
run_quietly apt-get update -qq
echo "setup: installing ${missing[*]}"
run_quietly apt-get install -qq -y --no-install-recommends "${missing[@]}"
echo "setup: done"
