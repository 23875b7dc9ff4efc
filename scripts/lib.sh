# Shared by the scripts: finds the project's root, installs what is missing, builds.
# shellcheck shell=bash
root=$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)
peers=$root/build/peers

say() { printf '%s\n' "== $*"; }
die() { printf '%s\n' "$*" >&2; exit 1; }

# need PACKAGE...: installs the Debian packages that are missing.
need() {
    local missing=() package
    for package in "$@"; do
        dpkg-query -W -f='${db:Status-Status}' "$package" 2>/dev/null | grep -q '^installed' ||
            missing+=("$package")
    done
    [ ${#missing[@]} -eq 0 ] && return
    [ "$(id -u)" -eq 0 ] || die "Missing packages: ${missing[*]}. Install them, or run this as root."
    say "installing ${missing[*]}"
    fetch_lists
    DEBIAN_FRONTEND=noninteractive apt-get install -qq --no-install-recommends "${missing[@]}" \
        >"$root/build/apt.log" 2>&1 || { cat "$root/build/apt.log" >&2; die "apt-get failed"; }
}

fetch_lists() {
    mkdir -p "$root/build"
    [ -n "${lists_fetched:-}" ] || apt-get update -qq >"$root/build/apt.log" 2>&1 || true
    lists_fetched=1
}

# need_server PACKAGE [LIBRARY...]: unpacks a server's package into build/peers. Servers are never
# installed, so that none of them ends up as a service of this machine.
need_server() {
    local package=$1
    shift
    need "$@"
    [ -e "$peers/.$package" ] && return
    say "unpacking $package"
    fetch_lists
    mkdir -p "$peers/deb"
    (cd "$peers/deb" && rm -f "${package}"_*.deb && apt-get download -qq -o APT::Sandbox::User=root "$package") ||
        die "can't download $package"
    dpkg -x "$peers/deb/${package}"_*.deb "$peers"
    touch "$peers/.$package"
}

need_nginx() { need_server nginx libcrypt1 libpcre2-8-0 libssl3 zlib1g; }
need_vsftpd() { need_server vsftpd libcap2 libpam0g libssl3 libwrap0; }
need_proftpd() {
    need_server proftpd-core libacl1 libcap2 libcrypt1 libhiredis0.14 libidn2-0 libmemcached11 \
        libmemcachedutil2 libncursesw6 libpam0g libpcre2-8-0 libpcre2-posix3 libssl3 zlib1g
}
need_pppoe() { need_server pppoe; }
need_dnsmasq() {
    need_server dnsmasq-base libdbus-1-3 libgmp10 libhogweed6 libidn2-0 libnetfilter-conntrack3 \
        libnettle8 libnftables1
}

# build PRESET [CMAKE_OPTION...]
build() {
    local preset=$1
    shift
    need g++ cmake make
    say "building ($preset)"
    mkdir -p "$root/build"
    (cd "$root" && cmake --preset "$preset" "$@" && cmake --build --preset "$preset" -j "$(nproc)") \
        >"$root/build/$preset.log" 2>&1 || { cat "$root/build/$preset.log" >&2; die "the build failed"; }
}

# own_host PART [ARG...]: runs a script of the project in namespaces of its own: a network with
# loopback up, an empty /tmp, processes that all end with it.
own_host() {
    local part=$root/$1
    shift
    [ "$(id -u)" -eq 0 ] || die "This needs root, for namespaces of its own."
    exec unshare --net --mount --pid --fork --kill-child --mount-proc bash -c '
        trap "exit 130" INT TERM
        set -euo pipefail
        cd "$0"  # the project may lie under /tmp
        mount -t tmpfs own /tmp
        mkdir -p "$0"
        mount --no-canonicalize --rbind . "$0"
        cd "$0"
        ip link set lo up
        . "$0/scripts/lib.sh"
        . "$0/scripts/servers.sh"
        source "$@"' "$root" "$part" "$@"
}
