// The host's working copy, made hollow: the planes are allocated when the
// filter first asks for output, but not copied from the document. While it is
// hollow, the host keeps the blocks the filter has written back; everything
// else of the copy still reads from the document, which holds the same
// samples. A filter that writes every pixel once, tile by tile, then never
// pays for the copy of a whole picture it overwrites anyway, and its output
// tiles need only the rows of the document already read.
#pragma once

#include <cstdint>
#include <span>

#include "emulator/document.h"
#include "emulator/second_thread.h"
#include "host/photoshop_api.h"

namespace hostemu {

// A rectangle of planes lo..hi written back into the working copy.
struct WrittenBlock {
  VRect rect{};
  std::int16_t lo = 0;
  std::int16_t hi = -1;
};

// A document shaped as doc, with its planes allocated and advised onto huge
// pages but not written: every sample is still to be filled.
Document hollowCopy(const Document &doc);

// Whether a written block meets `rect` on one of the planes lo..hi.
bool meetsWritten(std::span<const WrittenBlock> written, const VRect &rect, std::int16_t lo,
                  std::int16_t hi);

// While rows 0..rows-1 of `doc` are still to come, touches the working copy's
// memory for the first time, from `touched` bytes on (over all planes in
// order), and advances `touched`. The kernel zeroes fresh memory at its first
// touch: done here, that costs a processor that would otherwise wait. The
// bytes written are none the filter will see, as long as it has written
// nothing back yet: everything is written back or filled in later.
void touchWhileWaiting(Document &working, std::size_t &touched, const Document &doc,
                       std::int32_t rows);

// Copies into `working` every sample of `doc` that no written block covers,
// which makes the working copy whole. Large pictures are shared with the
// helper thread. False when the document's reader stopped short of its last
// row: the rows it never wrote are copied as they are, and the copy must not
// be committed.
bool fillUnwritten(const Document &doc, Document &working, std::span<const WrittenBlock> written,
                   SecondThread &helper);

}  // namespace hostemu
