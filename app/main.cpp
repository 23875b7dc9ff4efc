// net-test: a network throughput tester. One run does one FTP or HTTP test and ends.
#include "app/driver.h"
#include "app/process.h"

int main(int argc, char** argv) {
    fill_standard_descriptors();
    disarm_write_signals();
    install_trace_output();
    const int status = run_net_test(argc, argv);
    finish_trace_output();
    return status;
}
