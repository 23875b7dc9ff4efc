#include "measure/sendqueue.h"

#include <linux/tcp.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <sys/time.h>

#include <algorithm>
#include <cstddef>

namespace {

constexpr timeval pass_limit = {0, send_pass_usecs};

/// The queue holds what is sent in a fiftieth of a second.
constexpr uint64_t marks_per_second = 50;
constexpr uint32_t mark_min = 16384;

/// Beyond this rate a full queue is sent in some milliseconds, and waking for it costs more.
constexpr uint64_t free_rate = 300000000;

/// Bytes per second that the peer has acknowledged of late; 0 when the kernel does not tell.
uint64_t delivery_rate(int sock) {
    tcp_info info{};
    socklen_t length = sizeof(info);
    constexpr size_t end = offsetof(tcp_info, tcpi_delivery_rate) + sizeof(info.tcpi_delivery_rate);
    if (getsockopt(sock, IPPROTO_TCP, TCP_INFO, &info, &length) != 0 || length < end)
        return 0;
    return info.tcpi_delivery_rate;
}

uint32_t mark_for(uint64_t rate) {
    if (rate == 0 || rate > free_rate)
        return UINT32_MAX;
    uint32_t mark = mark_min;
    while (mark < rate / marks_per_second)
        mark *= 2;
    return mark;
}

}  // namespace

CSendQueue::CSendQueue(int sock) : m_sock(sock) {
    setsockopt(m_sock, SOL_SOCKET, SO_SNDTIMEO, &pass_limit, sizeof(pass_limit));
}

void CSendQueue::follow() {
    const uint32_t mark = mark_for(delivery_rate(m_sock));
    if (mark == m_mark)
        return;
    m_mark = mark;
    setsockopt(m_sock, IPPROTO_TCP, TCP_NOTSENT_LOWAT, &mark, sizeof(mark));
}
