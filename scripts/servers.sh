# Real servers for the demo, the measurements and the tests, run on a host of their own (see
# own_host). They serve /tmp/srv; uploads go to /tmp/srv/pub. They find nothing of the machine's,
# and would take nothing from it.
# shellcheck shell=bash disable=SC2154

mkdir -p /tmp/srv/pub /tmp/empty
chmod 777 /tmp/srv/pub

# start_server NAME ADDRESS PORT COMMAND...: until it listens; $server is its process.
start_server() {
    local name=$1 address=$2 port=$3 limit=$((SECONDS + 30))
    shift 3
    "$@" >"/tmp/$name.words" 2>&1 &
    server=$!
    until (exec 3<>"/dev/tcp/$address/$port") 2>/dev/null; do
        if ! kill -0 "$server" 2>/dev/null || [ $SECONDS -gt $limit ]; then
            cat "/tmp/$name.words" >&2
            die "$name does not listen on $address port $port"
        fi
        sleep 0.05
    done
}

# start_nginx ADDRESS PORT [COMMAND PREFIX...]
start_nginx() {
    local address=$1 port=$2 kind temp=
    shift 2
    for kind in client_body proxy fastcgi uwsgi scgi; do temp+="${kind}_temp_path /tmp/nginx; "; done
    cat >/tmp/nginx.conf <<CONF
daemon off; master_process off; user root; pid /tmp/nginx.pid;
lock_file /tmp/nginx.lock; error_log stderr; events {}
http { access_log off; sendfile on; $temp server { listen $address:$port; root /tmp/srv; } }
CONF
    start_server nginx "$address" "$port" \
        "$@" "$root/scripts/peer" nginx -e stderr -p /tmp -c /tmp/nginx.conf
}

# start_vsftpd ADDRESS [COMMAND PREFIX...]: on port 21, for "anonymous" with any password.
start_vsftpd() {
    local address=$1
    shift
    cat >/tmp/vsftpd.conf <<CONF
listen=YES
listen_address=$address
listen_port=21
pasv_enable=${pasv_enable:-YES}
no_anon_password=NO
background=NO
seccomp_sandbox=NO
anonymous_enable=YES
local_enable=NO
anon_root=/tmp/srv
ftp_username=daemon
nopriv_user=daemon
write_enable=YES
anon_upload_enable=YES
anon_other_write_enable=YES
secure_chroot_dir=/tmp/empty
connect_from_port_20=NO
tcp_wrappers=NO
xferlog_enable=NO
CONF
    start_server vsftpd "$address" 21 "$@" "$root/scripts/peer" vsftpd /tmp/vsftpd.conf
}

# start_proftpd: on port 21 of loopback, for "anonymous" with any password. What it is not told, it
# asks the host for: the address of the host's name, the port of "ftp", who is banned.
start_proftpd() {
    local module
    # Since Debian 13 it is not built in.
    module=$(find "$peers/usr/lib" -name mod_xfer.so)
    : >/tmp/proftpd.conf
    [ -z "$module" ] || cat >/tmp/proftpd.conf <<CONF
ModulePath ${module%/*}
LoadModule mod_xfer.c
CONF
    cat >>/tmp/proftpd.conf <<CONF
ServerType standalone
ServerName own
DefaultServer on
DefaultAddress 127.0.0.1
Port 21
UseIPv6 off
UseReverseDNS off
UseFtpUsers off
AuthOrder mod_auth_unix.c
ControlsEngine off
ControlsSocket /tmp/proftpd.sock
ScoreboardFile none
PidFile /tmp/proftpd.pid
<IfModule mod_delay.c>
  DelayEngine off
  DelayTable none
</IfModule>
WtmpLog off
UseLastlog off
TransferLog none
SystemLog none
<Anonymous /tmp/srv>
  User daemon
  Group daemon
  UserAlias anonymous daemon
  RequireValidShell off
</Anonymous>
CONF
    start_server proftpd 127.0.0.1 21 "$root/scripts/peer" proftpd -n -c /tmp/proftpd.conf
}

# make_far: a network namespace "far" with the address 10.3.0.2, behind a link whose devices are
# "near" and "away". Segments go over it one by one.
make_far() {
    local prefix dev address
    mount -t sysfs own /sys # this network's devices
    ip netns add far
    ip link add near type veth peer name away netns far
    for prefix in "" "ip netns exec far"; do
        dev=near address=10.3.0.1
        [ -z "$prefix" ] || dev=away address=10.3.0.2
        $prefix ip link set lo up
        $prefix ip addr add "$address/24" dev "$dev"
        $prefix ip link set "$dev" up
        $prefix ethtool -K "$dev" tso off gso off gro off >/dev/null
    done
}
