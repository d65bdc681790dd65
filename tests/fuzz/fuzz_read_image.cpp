// libFuzzer target for the command's image readers: the input, with the
// format's signature put in front of it when it lacks one, is written to a
// file in memory and read with readImage, as the command reads a photo.
// A refusal (CliError) is an answer; anything else a sanitizer or the
// checks below catch is a finding. Built three times, one format each, so
// each target's corpus stays in its format.
#include <sys/mman.h>
#include <unistd.h>

#include <cstdint>
#include <cstring>
#include <string>
#include <vector>

#include "exit_codes.h"
#include "image_io/image_io.h"

namespace {

void Require(bool ok) {
  if (!ok) __builtin_trap();
}

#if defined(FUZZ_FORMAT_JPEG)
const std::vector<std::uint8_t> kSignature = {0xFF, 0xD8, 0xFF};
#elif defined(FUZZ_FORMAT_PNG)
const std::vector<std::uint8_t> kSignature = {0x89, 'P', 'N', 'G', '\r', '\n', 0x1A, '\n'};
#elif defined(FUZZ_FORMAT_TIFF)
const std::vector<std::uint8_t> kSignature = {'I', 'I', 42, 0};
#else
#error "name the format: FUZZ_FORMAT_JPEG, FUZZ_FORMAT_PNG or FUZZ_FORMAT_TIFF"
#endif

bool HasSignature(const std::uint8_t *data, std::size_t size) {
#if defined(FUZZ_FORMAT_TIFF)
  // Either byte order.
  return size >= 4 && ((std::memcmp(data, "II*\0", 4) == 0) || std::memcmp(data, "MM\0*", 4) == 0);
#else
  return size >= kSignature.size() && std::memcmp(data, kSignature.data(), kSignature.size()) == 0;
#endif
}

// One file in memory for the whole run, rewritten for every input.
int File() {
  static const int fd = ::memfd_create("fuzz-image", MFD_CLOEXEC);
  return fd;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size) {
  std::vector<std::uint8_t> bytes;
  if (!HasSignature(data, size)) bytes = kSignature;
  bytes.insert(bytes.end(), data, data + size);
  const int fd = File();
  Require(fd >= 0);
  Require(::ftruncate(fd, 0) == 0);
  Require(::pwrite(fd, bytes.data(), bytes.size(), 0) == static_cast<ssize_t>(bytes.size()));
  try {
    const ortavel::cli::Image img = ortavel::cli::readImage("/proc/self/fd/" + std::to_string(fd));
    // What the reader hands on is consistent: every plane holds the document.
    const auto &doc = img.doc;
    Require(doc.width > 0 && doc.height > 0);
    Require(doc.depth == 8 || doc.depth == 16);
    Require(img.fileBits == 8 || img.fileBits == 16);
    Require(img.alphaPlanes() >= 0);
    for (const auto &plane : doc.planes) Require(plane.samples.size() == doc.planeBytes());
  } catch (const ortavel::cli::CliError &) {
    // Refused with a message: what a bad file should get.
  }
  return 0;
}
