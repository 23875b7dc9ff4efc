// Resolves an IPv6 neighbour to its hardware address.
//   neighbour-discovery DEVICE ADDRESS        needs CAP_NET_RAW
#include <cstdio>

#include "netbase/cnetbase.h"

int main(int argc, char** argv) {
    if (argc != 3)
        return 64;
    CNetBase port(0, 0);
    snprintf(port.m_szBindDevName, sizeof(port.m_szBindDevName), "%s", argv[1]);

    in6_addr target;
    CNetBase::readINET6Addr(argv[2], &target);
    unsigned char hwaddr[6];
    if (port.inet6ND_AddrRes(1000000, &target, hwaddr, nullptr) != 0) {
        printf("no neighbour %s on %s\n", argv[2], argv[1]);
        return 1;
    }
    char text[18];
    CNetBase::writeMAC6Addr(hwaddr, text);
    printf("%s is at %s\n", argv[2], text);
    return 0;
}
