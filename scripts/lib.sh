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
# Servers. They are unpacked into build/peers and never installed, so that none of them ends up as a
# service of this machine; ./scripts/peer runs them.
servers=" dnsmasq-base nginx pppoe proftpd-core vsftpd "

# need PACKAGE...: sees to the Debian packages that are missing.
need() {
    local package installs=() unpacks=()
    for package in "$@"; do
        if [[ $servers = *" $package "* ]]; then
            [ -e "$peers/.$package" ] || unpacks+=("$package")
        elif ! dpkg-query -W -f='${db:Status-Status}' "$package" 2>/dev/null | grep -q '^installed'; then
            installs+=("$package")
        fi
    done
    [ $((${#installs[@]} + ${#unpacks[@]})) -gt 0 ] || return 0
    [ ${#installs[@]} -eq 0 ] || [ "$(id -u)" -eq 0 ] ||
        die "Missing packages: ${installs[*]}. Install them, or run this as root."
    mkdir -p "$root/build"
    apt-get update -qq >"$root/build/apt.log" 2>&1 || true
    [ ${#installs[@]} -eq 0 ] || install_packages "${installs[@]}"
    for package in "${unpacks[@]}"; do unpack_server "$package"; done
}

install_packages() {
    say "installing $*"
    { dpkg --configure -a && DEBIAN_FRONTEND=noninteractive \
        apt-get install -qq --no-install-recommends "$@"; } >>"$root/build/apt.log" 2>&1 ||
        { cat "$root/build/apt.log" >&2; die "apt-get failed"; }
}

# unpack_server PACKAGE: with those that it depends on and this machine does not have.
unpack_server() {
    local folder=$peers/deb/$1 file depends
    say "unpacking $1"
    rm -rf "$folder"
    mkdir -p "$folder"
    mapfile -t depends < <(apt-get install -s --no-install-recommends "$1" | sed -n 's/^Inst \([^ ]*\) (.*/\1/p')
    (cd "$folder" && apt-get download -qq -o APT::Sandbox::User=root "$1" "${depends[@]}") ||
        die "can't download $1"
    for file in "$folder"/*.deb; do dpkg -x "$file" "$peers"; done
    touch "$peers/.$1"
}

# build NAME [CMAKE_OPTION...]: builds the preset NAME in build/NAME; NAME-checks is that preset with
# the tests.
build() {
    local folder=$root/build/$1 preset=${1%-checks} options=("${@:2}")
    say "building ($1)"
    [ "$1" = "$preset" ] ||
        options+=(--install-prefix /usr -DNET_TEST_BUILD_TESTS=ON -DCMAKE_COMPILE_WARNING_AS_ERROR=ON)
    mkdir -p "$root/build"
    # A build folder may have been made elsewhere, and moved with the project.
    (cd "$root" && { cmake --preset "$preset" -B "$folder" "${options[@]}" ||
        cmake --fresh --preset "$preset" -B "$folder" "${options[@]}"; } &&
        cmake --build "$folder" -j "$(nproc)") >"$folder.log" 2>&1 ||
        { cat "$folder.log" >&2; die "the build failed"; }
}

# run_tests NAME ARGUMENT...: runs what was built; arguments go to ctest.
run_tests() {
    say "testing ($1)"
    ctest --test-dir "$root/build/$1" --output-on-failure --no-tests=error -j 4 "${@:2}"
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
