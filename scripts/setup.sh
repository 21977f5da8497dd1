# Sourced by ./run, ./test and the other scripts: installs what is missing on Debian 12 or newer, configures and builds.

qorn_build_packages=(
    cmake ninja-build g++ ccache qt6-base-dev libqt6svg6 fonts-dejavu-core
    libgtest-dev libgmock-dev libbenchmark-dev nlohmann-json3-dev libdeflate-dev zlib1g-dev
)
# What tests call on: checkers of the desktop entry, the metadata and the manual pages.
qorn_test_packages=(appstream desktop-file-utils groff-base gzip)

qorn_say() { printf '%s\n' "$*" >&2; }

# Installs those of the named packages that are missing, after naming them.
qorn_install() {
    local missing=() package
    for package in "$@"; do
        dpkg-query -W -f '${Status}' "$package" 2>/dev/null | grep -q '^install ok installed$' || missing+=("$package")
    done
    [ ${#missing[@]} -eq 0 ] && return 0
    command -v apt-get >/dev/null || {
        qorn_say "These packages are missing and there is no apt-get to install them: ${missing[*]}"
        return 1
    }
    local as_root=()
    if [ "$(id -u)" -ne 0 ]; then
        command -v sudo >/dev/null || {
            qorn_say "These packages are missing, and there is neither root nor sudo to install them: ${missing[*]}"
            return 1
        }
        as_root=(sudo)
    fi
    qorn_say "Installing: ${missing[*]}"
    ${as_root[@]+"${as_root[@]}"} apt-get update -qq >&2 || true
    # Where the SVG icon plugins are a package of their own, the icons need it too.
    if [ -n "$(apt-cache --names-only search '^qt6-svg-plugins$' 2>/dev/null)" ]; then
        missing+=(qt6-svg-plugins)
    fi
    ${as_root[@]+"${as_root[@]}"} env DEBIAN_FRONTEND=noninteractive apt-get install -y -qq --no-install-recommends "${missing[@]}" >&2
}

# qorn_build PRESET [CMAKE-OPTION...] -- [TARGET...]: configures and builds in build/PRESET.
qorn_build() {
    local preset=$1 options=()
    shift
    while [ $# -gt 0 ] && [ "$1" != "--" ]; do
        options+=("$1")
        shift
    done
    [ $# -gt 0 ] && shift
    export CCACHE_BASEDIR=$PWD CCACHE_NOHASHDIR=1
    local cache=${CCACHE_DIR:-${XDG_CACHE_HOME:-${HOME:-/nonexistent}/.cache}/ccache}
    mkdir -p "$cache" 2>/dev/null && [ -w "$cache" ] || export CCACHE_DIR=$PWD/build/.ccache
    cmake --preset "$preset" ${options[@]+"${options[@]}"} >&2 || return
    cmake --build "build/$preset" ${1:+--target "$@"} >&2
}
