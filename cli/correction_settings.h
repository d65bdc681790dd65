// The scripted parameters of one correction, in the units the filter takes
// them (coefficients and centre in the lens model's normalised units, margins
// in pixels), with the user-facing names of methods and orientations.
#pragma once

#include <array>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace ortavel::cli {

struct Margins {
  std::int32_t top = 0;
  std::int32_t bottom = 0;
  std::int32_t left = 0;
  std::int32_t right = 0;
  bool any() const { return top != 0 || bottom != 0 || left != 0 || right != 0; }
};

struct CorrectionSettings {
  double k1 = 0.0;
  double k2 = 0.0;
  double centerX = 0.0;
  double centerY = 0.0;
  double radiusLimit = 0.0;
  double scale = 1.0;
  int method = 1;       // filter's method id: 0 bilinear .. 6 test-align; 2 has no name
  int orientation = 0;  // 0..7
  Margins margins;
};

// Method names and ids: bilinear 0, bicubic 1, lanczos6 3, lanczos8 4,
// lanczos12 5, test-align 6.
std::optional<int> methodFromName(std::string_view name);
std::string_view methodName(int method);

// Orientation names: top, left, bottom, right (0..3), and the same with
// "-mirrored" (4..7); the digits 0..7 are accepted too.
std::optional<int> orientationFromName(std::string_view name);
std::string_view orientationName(int orientation);

// Parses a whole string as a finite double; nullopt for anything else.
std::optional<double> parseFinite(std::string_view text);
// "a,b,c" into exactly N finite doubles.
template <std::size_t N>
std::optional<std::array<double, N>> parseList(std::string_view text);
// "T,B,L,R" margins: four whole numbers, none negative.
std::optional<Margins> parseMargins(std::string_view text);

// The widest values the lens model takes: coefficients up to 1e6 either
// way, a zoom from 1e-6 to 1e6, an optical centre within 1000 normalised
// units (the picture spans -1 to 1) of the picture's centre.
constexpr double kLargestCoefficient = 1e6;
constexpr double kSmallestScale = 1e-6;
constexpr double kLargestScale = 1e6;
constexpr double kFarthestCentre = 1e3;

// Throws CliError (usage) naming the first absurd value and its limits: a
// value not finite or outside the ranges above, scale 0 or below, a negative
// radius limit, a method or orientation out of range. The command line, the
// settings files and the editor all refuse with this.
void validate(const CorrectionSettings &s);

// Throws CliError (usage) when the margins are larger than the picture
// (more rows than it has, or more columns), or the canvas would overflow.
void validateMargins(const Margins &m, std::int32_t width, std::int32_t height,
                     const std::string &file);

}  // namespace ortavel::cli
