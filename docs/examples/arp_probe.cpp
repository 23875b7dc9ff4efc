// Probes the next hop towards an IPv4 address by ARP.
//   arp-probe DEVICE ADDRESS        needs CAP_NET_RAW and the port control file "inet4_gw"
#include <cstdio>

#include "netbase/cnetbase.h"

int main(int argc, char** argv) {
    if (argc != 3)
        return 64;
    CNetBase port(0, 0);
    snprintf(port.m_szBindDevName, sizeof(port.m_szBindDevName), "%s", argv[1]);

    in_addr target;
    CNetBase::readINET4Addr(argv[2], &target);
    timeval delay;
    if (port.arpEthINET4Target(1000000, &target, &delay) != 0) {
        printf("no answer from the next hop towards %s\n", argv[2]);
        return 1;
    }
    printf("the next hop towards %s answered within %ld us\n", argv[2],
           static_cast<long>(delay.tv_sec) * 1000000 + static_cast<long>(delay.tv_usec));
    return 0;
}
