#!/usr/bin/env bash
# Installs the Debian packages Kestrelwing needs to build, run and test,
# skipping the whole apt step when every package is already there.
set -euo pipefail

PACKAGES=(
  cmake g++ make pkg-config
  libgl-dev libglu1-mesa-dev libegl-dev libgl1-mesa-dri libglx-mesa0
  libglew-dev freeglut3-dev libx11-dev libxi-dev
  libfreetype-dev libfontconfig-dev fonts-dejavu-core
  libboost-filesystem-dev libboost-system-dev libtinyxml-dev libpng-dev libzip-dev
  libjpeg-dev libtiff-dev libraw-dev libstb-dev
  libgtest-dev libgmock-dev libmypaint-dev
  xvfb xauth xdotool
  openbox  # a real window manager for the end-to-end test of the window placement
  imagemagick libtiff-tools
  xclip
  zenity
  libavformat-dev libavcodec-dev libavutil-dev libswscale-dev ffmpeg
  # the desktop files' validators, the MIME database, and the Debian package's tools
  desktop-file-utils appstream shared-mime-info libglib2.0-bin libxml2-utils file binutils dpkg-dev
)

missing=()
for p in "${PACKAGES[@]}"; do
  if ! dpkg-query -W -f='${Status}' "$p" 2>/dev/null | grep -q "install ok installed"; then
    missing+=("$p")
  fi
done

if [ ${#missing[@]} -eq 0 ]; then
  exit 0
fi

SUDO=""
if [ "$(id -u)" -ne 0 ]; then SUDO="sudo"; fi
echo "Installing: ${missing[*]}"
$SUDO apt-get update -qq
DEBIAN_FRONTEND=noninteractive $SUDO apt-get install -y -qq --no-install-recommends "${missing[@]}"
