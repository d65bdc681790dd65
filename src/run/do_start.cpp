#include "run/do_start.h"

void DoStart(void) {}
