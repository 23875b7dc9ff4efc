// net-test without traces: what printing them costs is the difference.
#include "app/driver.h"
#include "app/process.h"
#include "netbase/support/trace.h"

int main(int argc, char** argv) {
    disarm_write_signals();
    ka_set_trace_stream(nullptr);
    return run_net_test(argc, argv);
}
