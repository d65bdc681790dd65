#include "correction_settings.h"

#include <cctype>
#include <cerrno>
#include <charconv>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <utility>

#include "exit_codes.h"

namespace ortavel::cli {
namespace {

struct Named {
  std::string_view name;
  int id;
};

constexpr Named kMethods[] = {{"bilinear", 0}, {"bicubic", 1},   {"lanczos6", 3},
                              {"lanczos8", 4}, {"lanczos12", 5}, {"test-align", 6}};

constexpr std::string_view kOrientations[8] = {
    "top",          "left",          "bottom",          "right",
    "top-mirrored", "left-mirrored", "bottom-mirrored", "right-mirrored"};

std::string show(double v) {
  char buf[64];
  std::snprintf(buf, sizeof buf, "%g", v);
  return buf;
}

}  // namespace

std::optional<int> methodFromName(std::string_view name) {
  for (const auto &m : kMethods)
    if (m.name == name) return m.id;
  return std::nullopt;
}

std::string_view methodName(int method) {
  for (const auto &m : kMethods)
    if (m.id == method) return m.name;
  return "bicubic";  // the filter writes an unnamed method back as bicubic
}

std::optional<int> orientationFromName(std::string_view name) {
  for (int i = 0; i < 8; ++i)
    if (kOrientations[i] == name) return i;
  if (name.size() == 1 && name[0] >= '0' && name[0] <= '7') return name[0] - '0';
  return std::nullopt;
}

std::string_view orientationName(int orientation) {
  return orientation >= 0 && orientation < 8 ? kOrientations[orientation] : "top";
}

std::optional<double> parseFinite(std::string_view text) {
  const std::string s(text);
  if (s.empty() || std::isspace(static_cast<unsigned char>(s[0]))) return std::nullopt;
  errno = 0;
  char *end = nullptr;
  const double v = std::strtod(s.c_str(), &end);
  if (end != s.c_str() + s.size() || errno == ERANGE || !std::isfinite(v)) return std::nullopt;
  return v;
}

template <std::size_t N>
std::optional<std::array<double, N>> parseList(std::string_view text) {
  std::array<double, N> out{};
  for (std::size_t i = 0; i < N; ++i) {
    const std::size_t comma = text.find(',');
    if ((i + 1 < N) != (comma != std::string_view::npos)) return std::nullopt;
    const auto v = parseFinite(text.substr(0, comma));
    if (!v) return std::nullopt;
    out[i] = *v;
    if (comma != std::string_view::npos) text.remove_prefix(comma + 1);
  }
  return out;
}
template std::optional<std::array<double, 2>> parseList<2>(std::string_view);

std::optional<Margins> parseMargins(std::string_view text) {
  std::int32_t v[4] = {};
  for (int i = 0; i < 4; ++i) {
    const std::size_t comma = text.find(',');
    if ((i < 3) != (comma != std::string_view::npos)) return std::nullopt;
    const std::string_view part = text.substr(0, comma);
    const auto r = std::from_chars(part.data(), part.data() + part.size(), v[i]);
    if (part.empty() || r.ec != std::errc() || r.ptr != part.data() + part.size() || v[i] < 0)
      return std::nullopt;
    if (comma != std::string_view::npos) text.remove_prefix(comma + 1);
  }
  return Margins{v[0], v[1], v[2], v[3]};
}

void validate(const CorrectionSettings &s) {
  const struct {
    const char *name;
    double v;
  } finite[] = {{"k1", s.k1},
                {"k2", s.k2},
                {"center x", s.centerX},
                {"center y", s.centerY},
                {"radius limit", s.radiusLimit},
                {"zoom", s.scale}};
  for (const auto &f : finite) {
    if (!std::isfinite(f.v)) throw usageError(std::string(f.name) + " must be a finite number");
  }
  // Beyond these the model's arithmetic says nothing useful: the radial
  // terms swamp every pixel, or the zoom or the centre put the whole picture
  // outside the frame.
  for (const auto &k : {std::pair{"k1", s.k1}, std::pair{"k2", s.k2}}) {
    if (std::fabs(k.second) > kLargestCoefficient) {
      throw usageError(std::string(k.first) + " must be between -" + show(kLargestCoefficient) +
                       " and " + show(kLargestCoefficient) + " (got " + show(k.second) + ")");
    }
  }
  for (const auto &c : {std::pair{"center x", s.centerX}, std::pair{"center y", s.centerY}}) {
    if (std::fabs(c.second) > kFarthestCentre) {
      throw usageError(std::string(c.first) + " must be between -" + show(kFarthestCentre) +
                       " and " + show(kFarthestCentre) + " (the picture spans -1 to 1; got " +
                       show(c.second) + ")");
    }
  }
  if (!(s.scale > 0.0)) throw usageError("zoom must be greater than 0 (got " + show(s.scale) + ")");
  if (s.scale < kSmallestScale || s.scale > kLargestScale) {
    throw usageError("zoom must be between " + show(kSmallestScale) + " and " +
                     show(kLargestScale) + " (got " + show(s.scale) + ")");
  }
  if (s.radiusLimit < 0.0) {
    throw usageError("radius limit must be 0 (off) or positive (got " + show(s.radiusLimit) + ")");
  }
  if (s.method < 0 || s.method > 6) throw usageError("unknown resampling method");
  if (s.orientation < 0 || s.orientation > 7) throw usageError("orientation must be 0..7");
  const Margins &m = s.margins;
  if (m.top < 0 || m.bottom < 0 || m.left < 0 || m.right < 0) {
    throw usageError("margins must not be negative");
  }
}

void validateMargins(const Margins &m, std::int32_t width, std::int32_t height,
                     const std::string &file) {
  const std::int64_t rows = static_cast<std::int64_t>(m.top) + m.bottom;
  const std::int64_t cols = static_cast<std::int64_t>(m.left) + m.right;
  if (rows > height || cols > width) {
    throw usageError(file + ": margins " + std::to_string(m.top) + "," + std::to_string(m.bottom) +
                     "," + std::to_string(m.left) + "," + std::to_string(m.right) +
                     " are larger than the " + std::to_string(width) + "x" +
                     std::to_string(height) + " picture");
  }
}

}  // namespace ortavel::cli
