// net-test: a network throughput tester. One run does one FTP or HTTP test and ends.
#include <unistd.h>

#include "app/driver.h"
#include "app/output.h"
#include "app/process.h"
#include "app/tracequeue.h"

int main(int argc, char** argv) {
    fill_standard_descriptors();
    disarm_write_signals();
    hide_passwords(argc, argv);
    COutput output(STDOUT_FILENO);
    const CTraceQueue traces(output);
    return run_net_test(argc, argv);
}
