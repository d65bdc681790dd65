// The lens as the photograph records it anywhere: the EXIF directory's
// LensModel, and the maker notes of the bodies that name the lens only
// there, read with exiv2 (its lens-ID tables turn a maker's lens number into
// a name). Command side only: the plug-in never links exiv2.
#pragma once

#include <cstdint>
#include <optional>
#include <span>
#include <string>

namespace ortavel::cli {

struct RecordedLens {
  std::optional<std::string> name;  // "Olympus M.Zuiko Digital 14-42mm F3.5-5.6 II"
  std::optional<std::string> tag;   // where it was read: "Exif.OlympusEq.LensType"
  // The lens's focal range where the file records it (maker note or
  // LensSpecification), even when it does not name the lens.
  std::optional<double> minFocalMm;
  std::optional<double> maxFocalMm;
};

// `block` is the host's EXIF property (a bare TIFF block or an APP1 payload
// with its "Exif\0\0" prefix). A block exiv2 cannot parse gives nothing;
// never throws.
RecordedLens readRecordedLens(std::span<const std::uint8_t> block);

// Whether a value a lens-ID table printed names a lens: exiv2 prints numbers
// it cannot look up as "(123)", and makers use "n/a", "None", "Unknown ...".
bool namesALens(const std::string &printed);

}  // namespace ortavel::cli
