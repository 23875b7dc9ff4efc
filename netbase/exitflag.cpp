#include "netbase/exitflag.h"

bool g_bNetAppExitFlag = false;
