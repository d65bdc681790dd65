// The automation step's request for the camera's identity: make, model and
// focal length from the document's EXIF block, written into the step's own
// buffers (gParams->exifMake, exifModel, exifFocalLength). Outcome in *gResult:
// 0, or -108 when the EXIF handle cannot be locked or the parser not made.
// Unusable data is reported with a message, never as a failure.
#pragma once

void DoExifRequest(void);
