// Finds the servers of a service and their IPv6 addresses.
//   service-lookup DEVICE SERVICE        needs the port control files "inet6_gw" and "inet6_dns1"
#include <arpa/inet.h>

#include <cstdio>

#include "netbase/cnetbase.h"

int main(int argc, char** argv) {
    if (argc != 3)
        return 64;
    CNetBase port(0, 0);
    snprintf(port.m_szBindDevName, sizeof(port.m_szBindDevName), "%s", argv[1]);

    const hostent* found = port.getHostSrv(AF_INET6, argv[2], nullptr);
    if (found == nullptr) {
        printf("%s could not be looked up\n", argv[2]);
        return 1;
    }
    if (found->h_name != nullptr) {  // the answer's own record: it named no server
        printf("%s has no servers\n", argv[2]);
        return 1;
    }
    // Entry k of the one list belongs to entry k of the other.
    for (int k = 0; found->h_addr_list[k] != nullptr; ++k) {
        char address[INET6_ADDRSTRLEN];
        inet_ntop(AF_INET6, found->h_addr_list[k], address, sizeof(address));
        printf("%s %s\n", found->h_aliases[k], address);
    }
    return 0;
}
