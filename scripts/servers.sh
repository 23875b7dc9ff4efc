# Real servers for the demo, the measurements and the tests, run inside a host of their own (see
# own_host). They serve /tmp/srv; uploads go to /tmp/srv/pub.
# shellcheck shell=bash disable=SC2154

mkdir -p /tmp/srv/pub /tmp/empty
chmod 777 /tmp/srv/pub

# free_port: a loopback port that nobody listens on.
free_port() {
    local port
    for port in $(seq 8080 9080); do
        (exec 3<>"/dev/tcp/127.0.0.1/$port") 2>/dev/null || { echo "$port"; return; }
    done
}

# wait_for_port ADDRESS PORT
wait_for_port() {
    local i
    for i in $(seq 100); do
        (exec 3<>"/dev/tcp/$1/$2") 2>/dev/null && return
        sleep 0.05
    done
    die "nobody listens on $1 port $2"
}

# start_nginx ADDRESS PORT [COMMAND PREFIX...]
start_nginx() {
    local address=$1 port=$2 kind temp=
    shift 2
    for kind in client_body proxy fastcgi uwsgi scgi; do temp+="${kind}_temp_path /tmp/nginx; "; done
    cat >/tmp/nginx.conf <<CONF
daemon off; user root; pid /tmp/nginx.pid; error_log /tmp/nginx.log; events {}
http { access_log off; sendfile on; $temp server { listen $address:$port; root /tmp/srv; } }
CONF
    "$@" "$peers/usr/sbin/nginx" -c /tmp/nginx.conf 2>/dev/null &
}

# start_vsftpd ADDRESS [COMMAND PREFIX...]: on port 21, for "anonymous" with any password.
start_vsftpd() {
    local address=$1
    shift
    cat >/tmp/vsftpd.conf <<CONF
listen=YES
listen_address=$address
pasv_enable=${pasv_enable:-YES}
no_anon_password=NO
background=NO
seccomp_sandbox=NO
anonymous_enable=YES
anon_root=/tmp/srv
ftp_username=daemon
write_enable=YES
anon_upload_enable=YES
secure_chroot_dir=/tmp/empty
connect_from_port_20=NO
CONF
    "$@" "$peers/usr/sbin/vsftpd" /tmp/vsftpd.conf &
}

# start_proftpd: on port 21 of loopback, for "anonymous" with any password.
start_proftpd() {
    cat >/tmp/proftpd.conf <<CONF
ServerType standalone
DefaultServer on
UseIPv6 off
UseReverseDNS off
ScoreboardFile none
PidFile /tmp/proftpd.pid
DelayTable none
WtmpLog off
TransferLog none
SystemLog none
<Anonymous /tmp/srv>
  User nobody
  Group nogroup
  UserAlias anonymous nobody
  RequireValidShell off
</Anonymous>
CONF
    "$peers/usr/sbin/proftpd" -n -c /tmp/proftpd.conf 2>/dev/null &
}
