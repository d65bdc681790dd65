// Enlarging a document by margins, the way the automation step prepares a
// correction with margins: the picture stays at the top-left and the canvas
// grows by left + right columns and top + bottom rows (zero-filled; the
// filter writes every output pixel of the enlarged area).
#pragma once

#include "correction_settings.h"
#include "emulator/document.h"

namespace ortavel::cli {

void enlargeCanvas(hostemu::Document &doc, const Margins &m);

}  // namespace ortavel::cli
