// net-test: a network throughput tester. One run does one FTP or HTTP test and ends.
#include "app/driver.h"
#include "app/process.h"
#include "app/traceoutput.h"
#include "app/tracequeue.h"

int main(int argc, char** argv) {
    fill_standard_descriptors();
    disarm_write_signals();
    hide_passwords(argc, argv);
    CTraceOutput output;
    const CTraceQueue traces(output);
    return run_net_test(argc, argv);
}
