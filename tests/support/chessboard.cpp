// Chessboard corner finder: saddle points of the smoothed picture, refined to
// sub-pixel accuracy, then linked into a grid by walking from neighbour to
// neighbour; and the straightness of the grid's rows and columns.
#include "support/chessboard.h"

#include <algorithm>
#include <cmath>
#include <map>
#include <numbers>
#include <numeric>
#include <utility>

namespace ortavel::test {
namespace {

constexpr int32_t kColumns = 9;       // inner corners along the long side
constexpr int32_t kRows = 6;          // inner corners along the short side
constexpr double kBlurSigma = 2.0;    // pixels; smoothing before the saddle test
constexpr int32_t kRefineRadius = 5;  // pixels; window of the sub-pixel refinement

struct Plane {
  int32_t width = 0;
  int32_t height = 0;
  std::vector<double> v;

  double at(int32_t x, int32_t y) const { return v[static_cast<size_t>(y) * width + x]; }
};

// The first sample of each pixel, smoothed by a separable Gaussian with the
// edges repeated outwards.
Plane BlurredPlane(const GreyView &image, double sigma) {
  Plane p{image.width, image.height, {}};
  for (int32_t y = 0; y < image.height; y++) {
    const uint8_t *row = image.data + static_cast<ptrdiff_t>(y) * image.row_stride;
    for (int32_t x = 0; x < image.width; x++) {
      p.v.push_back(row[static_cast<ptrdiff_t>(x) * image.pixel_stride]);
    }
  }
  const int32_t radius = std::max(1, static_cast<int32_t>(std::ceil(3.0 * sigma)));
  std::vector<double> taps;
  for (int32_t i = -radius; i <= radius; i++)
    taps.push_back(std::exp(-0.5 * i * i / (sigma * sigma)));
  const double sum = std::accumulate(taps.begin(), taps.end(), 0.0);
  for (int32_t pass = 0; pass < 2; pass++) {  // across, then down
    const int32_t dx = 1 - pass, dy = pass;
    const Plane in = p;
    for (int32_t y = 0; y < p.height; y++) {
      for (int32_t x = 0; x < p.width; x++) {
        double acc = 0.0;
        for (int32_t i = -radius; i <= radius; i++) {
          acc += taps[i + radius] * in.at(std::clamp(x + i * dx, 0, p.width - 1),
                                          std::clamp(y + i * dy, 0, p.height - 1));
        }
        p.v[static_cast<size_t>(y) * p.width + x] = acc / sum;
      }
    }
  }
  return p;
}

// Minus the Hessian determinant: large and positive where the brightness
// rises along one diagonal and falls along the other, as at an inner corner;
// near zero along plain edges, negative on blobs.
Plane SaddleResponse(const Plane &s) {
  Plane r{s.width, s.height, std::vector<double>(s.v.size(), 0.0)};
  for (int32_t y = 1; y + 1 < s.height; y++) {
    for (int32_t x = 1; x + 1 < s.width; x++) {
      const double dxx = s.at(x + 1, y) - 2.0 * s.at(x, y) + s.at(x - 1, y);
      const double dyy = s.at(x, y + 1) - 2.0 * s.at(x, y) + s.at(x, y - 1);
      const double dxy =
          (s.at(x + 1, y + 1) - s.at(x + 1, y - 1) - s.at(x - 1, y + 1) + s.at(x - 1, y - 1)) / 4.0;
      r.v[static_cast<size_t>(y) * s.width + x] = dxy * dxy - dxx * dyy;
    }
  }
  return r;
}

struct Candidate {
  Corner p;
  double strength = 0.0;
};

double Sample(const Plane &s, double x, double y) {
  const int32_t x0 = std::clamp(static_cast<int32_t>(std::floor(x)), 0, s.width - 2);
  const int32_t y0 = std::clamp(static_cast<int32_t>(std::floor(y)), 0, s.height - 2);
  const double fx = x - x0, fy = y - y0;
  return (s.at(x0, y0) * (1.0 - fx) + s.at(x0 + 1, y0) * fx) * (1.0 - fy) +
         (s.at(x0, y0 + 1) * (1.0 - fx) + s.at(x0 + 1, y0 + 1) * fx) * fy;
}

// At a corner every gradient in the window is perpendicular to the line from
// the corner to where it is taken, so the corner q solves
// sum(g g^T) q = sum(g g^T p) in the least-squares sense. The window is
// sampled on a grid centred on q itself, so that it is symmetric about the
// corner and leaves no pull towards the nearest pixel; iterated because the
// window follows q.
std::optional<Corner> Refine(const Plane &s, Corner start, int32_t radius) {
  Corner q = start;
  const double spread = 0.5 * radius;
  for (int iteration = 0; iteration < 40; iteration++) {
    if (q.x - radius < 2.0 || q.y - radius < 2.0 || q.x + radius + 2.0 >= s.width ||
        q.y + radius + 2.0 >= s.height) {
      return std::nullopt;
    }
    double a11 = 0.0, a12 = 0.0, a22 = 0.0, b1 = 0.0, b2 = 0.0;
    for (int32_t j = -radius; j <= radius; j++) {
      for (int32_t i = -radius; i <= radius; i++) {
        const double x = q.x + i, y = q.y + j;
        const double gx = (Sample(s, x + 1.0, y) - Sample(s, x - 1.0, y)) / 2.0;
        const double gy = (Sample(s, x, y + 1.0) - Sample(s, x, y - 1.0)) / 2.0;
        const double w = std::exp(-(i * i + j * j) / (2.0 * spread * spread));
        a11 += w * gx * gx;
        a12 += w * gx * gy;
        a22 += w * gy * gy;
        b1 += w * (gx * gx * x + gx * gy * y);
        b2 += w * (gx * gy * x + gy * gy * y);
      }
    }
    const double det = a11 * a22 - a12 * a12;
    if (!(std::fabs(det) > 1e-12)) return std::nullopt;
    const Corner next{(a22 * b1 - a12 * b2) / det, (a11 * b2 - a12 * b1) / det};
    const double moved = std::hypot(next.x - q.x, next.y - q.y);
    q = next;
    if (std::hypot(q.x - start.x, q.y - start.y) > radius) return std::nullopt;
    if (moved < 1e-3) break;
  }
  return q;
}

// An inner corner seen on a small circle around it: two bright and two dark
// arcs, alternating, each opposite its like and of much the same brightness.
// The corner of a lone square on the white margin shows one dark arc; where a
// square meets the margin and a shadow beyond it, one "dark" arc is only grey.
bool LooksLikeInnerCorner(const Plane &s, Corner q, double radius) {
  constexpr int kSteps = 32;
  double ring[kSteps];
  double lo = 1e300, hi = -1e300, mean = 0.0;
  for (int i = 0; i < kSteps; i++) {
    const double a = 2.0 * std::numbers::pi * i / kSteps;
    ring[i] = Sample(s, q.x + radius * std::cos(a), q.y + radius * std::sin(a));
    lo = std::min(lo, ring[i]);
    hi = std::max(hi, ring[i]);
    mean += ring[i];
  }
  mean /= kSteps;
  if (hi - lo < 20.0) return false;  // grey levels; too faint to be the board

  double asymmetry = 0.0;
  int first_change = -1, changes = 0;
  for (int i = 0; i < kSteps; i++) {
    asymmetry += std::fabs(ring[i] - ring[(i + kSteps / 2) % kSteps]);
    if ((ring[i] > mean) != (ring[(i + 1) % kSteps] > mean)) {
      if (first_change < 0) first_change = i + 1;
      changes++;
    }
  }
  asymmetry /= kSteps;
  if (changes != 4 || asymmetry >= 0.4 * (hi - lo)) return false;

  // Walk the four arcs from the first change: the darkest of each dark arc
  // and the brightest of each bright one, and how long each arc is.
  double dark[2] = {1e300, 1e300}, bright[2] = {-1e300, -1e300};
  int lengths[4] = {0, 0, 0, 0};
  int arc = 0, darks = 0, brights = 0;
  bool above = ring[first_change % kSteps] > mean;
  for (int k = 0; k < kSteps; k++) {
    const double v = ring[(first_change + k) % kSteps];
    if ((v > mean) != above) {
      above = !above;
      arc++;
      (above ? darks : brights)++;
    }
    lengths[arc]++;
    if (above) {
      bright[brights] = std::max(bright[brights], v);
    } else {
      dark[darks] = std::min(dark[darks], v);
    }
  }
  for (int length : lengths) {
    if (length < 3) return false;  // a flicker about the mean, not an arc
  }
  const double weakest = std::min(bright[0], bright[1]) - std::max(dark[0], dark[1]);
  const double strongest = std::max(bright[0], bright[1]) - std::min(dark[0], dark[1]);
  return weakest > 0.5 * strongest;
}

std::vector<Candidate> FindSaddles(const Plane &smooth, int32_t refine_radius) {
  const Plane response = SaddleResponse(smooth);
  double strongest = 0.0;
  for (double v : response.v) strongest = std::max(strongest, v);
  if (!(strongest > 0.0)) return {};
  const double threshold = 0.03 * strongest;
  constexpr int32_t kSuppress = 3;  // pixels; one peak per corner
  const int32_t margin = refine_radius + 2;

  std::vector<Candidate> found;
  for (int32_t y = margin; y + margin < smooth.height; y++) {
    for (int32_t x = margin; x + margin < smooth.width; x++) {
      const double v = response.at(x, y);
      if (v <= threshold) continue;
      bool peak = true;
      for (int32_t j = -kSuppress; j <= kSuppress && peak; j++) {
        for (int32_t i = -kSuppress; i <= kSuppress; i++) {
          const int32_t nx = std::clamp(x + i, 0, smooth.width - 1);
          const int32_t ny = std::clamp(y + j, 0, smooth.height - 1);
          const double other = response.at(nx, ny);
          // Strict against earlier pixels, so a flat top yields one peak.
          const bool earlier = j < 0 || (j == 0 && i < 0);
          if (other > v || (earlier && other == v)) {
            peak = false;
            break;
          }
        }
      }
      if (!peak) continue;
      auto q = Refine(smooth, Corner{double(x), double(y)}, refine_radius);
      if (q && LooksLikeInnerCorner(smooth, *q, refine_radius + 1.0)) {
        found.push_back({*q, v});
      }
    }
  }
  // Two peaks refined onto one corner: keep the stronger.
  std::sort(found.begin(), found.end(),
            [](const Candidate &a, const Candidate &b) { return a.strength > b.strength; });
  std::vector<Candidate> unique;
  for (const Candidate &c : found) {
    if (std::none_of(unique.begin(), unique.end(), [&](const Candidate &u) {
          return std::hypot(c.p.x - u.p.x, c.p.y - u.p.y) < 2.0;
        })) {
      unique.push_back(c);
    }
  }
  return unique;
}

using Cell = std::pair<int32_t, int32_t>;  // (column, row) in grid steps

struct Growth {
  const std::vector<Candidate> &cands;
  std::vector<bool> used;
  std::map<Cell, int32_t> cells;  // cell -> candidate index

  explicit Growth(const std::vector<Candidate> &c) : cands(c), used(c.size(), false) {}

  Corner P(Cell c) const { return cands[cells.at(c)].p; }
  bool Has(Cell c) const { return cells.count(c) != 0; }

  void Place(Cell c, int32_t index) {
    cells[c] = index;
    used[index] = true;
  }

  // The lowest and highest column and row filled.
  std::pair<Cell, Cell> Bounds() const {
    Cell lo{0, 0}, hi{0, 0};
    for (const auto &[c, index] : cells) {
      lo = {std::min(lo.first, c.first), std::min(lo.second, c.second)};
      hi = {std::max(hi.first, c.first), std::max(hi.second, c.second)};
    }
    return {lo, hi};
  }

  int32_t NearestUnused(Corner at, double within) const {
    int32_t best = -1;
    double best_d = within;
    for (size_t i = 0; i < cands.size(); i++) {
      if (used[i]) continue;
      const double d = std::hypot(cands[i].p.x - at.x, cands[i].p.y - at.y);
      if (d < best_d) {
        best_d = d;
        best = static_cast<int32_t>(i);
      }
    }
    return best;
  }

  // Extends the grid cell by cell, predicting each new corner from the step
  // between its neighbours; stops when nothing more can be added or the grid
  // outgrows the board.
  bool Grow(int32_t longest) {
    static const Cell kDirs[4] = {{1, 0}, {-1, 0}, {0, 1}, {0, -1}};
    bool changed = true;
    while (changed) {
      changed = false;
      std::vector<Cell> filled;
      for (const auto &entry : cells) filled.push_back(entry.first);
      for (const Cell &c : filled) {
        for (const Cell &d : kDirs) {
          const Cell t{c.first + d.first, c.second + d.second};
          if (Has(t)) continue;
          Corner step{};
          bool known = false;
          const Cell back{c.first - d.first, c.second - d.second};
          if (Has(back)) {
            step = {P(c).x - P(back).x, P(c).y - P(back).y};
            known = true;
          } else {
            const Cell side[2] = {{d.second, d.first}, {-d.second, -d.first}};
            for (const Cell &e : side) {
              const Cell a{c.first + e.first, c.second + e.second};
              const Cell b{a.first + d.first, a.second + d.second};
              if (Has(a) && Has(b)) {
                step = {P(b).x - P(a).x, P(b).y - P(a).y};
                known = true;
                break;
              }
            }
          }
          if (!known) continue;
          const Corner guess{P(c).x + step.x, P(c).y + step.y};
          const int32_t hit = NearestUnused(guess, 0.35 * std::hypot(step.x, step.y));
          if (hit < 0) continue;
          Place(t, hit);
          changed = true;
        }
      }
      const auto [lo, hi] = Bounds();
      if (hi.first - lo.first + 1 > longest || hi.second - lo.second + 1 > longest) return false;
    }
    return true;
  }
};

// Two pairs of opposite neighbours around a seed: the first four cells.
bool PlaceCross(Growth &g, int32_t seed) {
  const Corner s = g.cands[seed].p;
  std::vector<std::pair<double, int32_t>> near;
  for (size_t i = 0; i < g.cands.size(); i++) {
    if (static_cast<int32_t>(i) == seed) continue;
    near.push_back({std::hypot(g.cands[i].p.x - s.x, g.cands[i].p.y - s.y), int32_t(i)});
  }
  std::sort(near.begin(), near.end());
  if (near.size() > 8) near.resize(8);

  struct Pair {
    int32_t a, b;
    Corner dir;
    double reach;  // the longer of the two arms
  };
  std::vector<Pair> pairs;
  for (size_t i = 0; i < near.size(); i++) {
    for (size_t j = i + 1; j < near.size(); j++) {
      const Corner va{g.cands[near[i].second].p.x - s.x, g.cands[near[i].second].p.y - s.y};
      const Corner vb{g.cands[near[j].second].p.x - s.x, g.cands[near[j].second].p.y - s.y};
      const double la = std::hypot(va.x, va.y), lb = std::hypot(vb.x, vb.y);
      if (std::hypot(va.x + vb.x, va.y + vb.y) < 0.3 * std::min(la, lb)) {
        pairs.push_back({near[i].second, near[j].second, {va.x / la, va.y / la}, std::max(la, lb)});
      }
    }
  }
  // The shortest pairs are the grid neighbours; the diagonals are about 1.4
  // times longer and at 45 degrees, which the angle test below turns away.
  std::sort(pairs.begin(), pairs.end(),
            [](const Pair &x, const Pair &y) { return x.reach < y.reach; });
  for (size_t i = 0; i < pairs.size(); i++) {
    for (size_t j = i + 1; j < pairs.size(); j++) {
      const double cosine = pairs[i].dir.x * pairs[j].dir.x + pairs[i].dir.y * pairs[j].dir.y;
      if (std::fabs(cosine) > 0.5) continue;
      g.Place({0, 0}, seed);
      g.Place({1, 0}, pairs[i].a);
      g.Place({-1, 0}, pairs[i].b);
      g.Place({0, 1}, pairs[j].a);
      g.Place({0, -1}, pairs[j].b);
      return true;
    }
  }
  return false;
}

// Lays the cells out as rows of the long side, turned so that the first
// column and row are the leftmost and topmost as the board is seen.
std::optional<CornerGrid> Arrange(const Growth &g, int32_t columns, int32_t rows) {
  const auto [lo, hi] = g.Bounds();
  const int32_t min_c = lo.first, min_r = lo.second;
  const int32_t nc = hi.first - min_c + 1, nr = hi.second - min_r + 1;
  const bool transpose = nc == rows && nr == columns;
  if (static_cast<int32_t>(g.cells.size()) != columns * rows ||
      (!transpose && (nc != columns || nr != rows))) {
    return std::nullopt;
  }
  auto corner = [&](int32_t row, int32_t column) {
    return transpose ? g.P({min_c + row, min_r + column}) : g.P({min_c + column, min_r + row});
  };
  CornerGrid grid{columns, rows, {}};
  for (int32_t r = 0; r < rows; r++) {
    for (int32_t c = 0; c < columns; c++) grid.corners.push_back(corner(r, c));
  }
  // Forward along an axis means rightwards, or downwards when it runs mostly
  // vertically.
  auto backwards = [](Corner from, Corner to) {
    const double dx = to.x - from.x, dy = to.y - from.y;
    return std::fabs(dx) >= std::fabs(dy) ? dx < 0.0 : dy < 0.0;
  };
  if (backwards(grid.at(0, 0), grid.at(0, columns - 1))) {
    for (int32_t r = 0; r < rows; r++) {
      std::reverse(grid.corners.begin() + r * columns, grid.corners.begin() + (r + 1) * columns);
    }
  }
  if (backwards(grid.at(0, 0), grid.at(rows - 1, 0))) {
    const auto row = [&](int32_t r) { return grid.corners.begin() + r * columns; };
    for (int32_t r = 0; r < rows / 2; r++) std::swap_ranges(row(r), row(r + 1), row(rows - 1 - r));
  }
  return grid;
}

}  // namespace

std::optional<CornerGrid> FindChessboardCorners(const GreyView &image) {
  if (image.data == nullptr || image.width < 8 || image.height < 8) return std::nullopt;
  const Plane smooth = BlurredPlane(image, kBlurSigma);
  const std::vector<Candidate> cands = FindSaddles(smooth, kRefineRadius);
  const int32_t longest = std::max(kColumns, kRows);

  // Strongest seeds first; an inner corner of the board nearly always wins.
  for (size_t seed = 0; seed < cands.size(); seed++) {
    Growth g(cands);
    if (!PlaceCross(g, static_cast<int32_t>(seed))) continue;
    if (!g.Grow(longest)) continue;
    if (auto grid = Arrange(g, kColumns, kRows)) return grid;
  }
  return std::nullopt;
}

Straightness MeasureStraightness(const CornerGrid &grid) {
  Straightness s;
  double sum_sq = 0.0, spacing = 0.0;
  int64_t count = 0, gaps = 0;
  auto fit = [&](const std::vector<Corner> &line) {
    double mx = 0.0, my = 0.0;
    for (const Corner &p : line) {
      mx += p.x / line.size();
      my += p.y / line.size();
    }
    double sxx = 0.0, syy = 0.0, sxy = 0.0;
    for (size_t i = 0; i < line.size(); i++) {
      const Corner &p = line[i];
      sxx += (p.x - mx) * (p.x - mx);
      syy += (p.y - my) * (p.y - my);
      sxy += (p.x - mx) * (p.y - my);
      if (i > 0) {
        spacing += std::hypot(p.x - line[i - 1].x, p.y - line[i - 1].y);
        gaps++;
      }
    }
    // Direction of largest spread; distances are taken along its normal.
    const double theta = 0.5 * std::atan2(2.0 * sxy, sxx - syy);
    for (const Corner &p : line) {
      const double d = std::fabs(-(p.x - mx) * std::sin(theta) + (p.y - my) * std::cos(theta));
      sum_sq += d * d;
      s.max = std::max(s.max, d);
      count++;
    }
    s.lines++;
  };
  for (int32_t r = 0; r < grid.rows; r++) {
    fit({grid.corners.begin() + r * grid.columns, grid.corners.begin() + (r + 1) * grid.columns});
  }
  for (int32_t c = 0; c < grid.columns; c++) {
    std::vector<Corner> line;
    for (int32_t r = 0; r < grid.rows; r++) line.push_back(grid.at(r, c));
    fit(line);
  }
  s.rms = count > 0 ? std::sqrt(sum_sq / count) : 0.0;
  s.mean_spacing = gaps > 0 ? spacing / gaps : 0.0;
  return s;
}

}  // namespace ortavel::test
