// net-test: a network throughput tester. One run does one FTP or HTTP test and ends.
#include "app/driver.h"
#include "app/process.h"
#include "netbase/support/traces.h"

int main(int argc, char** argv) {
    fill_standard_descriptors();
    disarm_write_signals();
    ka_install_traces();
    const int status = run_net_test(argc, argv);
    ka_finish_traces();
    return status;
}
