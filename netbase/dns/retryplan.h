// The plan of attempts that every DNS lookup follows.
#pragma once

#include <netdb.h>

#include <climits>
#include <initializer_list>

#include "netbase/exitflag.h"

/// Asks the first server, then the second, with `timeout` microseconds each, and again with twice
/// the time-out, until there is a result, the attempts (5 when 0 or less) are used
/// up, or the exit flag is raised. The time-out stops growing at the limit of int. `exchange` is
/// called with (use the first server, time-out) and gives a record or null.
template <typename Exchange>
hostent* kadns_retry(int attempts, int timeout, Exchange exchange) {
    for (int left = attempts > 0 ? attempts : 5; left > 0; --left) {
        for (const bool first : {true, false}) {
            if (g_bNetAppExitFlag)
                return nullptr;
            if (hostent* record = exchange(first, timeout); record != nullptr)
                return record;
        }
        timeout = timeout > INT_MAX / 2 ? INT_MAX : timeout * 2;
    }
    return nullptr;
}
