# Shared by the scripts beside it: where things are, and the packages a fresh Debian 12 lacks.
# shellcheck shell=bash

source_dir=$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)
build_dir=${KEELHAVEN_BUILD_DIR:-$source_dir/build}
case $build_dir in /*) ;; *) build_dir=$PWD/$build_dir ;; esac

build_packages=(clang-19 libclang-rt-19-dev cmake ninja-build ccache mold git python3
    qt6-base-dev qcoro-qt6-dev libsqlite3-dev libgtest-dev libgmock-dev dbus-daemon
    qtkeychain-qt6-dev qt6-declarative-dev qt6-declarative-dev-tools)
# libsecret reaches the keyring; the last four make thumbnails of more kinds of files.
run_packages=(tmux tzdata procps libsecret-1-0 libqt6svg6 qt6-image-formats-plugins ffmpegthumbnailer shared-mime-info)
# What the window's screens import, and the typeface they are set in.
window_packages=(qml6-module-qtquick qml6-module-qtquick-window qml6-module-qtquick-controls qml6-module-qtquick-templates
    qml6-module-qtquick-layouts qml6-module-qtquick-dialogs qml6-module-qtqml qml6-module-qtqml-models
    qml6-module-qtqml-workerscript qml6-module-qt-labs-folderlistmodel fonts-inter
    fonts-noto-color-emoji)
# What tests hold our files against: the desktop entry, the manual page, the units and their calendar lines, the completions.
test_packages=(desktop-file-utils man-db systemd zsh fish)
bench_packages=(libbenchmark-dev nlohmann-json3-dev rapidjson-dev)
check_packages=(clang-format-19 clang-tidy-19)

# install_packages NAME…: installs those that are missing, as root or through sudo; says what it cannot do.
install_packages() {
    local missing=() name
    for name in "$@"; do
        dpkg-query -W -f='${Status}' "$name" 2>/dev/null | grep -q 'ok installed' || missing+=("$name")
    done
    [ ${#missing[@]} -eq 0 ] && return 0
    local as_root=()
    if [ "$(id -u)" -ne 0 ]; then
        command -v sudo >/dev/null || { echo "Missing Debian packages, and neither root nor sudo to install them: ${missing[*]}" >&2; return 1; }
        as_root=(sudo)
    fi
    echo "Installing Debian packages: ${missing[*]}" >&2
    "${as_root[@]}" apt-get update -q >&2
    "${as_root[@]}" env DEBIAN_FRONTEND=noninteractive apt-get install -y -q --no-install-recommends "${missing[@]}" >&2
}

# build_tree PRESET DIR TARGET…: configures once and builds incrementally.
build_tree() {
    local preset=$1 dir=$2
    shift 2
    (cd "$source_dir" && cmake --preset "$preset" -B "$dir" >"$dir.configure.log" 2>&1) || { cat "$dir.configure.log" >&2; return 1; }
    rm -f "$dir.configure.log"
    cmake --build "$dir" ${1:+--target "$@"}
}
