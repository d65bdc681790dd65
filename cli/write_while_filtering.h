// Encoding an output file while the filter still runs: the encoder takes the
// rows the host tells final, so that on a picture of many tile rows most of
// the encoding is done by the time the last tile is. The file holds the same
// bytes as one written after the run.
#pragma once

#include <functional>

#include "atomic_output.h"
#include "emulator/finished_rows.h"
#include "image_io/image_io.h"

namespace ortavel::cli {

// Writes the picture into the file's temporary name from `rows`; `img` gives
// its size, colour and metadata. Messages name the target, not the temporary
// file. Throws CliError, or RowsWithdrawn from the rows.
void writeInto(const AtomicOutput &file, const Image &img, const RowFeed &rows, FileFormat format,
               const WriteOptions &opt);

// Calls `run` with a feed of output rows for the host (the filter on `img`,
// which must not change the picture's size), and meanwhile writes `file`
// from that feed on a second thread. Should the host take its rows back
// after a successful run (the filter wrote them again), the file is written
// afresh from `img`. Throws what `run` throws, once the writer has stopped,
// or the writer's CliError; the file is left to commit.
void writeWhileFiltering(const AtomicOutput &file, const Image &img, FileFormat format,
                         const WriteOptions &opt,
                         const std::function<void(hostemu::FinishedRows &)> &run);

}  // namespace ortavel::cli
