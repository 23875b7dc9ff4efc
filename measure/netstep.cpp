#include "measure/netstep.h"

#include "netbase/exitflag.h"

int ka_meas_step(enet_step_type step) {
    switch (step) {
        case NET_STEP_INIT:
            return MEAS_STEP_INIT;
        case NET_STEP_INPROGRESS:
            return MEAS_STEP_INPROGRESS;
        case NET_STEP_FAIL:
            return MEAS_STEP_FAIL;
        case NET_STEP_PASS:
            return MEAS_STEP_PASS;
        default:
            return MEAS_STEP_NONE;
    }
}

int ka_overall_step(std::initializer_list<enet_step_type> steps) {
    if (g_bNetAppExitFlag)
        return MEAS_STEP_FAIL;
    for (const enet_step_type step : steps) {
        if (step != NET_STEP_PASS)
            return ka_meas_step(step);
    }
    return MEAS_STEP_PASS;
}
