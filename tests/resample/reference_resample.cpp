#include "reference_resample.h"

#include <cmath>
#include <cstring>

#include "resample/lanczos_tables.h"

namespace {

int taps_of(uint32_t method) {
  const int taps[] = {2, 4, 4, 6, 8, 12};
  return taps[method];
}

// Keys cubic convolution, a = -0.75, on |t| <= 1 and 1 < |t| <= 2.
double keys_inner(double t) {
  return (1.25 * t - 2.25) * t * t + 1.0;
}
double keys_outer(double t) {
  return ((-0.75 * t + 3.75) * t - 6.0) * t + 3.0;
}

void weights(uint32_t method, double f, double *w) {
  if (method == 0) {
    w[0] = 1.0 - f;
    w[1] = f;
  } else if (method == 1) {
    w[0] = keys_outer(1.0 + f);
    w[1] = keys_inner(f);
    w[2] = keys_inner(1.0 - f);
    w[3] = keys_outer(2.0 - f);
  } else {
    const double *tables[] = {lanczos4tab, lanczos6tab, lanczos8tab, lanczos12tab};
    const double *table = tables[method - 2];
    const int a = taps_of(method) / 2;
    // Table position of the first tap; later taps are 128 entries further on.
    const double t = (-(a - 1) - f) * 128.0;
    const int p0 = static_cast<int>(std::floor(t));
    const double r = t - std::floor(t);
    for (int n = 0; n < 2 * a; ++n) {
      const int p = p0 + 128 * n;
      const int lo = p < 0 ? -p : p;
      const int hi = p + 1 < 0 ? -(p + 1) : p + 1;
      w[n] = (1.0 - r) * table[lo] + r * table[hi];
    }
  }
}

double read(const interp_source *s, uint32_t size, int x, int y, int k) {
  if (x < 0) x = 0;
  if (x > s->width - 1) x = s->width - 1;
  if (y < 0) y = 0;
  if (y > s->height - 1) y = s->height - 1;
  const uint8_t *p = s->data + static_cast<long>(y) * s->row_stride +
                     static_cast<long>(x) * s->pixel_stride + k * size;
  if (size == 1) return *p;
  if (size == 2) {
    uint16_t v;
    std::memcpy(&v, p, 2);
    return v;
  }
  uint32_t v;
  std::memcpy(&v, p, 4);
  return v;
}

void write(uint8_t *p, uint32_t size, long long v) {
  if (size == 1) *p = static_cast<uint8_t>(v);
  if (size == 2) {
    const uint16_t s = static_cast<uint16_t>(v);
    std::memcpy(p, &s, 2);
  }
  if (size == 4) {
    const uint32_t s = static_cast<uint32_t>(v);
    std::memcpy(p, &s, 4);
  }
}

}  // namespace

int32_t reference_resample(uint32_t method, uint32_t size, const interp_source *src,
                           const interp_target *dst, interp_transform_fn transform,
                           const void *model) {
  if (src->channels != dst->channels || src->max_value != dst->max_value) return 1;
  if (method == 6 && dst->channels < 2) return 1;
  const double M = dst->max_value;
  for (int j = 0; j < dst->height; ++j) {
    for (int i = 0; i < dst->width; ++i) {
      uint8_t *out = dst->data + static_cast<long>(j) * dst->row_stride +
                     static_cast<long>(i) * dst->pixel_stride;
      double sx, sy;
      transform(i + dst->origin_x, j + dst->origin_y, &sx, &sy, model);
      sx -= src->origin_x;
      sy -= src->origin_y;
      const bool inside =
          sx >= -0.5 && sy >= -0.5 && sx <= src->width - 0.5 && sy <= src->height - 0.5;
      for (int k = 0; k < dst->channels; ++k) write(out + k * size, size, 0);
      if (!inside) continue;
      const double fx = sx - std::floor(sx);
      const double fy = sy - std::floor(sy);
      if (method == 6) {
        write(out, size, static_cast<long long>((1.0 - std::fabs(2.0 * fx - 1.0)) * M + 0.5));
        write(out + size, size,
              static_cast<long long>((1.0 - std::fabs(2.0 * fy - 1.0)) * M + 0.5));
        continue;
      }
      const int n_taps = taps_of(method);
      double wx[12], wy[12];
      weights(method, fx, wx);
      weights(method, fy, wy);
      const int x0 = static_cast<int>(std::floor(sx)) - (n_taps / 2 - 1);
      const int y0 = static_cast<int>(std::floor(sy)) - (n_taps / 2 - 1);
      for (int k = 0; k < dst->channels; ++k) {
        double sum = 0.0;
        for (int m = 0; m < n_taps; ++m) {
          double row = 0.0;
          for (int n = 0; n < n_taps; ++n) row += read(src, size, x0 + n, y0 + m, k) * wx[n];
          sum += row * wy[m];
        }
        const double clamped = std::fmin(M, std::fmax(0.0, sum));
        write(out + k * size, size, static_cast<long long>(clamped + 0.5));
      }
    }
  }
  return 0;
}
