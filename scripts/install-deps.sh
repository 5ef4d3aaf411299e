#!/usr/bin/env bash
# SPDX-License-Identifier: MIT
# Installs what building, running and testing Hollowmere needs, and nothing the machine already has.
set -euo pipefail

here="$(cd "$(dirname "$0")/.." && pwd)"

debian_packages=(
    build-essential cmake ninja-build pkg-config clang-format clang libclang-rt-dev
    qt6-base-dev qt6-base-dev-tools qt6-declarative-dev qt6-declarative-dev-tools
    qt6-svg-dev qt6-shadertools-dev libqt6svg6 qt6-qpa-plugins
    qml6-module-qtquick qml6-module-qtquick-window qml6-module-qtquick-shapes
    qml6-module-qtquick-controls qml6-module-qtquick-templates qml6-module-qtquick-layouts
    qml6-module-qtqml-workerscript qml6-module-qttest qml6-module-qt5compat-graphicaleffects ccache
    libgl-dev libegl-dev libxkbcommon-dev libx11-dev libxtst-dev libxext-dev libxfixes-dev
    nlohmann-json3-dev libbenchmark-dev libsimdjson-dev
    libpulse-dev pulseaudio pulseaudio-utils sound-theme-freedesktop
    dbus dbus-x11 python3-dbusmock python3-dbus python3-gi
    xvfb xauth x11-utils xdotool tmux hyperfine iproute2 procps desktop-file-utils
    libxcb1-dev libxcb-xtest0-dev openbox xterm kitty trayer at-spi2-core python3-pyatspi
    libxfixes-dev xcompmgr
    nodejs npm curl ca-certificates
    dpkg-dev lintian appstream file
)

install_debian() {
    local missing=()
    for p in "${debian_packages[@]}"; do
        dpkg-query -W -f='${Status}' "$p" 2>/dev/null | grep -q 'install ok installed' || missing+=("$p")
    done
    if [ ${#missing[@]} -eq 0 ]; then return 0; fi
    # Node may come from elsewhere on a developer machine; apt's copy is only a fallback.
    if command -v node >/dev/null && command -v npm >/dev/null; then
        local keep=()
        for p in "${missing[@]}"; do [[ "$p" == nodejs || "$p" == npm ]] || keep+=("$p"); done
        missing=("${keep[@]}")
        [ ${#missing[@]} -eq 0 ] && return 0
    fi
    echo "install-deps: installing ${missing[*]}"
    local sudo=""
    [ "$(id -u)" -eq 0 ] || sudo="sudo"
    $sudo apt-get update -qq
    DEBIAN_FRONTEND=noninteractive $sudo apt-get install -y -qq --no-install-recommends "${missing[@]}"
}

install_macos() {
    command -v brew >/dev/null || { echo "install-deps: Homebrew is required on macOS" >&2; exit 1; }
    local formulae=(cmake ninja qt nlohmann-json simdjson google-benchmark hyperfine tmux node clang-format)
    for f in "${formulae[@]}"; do
        brew list --versions "$f" >/dev/null 2>&1 || brew install "$f"
    done
}

case "$(uname -s)" in
    Linux) install_debian ;;
    Darwin) install_macos ;;
    *) echo "install-deps: unsupported system $(uname -s)" >&2; exit 1 ;;
esac

# Claude Code for the end-to-end tests, pinned; only when tests are wanted.
if [ "${HOLLOWMERE_WITH_CLAUDE:-0}" = 1 ]; then
    "$here/scripts/install-claude-code.sh"
fi
