// The full-size correction: walks the host's output tiles, requests for each
// the source block its perimeter maps to, and resamples the tile through the
// lens model, on the worker pool when there is one. Outcome in *gResult:
// 0, -30100 (no output tile size, or no kernel for the depth), -128 (abort),
// or the host's own code from advanceState.
#pragma once

void DoCorrection(void);
