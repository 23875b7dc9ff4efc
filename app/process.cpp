#include "app/process.h"

#include <fcntl.h>
#include <unistd.h>

#include <csignal>
#include <initializer_list>

namespace {

void do_nothing(int) {}

}  // namespace

void fill_standard_descriptors() {
    int fd = 0;
    do {
        fd = open("/dev/null", O_RDWR);
    } while (fd >= 0 && fd <= STDERR_FILENO);
    if (fd > STDERR_FILENO)
        close(fd);
}

void disarm_write_signals() {
    struct sigaction action {};
    action.sa_handler = do_nothing;
    action.sa_flags = SA_RESTART;
    for (const int signal : {SIGPIPE, SIGXFSZ})
        sigaction(signal, &action, nullptr);
}
