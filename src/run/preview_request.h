// The automation step's preview requests: a scaled picture of the document
// (gParams->previewUncorrected) and the same picture corrected with the
// current settings (gParams->previewCorrected), 3-byte RGB in the step's own
// buffers. The document itself is never written: the call ends with -128
// (userCanceledErr) unless it failed earlier (-30900 when a channel cannot be
// read, -108 when the scratch buffers cannot be had).
#pragma once

#include <cstdint>

// Serves the source preview first, then the corrected one.
void DoPreviewRequests(void);

// Copies a picture of 4-byte pixels (rows of pixelsPerRow pixels) into the
// source preview's pixels: bytes 1 to 3 of each pixel become its red, green
// and blue; byte 0 is dropped. Only the request's width x height is written.
void CreateDeviceIndependentBitmap(const uint8_t *buffer, int32_t pixelsPerRow);
