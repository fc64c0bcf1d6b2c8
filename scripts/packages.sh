# SPDX-License-Identifier: Apache-2.0
# Sourced by the scripts at the root: installs the Debian packages that are missing, or says which.
build_packages="g++ cmake ninja-build libfmt-dev nlohmann-json3-dev libcli11-dev libglm-dev libgeos-dev qtbase5-dev
libqt5svg5-dev libqwt-qt5-dev fonts-dejavu-core libproj-dev libgdal-dev libsqlite3-dev zlib1g-dev"
test_packages="libgtest-dev binutils xvfb xauth"

need_packages() {
    local missing=()
    for package in "$@"; do
        dpkg-query --show --showformat='${Status}' "$package" 2>/dev/null | grep -q 'install ok installed' ||
            missing+=("$package")
    done
    [ ${#missing[@]} -eq 0 ] && return
    local as_root=""
    if [ "$(id -u)" -ne 0 ]; then
        if ! sudo -n true 2>/dev/null; then
            echo "These Debian packages are missing; install them first: ${missing[*]}" >&2
            exit 1
        fi
        as_root="sudo"
    fi
    echo "Installing ${missing[*]}" >&2
    $as_root apt-get update -qq >&2
    $as_root env DEBIAN_FRONTEND=noninteractive apt-get install -y -qq --no-install-recommends "${missing[@]}" >&2
}

# Configures and builds a preset; prints only what matters.
build_preset() {
    local preset=$1
    shift
    cmake --preset "$preset" "$@" >"/tmp/corvane-configure-$$.log" 2>&1 || {
        cat "/tmp/corvane-configure-$$.log" >&2
        exit 1
    }
    rm -f "/tmp/corvane-configure-$$.log"
    cmake --build --preset "$preset" -- --quiet >&2
}
