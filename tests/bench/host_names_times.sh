#!/bin/sh
# How many names a look-up of many hosts has at what time, on a link between two network namespaces of its own. Needs root.
#
#   host_names_times.sh PROGRAM COUNT mute|half|full|absent [dead]
#
# What the hosts are is written in HostNamesTimes.cpp. "absent": nothing has the name server's address, not even ARP. "dead": the hosts with even
# addresses do not exist.
set -eu

if [ "${IN_NAMESPACE:-}" = "" ]; then
    exec env IN_NAMESPACE=yes unshare --net --mount -- "$0" "$@"
fi
# What follows changes interfaces: it must not be in a network that anybody lives in.
[ "$(ip -o link | wc -l)" -eq 1 ] || { echo "host_names_times.sh: not in a network of its own" >&2; exit 70; }
program=$1 count=$2 dns=$3 dead=${4:-}
folder=$(mktemp -d)
trap 'rm -rf "$folder"' EXIT
mkfifo "$folder/life" "$folder/ready"

mode=$dns
[ "$dns" = absent ] && mode=mute
# The server ends with its standard input, which this script holds open.
unshare --net -- "$program" serve "$mode" < "$folder/life" > "$folder/ready" &
server=$!
exec 3> "$folder/life"
exec 4< "$folder/ready"
read -r _ <&4

ip link add eth0 type veth peer name eth0 netns "$server"
ip link set lo up
ip addr add 10.9.31.254/19 dev eth0
ip link set eth0 up
{
    echo "link set lo up"
    echo "addr add 10.9.31.253/32 dev eth0"
    echo "link set eth0 up"
    echo "route add 10.9.31.254/32 dev eth0"
    [ "$dns" = absent ] || echo "route add local 10.9.31.1/32 dev lo"
    if [ "$dead" = dead ]; then
        i=1
        while [ "$i" -le "$count" ]; do
            echo "route add local 10.9.$((i / 256)).$((i % 256))/32 dev lo"
            i=$((i + 2))
        done
    else
        echo "route add local 10.9.0.0/20 dev lo"
    fi
} > "$folder/lines"
nsenter --net --target "$server" ip -batch "$folder/lines"
nsenter --net --target "$server" sysctl -qw net.ipv4.conf.all.rp_filter=0 net.ipv4.conf.eth0.rp_filter=0
echo >&3
read -r _ <&4

echo "nameserver 10.9.31.1" > "$folder/resolv.conf"
# The system's resolver asks the same server.
mount --bind "$folder/resolv.conf" /etc/resolv.conf
"$program" ask 10.9.0.1 "$count" "$folder/resolv.conf"
exec 3>&-
wait "$server"
