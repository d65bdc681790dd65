#include "run/tile_geometry.h"

#include <algorithm>
#include <climits>
#include <cmath>

namespace {

// 32-bit two's-complement arithmetic, as the bounds are defined; wrapping is
// spelled out so that extreme mapped points cannot make the sum undefined.
int32_t AlignClamp(int32_t edge, int32_t tile, int32_t limit) {
  int32_t aligned = (edge / tile) * tile;  // truncating division, as on the host's side
  return std::min(std::max(aligned, 0), limit);
}

// Output pixel position less a margin: the point the lens model sees.
double Offset(int32_t pixel, int32_t margin) {
  return static_cast<double>(int64_t{pixel} - margin);
}

void Fold(SourceBounds &b, double sx, double sy) {
  int32_t ix = FloorToInt32(sx);
  int32_t iy = FloorToInt32(sy);
  b.min_x = std::min(b.min_x, ix);
  b.max_x = std::max(b.max_x, ix);
  b.min_y = std::min(b.min_y, iy);
  b.max_y = std::max(b.max_y, iy);
}

}  // namespace

int32_t WrapInt32(int64_t v) {
  return static_cast<int32_t>(static_cast<uint32_t>(v));
}

int32_t TileCount(int32_t extent, int32_t tile) {
  return (tile + extent - 1) / tile;
}

TileRect OutputTile(int32_t row, int32_t column, int32_t tileWidth, int32_t tileHeight,
                    int32_t totalWidth, int32_t totalHeight) {
  TileRect t;
  t.top = row * tileHeight;
  t.left = column * tileWidth;
  t.bottom = std::min(t.top + tileHeight, totalHeight);
  t.right = std::min(t.left + tileWidth, totalWidth);
  return t;
}

int32_t FloorToInt32(double v) {
  double f = std::floor(v);
  // The range test is false for NaN as well.
  if (!(f >= -2147483648.0 && f < 2147483648.0)) return INT32_MIN;
  return static_cast<int32_t>(f);
}

SourceBounds MapTilePerimeter(const TileRect &tile, int32_t marginLeft, int32_t marginTop,
                              interp_transform_fn transform, const void *model) {
  SourceBounds b{INT32_MAX, INT32_MAX, INT32_MIN, INT32_MIN};
  double sx = 0.0;
  double sy = 0.0;
  if (tile.right > tile.left) {
    for (int32_t x = tile.left; x < tile.right; x++) {
      transform(Offset(x, marginLeft), Offset(tile.top, marginTop), &sx, &sy, model);
      Fold(b, sx, sy);
      transform(Offset(x, marginLeft), Offset(tile.bottom - 1, marginTop), &sx, &sy, model);
      Fold(b, sx, sy);
    }
  }
  if (tile.top + 1 < tile.bottom - 1) {
    for (int32_t y = tile.top + 1; y <= tile.bottom - 2; y++) {
      transform(Offset(tile.left, marginLeft), Offset(y, marginTop), &sx, &sy, model);
      Fold(b, sx, sy);
      transform(Offset(tile.right - 1, marginLeft), Offset(y, marginTop), &sx, &sy, model);
      Fold(b, sx, sy);
    }
  }
  return b;
}

TileRect SourceBlock(const SourceBounds &bounds, int32_t halfSupport, int32_t inTileWidth,
                     int32_t inTileHeight, int32_t imageWidth, int32_t imageHeight) {
  int32_t tw = inTileWidth != 0 ? inTileWidth : 1;
  int32_t th = inTileHeight != 0 ? inTileHeight : 1;
  int64_t h = halfSupport;
  TileRect r;
  r.left = AlignClamp(WrapInt32(bounds.min_x - h + 1), tw, imageWidth);
  r.top = AlignClamp(WrapInt32(bounds.min_y - h + 1), th, imageHeight);
  r.right = AlignClamp(WrapInt32(bounds.max_x + h + tw), tw, imageWidth);
  r.bottom = AlignClamp(WrapInt32(bounds.max_y + h + th), th, imageHeight);
  return r;
}

bool SourceBlockUsable(const TileRect &block) {
  return block.left < block.right - 1 && block.top < block.bottom - 1;
}
