# What the scripts share; each sources this first. It sees to Debian packages, builds, and gives a
# script a host of its own. For that a script is run up to three times, each stage by the one before:
#
# | stage   | NET_TEST_STAGE                        | does                                            |
# |---------|---------------------------------------|-------------------------------------------------|
# | caller  | none                                  | starts the session and ends it when told to     |
# | session | "session", its parent's process number | installs packages and builds (see outside)      |
# | host    | "host", its mount namespace           | the rest, on a host of its own (see own_host)   |
#
# A value that does not fit the process counts as none: nobody can set it by accident.
# shellcheck shell=bash
unset CDPATH
exec </dev/null # nobody reads it, and it may be closed
PATH=$PATH:/usr/local/sbin:/usr/sbin:/sbin
export LC_ALL=C.UTF-8
root=$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd -P)
peers=$root/build/peers

say() { printf '%s\n' "== $*"; }
die() { printf '%s\n' "$*" >&2; exit 1; }

# end_session STATUS: ends all that the script started.
end_session() {
    trap '' HUP INT QUIT TERM
    kill -TERM -- "-$session" "$session" 2>/dev/null || true
    for _ in {1..100}; do
        kill -0 -- "-$session" 2>/dev/null || exit "$1"
        sleep 0.05
    done
    kill -KILL -- "-$session" || true
    exit "$1"
}

case ${NET_TEST_STAGE:-} in
    "session $PPID") stage=session ;;
    "host $(readlink /proc/self/ns/mnt 2>/dev/null)") stage=host ;;
    *) stage=caller ;;
esac
if [ $stage = caller ]; then
    # Where this user may have a process namespace, whatever kills this process ends all of it.
    within=(unshare --pid --fork --kill-child --mount-proc) parent=0
    "${within[@]}" true 2>/dev/null || within=() parent=$$
    NET_TEST_STAGE="session $parent" setpriv --pdeathsig KILL env --default-signal=INT,QUIT,PIPE \
        setsid "${within[@]}" bash "$0" "$@" &
    session=$!
    trap 'end_session 129' HUP
    trap 'end_session 130' INT
    trap 'end_session 131' QUIT
    trap 'end_session 143' TERM
    status=0
    wait "$session" || status=$?
    exit "$status"
fi

# Where a script has things to do before it has a host of its own.
outside() { [ $stage != host ]; }

# Which packages building and checking take.
# shellcheck disable=SC2034
builds=(g++ cmake make) checks=(libgtest-dev clang-format clang-tidy cppcheck mandoc)
# Servers, and the packages of the libraries that they load.
declare -A servers=(
    [dnsmasq-base]="libdbus-1-3 libgmp10 libhogweed6 libidn2-0 libnetfilter-conntrack3 libnettle8
        libnftables1"
    [nginx]="libcrypt1 libpcre2-8-0 libssl3 zlib1g"
    [pppoe]="libc6"
    [proftpd-core]="libacl1 libcap2 libcrypt1 libhiredis0.14 libidn2-0 libmemcached11
        libmemcachedutil2 libncursesw6 libpam0g libpcre2-8-0 libpcre2-posix3 libssl3 zlib1g"
    [vsftpd]="libcap2 libpam0g libssl3 libwrap0"
)

# need PACKAGE...: installs the Debian packages that are missing. Servers are unpacked into
# build/peers and never installed, so that none of them ends up as a service of this machine.
need() {
    local package missing=() unpacked=()
    for package in "$@"; do
        if [ -n "${servers[$package]:-}" ]; then
            [ -e "$peers/.$package" ] || unpacked+=("$package")
            # shellcheck disable=SC2086
            set -- "$@" ${servers[$package]}
        fi
    done
    for package in "$@"; do
        [ -n "${servers[$package]:-}" ] ||
            dpkg-query -W -f='${db:Status-Status}' "$package" 2>/dev/null | grep -q '^installed' ||
            missing+=("$package")
    done
    [ $((${#missing[@]} + ${#unpacked[@]})) -gt 0 ] || return 0
    [ ${#missing[@]} -eq 0 ] || [ "$(id -u)" -eq 0 ] ||
        die "Missing packages: ${missing[*]}. Install them, or run this as root."
    mkdir -p "$peers/deb"
    apt-get update -qq >"$root/build/apt.log" 2>&1 || true
    if [ ${#missing[@]} -gt 0 ]; then
        say "installing ${missing[*]}"
        { dpkg --configure -a && DEBIAN_FRONTEND=noninteractive \
            apt-get install -qq --no-install-recommends "${missing[@]}"; } >>"$root/build/apt.log" 2>&1 ||
            { cat "$root/build/apt.log" >&2; die "apt-get failed"; }
    fi
    for package in "${unpacked[@]}"; do
        say "unpacking $package"
        (cd "$peers/deb" && rm -f "${package}"_*.deb &&
            apt-get download -qq -o APT::Sandbox::User=root "$package") || die "can't download $package"
        dpkg -x "$peers/deb/${package}"_*.deb "$peers"
        touch "$peers/.$package"
    done
}

# build PRESET [CMAKE_OPTION...]
build() {
    local preset=$1
    shift
    say "building ($preset)"
    mkdir -p "$root/build"
    # A build folder may have been made elsewhere, and moved with the project.
    (cd "$root" && { cmake --preset "$preset" "$@" || cmake --fresh --preset "$preset" "$@"; } &&
        cmake --build --preset "$preset" -j "$(nproc)") \
        >"$root/build/$preset.log" 2>&1 || { cat "$root/build/$preset.log" >&2; die "the build failed"; }
}

own=(unshare --net --mount --pid --fork --kill-child --mount-proc)

# can_own_host: whether this user may have a host of its own; if need be, one of a user namespace.
can_own_host() {
    "${own[@]}" mount -t tmpfs own /tmp 2>/dev/null && return
    own+=(--map-root-user)
    "${own[@]}" mount -t tmpfs own /tmp
}

# is_root: root that may take on other users, as that of a user namespace may not.
is_root() { [ "$(id -u)" -eq 0 ] && ! grep -qs deny /proc/self/setgroups; }

# need_root: refuses before anything is installed or built.
need_root() {
    if ! is_root || ! "${own[@]}" true; then die "This needs root that may make namespaces."; fi
}

# own_host ARG...: calls the script again on a host of its own: a network with loopback up, an empty
# /tmp and /run, an /etc that asks no other service, none of the caller's environment, processes
# that all end with it. There it does nothing.
own_host() {
    outside || return 0
    local name kept=()
    for name in EACH KINDS ROUNDS SIZE; do
        [ -z "${!name:-}" ] || kept+=("$name=${!name}")
    done
    # shellcheck disable=SC2016
    setpriv --pdeathsig KILL "${own[@]}" env -i "${kept[@]}" HOME=/tmp \
        PATH=/usr/local/sbin:/usr/local/bin:/usr/sbin:/usr/bin:/sbin:/bin LC_ALL=C.UTF-8 bash -c '
        set -euo pipefail
        umask 022
        cd "$0" # the project may lie under /tmp or /run
        mount -t tmpfs own /tmp
        mount -t tmpfs own /run
        mkdir -p "$0"
        mount --no-canonicalize --rbind . "$0"
        cp -a /etc /tmp/etc 2>/dev/null || true # what this user may read
        cd /tmp/etc
        rm -f hosts nsswitch.conf resolv.conf services ftpusers shutmsg wgetrc lftp.conf
        echo "127.0.0.1 localhost" >hosts
        echo "hosts: files dns" >nsswitch.conf
        mount --bind . /etc
        ip link set lo up
        cd "$0"
        NET_TEST_STAGE="host $(readlink /proc/self/ns/mnt)" exec bash "$@"' "$root" "$(readlink -f "$0")" "$@"
    exit 0
}
