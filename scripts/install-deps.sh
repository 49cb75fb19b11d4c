#!/usr/bin/env bash
# Installs every Debian package the project builds, tests and runs with.
# Idempotent: when everything is present it only asks dpkg and returns.
set -euo pipefail

packages=(
  # build tools (clang-format: the test command checks the formatting)
  cmake ninja-build ccache pkg-config clang lld libclang-rt-14-dev clang-format
  # Qt 5: Core, Gui, Widgets, Network, Test, Sql-free; offscreen platform plugin ships with qtbase
  qtbase5-dev qtbase5-dev-tools libqt5network5 libqt5test5
  # Boost (intrusive_ptr, rational are header-only)
  libboost-dev
  # logging
  libgoogle-glog-dev
  # media probing
  libavformat-dev libavcodec-dev libavutil-dev libswresample-dev ffmpeg
  # event store
  libsqlite3-dev sqlite3
  # tests and benchmarks
  googletest libgtest-dev libgmock-dev libbenchmark-dev
  # audio capture backend
  libasound2-dev
  # the download benchmark's alternative (the tool a user would reach for)
  curl
  portaudio19-dev libsndfile1-dev
  # the export engine: the timeline as a filter graph, pictures scaled
  libavfilter-dev libswscale-dev
  # titles: drawtext finds its font through fontconfig; DejaVu is the sans-serif it finds
  fontconfig fonts-dejavu-core
  # the voice-over window's tests draw on a private X server and take screenshots of it
  xvfb
  # the external lists' reader (on-demand JSON parsing without a document tree)
  libsimdjson-dev
  # gzip and deflate bodies inflated as they stream; the checksum of a kept partial download;
  # the usage upload's gzipped request bodies
  zlib1g-dev
)

missing=()
for p in "${packages[@]}"; do
  dpkg-query -W -f='${Status}' "$p" 2>/dev/null | grep -q 'install ok installed' || missing+=("$p")
done

if [ ${#missing[@]} -eq 0 ]; then
  exit 0
fi

echo "Installing: ${missing[*]}"
SUDO=""
[ "$(id -u)" -eq 0 ] || SUDO=sudo
export DEBIAN_FRONTEND=noninteractive
$SUDO apt-get update -qq
$SUDO apt-get install -y -qq --no-install-recommends "${missing[@]}"
