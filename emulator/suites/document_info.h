// The document as the channel ports describe it: a ReadImageDocumentDesc with
// the composite channels in targetCompositeChannels (and, as the same list,
// mergedCompositeChannels), the remaining planes in alphaChannels, and one
// read port per plane.
//
// Which planes are composite follows the image mode: 1 for bitmap, grey,
// indexed and duotone forms, 3 for RGB, HSL, HSB and Lab forms, 4 for CMYK
// forms, all of them for multichannel. The records, names and ports live as
// long as this object; the document must outlive it.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "emulator/document.h"
#include "host/photoshop_api.h"

namespace hostemu {

// Composite channels of a document of this image mode with `planes` planes.
int compositeChannelCount(std::int32_t imageMode, int planes);

class DocumentInfo {
 public:
  explicit DocumentInfo(const Document &document);
  DocumentInfo(const DocumentInfo &) = delete;
  DocumentInfo &operator=(const DocumentInfo &) = delete;

  ReadImageDocumentDesc *desc() { return &desc_; }
  const Document &document() const { return document_; }
  // The plane a port reads, or -1 for a pointer that is not one of our ports.
  int planeOf(PIChannelPort port) const;
  PIChannelPort portOf(int plane);

  // Tile size reported for every channel, in pixels.
  static constexpr std::int32_t kTileSize = 256;

 private:
  const Document &document_;
  ReadImageDocumentDesc desc_{};
  std::vector<ReadChannelDesc> channels_;  // one per plane, in plane order
  std::vector<std::string> names_;
  std::vector<unsigned char> portTags_;  // a port is the address of its plane's tag
};

}  // namespace hostemu
