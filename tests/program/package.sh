#!/bin/sh
# The packages install, run and leave nothing when removed, and the examples build on what they
# installed. Works on overlays of /usr and /var, which vanish with it.  package.sh SOURCE BUILD
set -eu
[ "$(id -u)" -eq 0 ] || { echo "skipped: installing a package needs root"; exit 77; }
exec unshare --mount sh -euc '
    mount -t tmpfs own /tmp
    for dir in usr var; do
        mkdir -p /tmp/$dir/upper /tmp/$dir/work
        mount -t overlay own -o lowerdir=/$dir,upperdir=/tmp/$dir/upper,workdir=/tmp/$dir/work /$dir
    done
    cd /tmp
    cpack --config "$1/CPackConfig.cmake" -G DEB -B /tmp/packages >/dev/null
    listing() { find /usr | sort; }
    listing >before
    dpkg -i packages/*.deb >/dev/null
    net-test -m 2 -dst http://127.0.0.1:1/ >/dev/null
    status=0; net-test-show http >shown || status=$?; test $status -eq 1
    grep -q "connection  *fail" shown
    cmake -S "$0/docs/examples" -B examples >/dev/null
    cmake --build examples >/dev/null
    ./examples/example-arp-probe none 192.0.2.1 | grep -q "no answer"
    dpkg -r net-test net-test-dev >/dev/null
    listing | diff before -
' "$1" "$2"
