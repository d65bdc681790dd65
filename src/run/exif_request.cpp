#include "run/exif_request.h"

#include <cstdint>
#include <cstring>

#include "exif/tiff_parse.h"
#include "frame/globals.h"
#include "frame/host_services.h"
#include "frame/message.h"

namespace {

constexpr uint16_t kTagMake = 271;
constexpr uint16_t kTagModel = 272;
constexpr uint16_t kTagFocalLength = 37386;

// Keep only what the step asks for: Make and Model from the main directory,
// FocalLength from the EXIF directory.
constexpr uint16_t kMainTags[] = {kTagMake, kTagModel, 0};
constexpr uint16_t kExifTags[] = {kTagFocalLength, 0};
const uint16_t *const kTagFilter[2] = {kMainTags, kExifTags};

// The caller's buffers are sized by the caller; a missing one (null address)
// is simply not written.
void CopyText(char *destination, const char *text) {
  if (destination != nullptr) std::strcpy(destination, text);
}

}  // namespace

void DoExifRequest(void) {
  Handle handle = nullptr;
  if (PIGetEXIFData(&handle) != 0 || handle == nullptr) return;  // no EXIF: nothing to say

  HandleProcs *procs = gFilterRecord->handleProcs;
  Ptr bytes = procs->lockProc(handle, true);
  if (bytes == nullptr) {
    *gResult = memFullErr;
    return;
  }
  const int32_t size = procs->getSizeProc(handle);
  gData->exifParser = tiff_parse(bytes, size, kTagFilter);
  // The parser keeps copies of what it read, so the host's block can go now.
  procs->unlockProc(handle);
  procs->disposeProc(handle);

  tiff_parser *parser = gData->exifParser;
  if (parser == nullptr) {
    *gResult = memFullErr;
    return;
  }
  if (parser->error_count >= 1) {
    Message("Invalid Exif data.");
    tiff_parse_discard(parser);
    gData->exifParser = nullptr;
    return;
  }

  FilterParameters *params = gParams;
  for (const tiff_tag *tag = parser->tags[0]; tag != nullptr; tag = tag->next) {
    if (tag->tag == kTagMake) {
      const char *value = tiff_parse_get_string(tag);
      if (value == nullptr) {
        Message("Malformatted Make tag");
        value = "Malformatted Make tag";
      }
      CopyText(params->exifMake, value);
    } else if (tag->tag == kTagModel) {
      const char *value = tiff_parse_get_string(tag);
      if (value == nullptr) {
        Message("Malforatted Model tag.");
        value = "Malforatted Model tag.";
      }
      CopyText(params->exifModel, value);
    }
  }

  for (const tiff_tag *tag = parser->tags[1]; tag != nullptr; tag = tag->next) {
    if (tag->tag != kTagFocalLength) continue;
    double scratch = 0.0;
    double *out = params->exifFocalLength != nullptr ? params->exifFocalLength : &scratch;
    if (tiff_parse_get_double(tag, 0, out) == 0) Message("Malforatted Focal Length tag.");
    break;  // only the first FocalLength counts
  }
}
