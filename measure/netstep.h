// The steps of a test: how a phase's state changes, and the codes that the result records report.
#pragma once

#include <initializer_list>

#include "netbase/nettypes.h"

/// Measurement step codes of the result records.
enum : int {
    MEAS_STEP_NONE = 0,
    MEAS_STEP_INIT = 3,
    MEAS_STEP_INPROGRESS = 4,
    MEAS_STEP_FAIL = 5,
    MEAS_STEP_PASS = 6,
};

/// The measurement step code of a step; MEAS_STEP_NONE for a value that is no step.
int ka_meas_step(enet_step_type step);

/// The verdict over a test's steps, in their order: the code of the first that has not passed,
/// MEAS_STEP_PASS when all have, and MEAS_STEP_FAIL whenever the exit flag is raised.
int ka_overall_step(std::initializer_list<enet_step_type> steps);

inline void ka_step_start(enet_step_type& step) {
    step = NET_STEP_INPROGRESS;
}
inline void ka_step_pass(enet_step_type& step) {
    step = NET_STEP_PASS;
}

/// Fails a step and gives -1, the result of the phase it belongs to.
inline int ka_step_fail(enet_step_type& step) {
    step = NET_STEP_FAIL;
    return -1;
}

/// The same, raising the flag that names the cause.
inline int ka_step_fail(enet_step_type& step, bool& cause) {
    cause = true;
    return ka_step_fail(step);
}
