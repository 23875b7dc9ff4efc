// The plan of attempts that every DNS lookup follows.
#pragma once

#include <climits>
#include <initializer_list>

#include "netbase/cnetbase.h"

/// Asks the first server, then the second, with `timeout` microseconds each, and again with twice
/// the time-out, until there is a result, the attempts (CNetBase::DNSREQ_TRYOUT, else 5) are used
/// up, or the exit flag is raised. The time-out stops growing at the limit of int. `exchange` is
/// called with (use the first server, time-out) and gives a record or null.
template <typename Exchange>
hostent* kadns_retry(int timeout, Exchange exchange) {
    int attempts = CNetBase::DNSREQ_TRYOUT > 0 ? CNetBase::DNSREQ_TRYOUT : 5;
    for (; attempts > 0; --attempts) {
        for (const bool first : {true, false}) {
            if (CNetBase::isExecExit())
                return nullptr;
            if (hostent* record = exchange(first, timeout); record != nullptr)
                return record;
        }
        timeout = timeout > INT_MAX / 2 ? INT_MAX : timeout * 2;
    }
    return nullptr;
}
