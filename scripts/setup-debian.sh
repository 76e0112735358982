#!/usr/bin/env bash
# Installs what building, testing and running the demo need on Debian 12,
# only when something is missing. Safe to run again. xclip and dbus serve
# the clipboard and session-bus tests, which start Xvfb and dbus-daemon.
set -euo pipefail

packages=(cmake g++ make qtbase5-dev qtbase5-dev-tools libqt5svg5-dev libqt5sql5-sqlite
          fonts-wqy-microhei xvfb xauth
          xclip dbus
          # the accessibility test: the desktop's accessibility bus and
          # registry, and a screen reader's view of it from Python
          at-spi2-core python3-pyatspi
          # the window tests: a window manager, real pointer events, xprop
          openbox xdotool x11-utils
          # Qt's own Chinese texts for the toolkit dialogs the demo opens
          qttranslations5-l10n
          # HTTP: clouddiskd's server (libmicrohttpd) and the host's
          # transport to it (libcurl)
          libmicrohttpd-dev libcurl4-openssl-dev pkg-config
          # the cloud's password hashes (Argon2id)
          libsodium-dev
          # the file table's name order: sort keys from the collation
          # library QCollator uses
          libicu-dev

          # A team cloud on several machines: PostgreSQL for the shared
          # records (the server, and Qt SQL's driver for it), nginx as the
          # front; the tests start both themselves, and make certificates
          # with openssl
          postgresql libqt5sql5-psql nginx openssl
          # the full-disk tests give clouddiskd a small tmpfs in a mount
          # namespace (unshare)
          util-linux)
for option in "$@"; do
  case "$option" in
    # --sanitize: the sanitizer and fuzzing build (clang, its sanitizer and
    # libFuzzer runtimes, llvm-symbolizer for readable reports).
    --sanitize) packages+=(clang libclang-rt-14-dev libfuzzer-14-dev llvm-14) ;;
    # --mingw: the Windows compile check (scripts/wincheck.sh), MinGW-w64's
    # C++ compiler with the Windows headers.
    --mingw) packages+=(g++-mingw-w64-x86-64) ;;
    *) echo "setup-debian.sh: unknown option $option" >&2; exit 2 ;;
  esac
done
missing=()
for p in "${packages[@]}"; do
  dpkg-query -W -f='${Status}' "$p" 2>/dev/null | grep -q "install ok installed" || missing+=("$p")
done
if [ "${#missing[@]}" -gt 0 ]; then
  echo "Installing: ${missing[*]}"
  SUDO=""
  [ "$(id -u)" -eq 0 ] || SUDO="sudo"
  $SUDO apt-get update -qq
  DEBIAN_FRONTEND=noninteractive $SUDO apt-get install -y -qq --no-install-recommends "${missing[@]}"
fi
