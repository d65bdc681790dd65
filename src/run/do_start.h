// The start selector: the whole run of one filter invocation, inside one host
// call. Its outcome is the host's result word (*gResult, 0 = success).
#pragma once

// Resets the parameters, reads the descriptor, answers the automation step's
// EXIF and preview requests, or corrects the whole document tile by tile.
// May throw a host status as uint32_t when a host suite cannot be acquired.
void DoStart(void);
