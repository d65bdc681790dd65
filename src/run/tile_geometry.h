// Geometry of the tiled correction: which output tile comes next, which source
// points its perimeter maps to, and which source block the host must deliver
// for it. Pure functions, no host state. All values are in pixels; rectangles
// are half-open (top, left inclusive; bottom, right exclusive).
#pragma once

#include <cstdint>

#include "resample/interp.h"

struct TileRect {
  int32_t top;
  int32_t left;
  int32_t bottom;
  int32_t right;
};

// Integer bounding box of mapped source points (inclusive on both ends).
struct SourceBounds {
  int32_t min_x;
  int32_t min_y;
  int32_t max_x;
  int32_t max_y;
};

// Number of tiles of `tile` pixels needed to cover `extent` pixels.
int32_t TileCount(int32_t extent, int32_t tile);

// Output tile (row, column) of a grid of tileWidth x tileHeight tiles over an
// area of totalWidth x totalHeight pixels; the last row and column are cut.
TileRect OutputTile(int32_t row, int32_t column, int32_t tileWidth, int32_t tileHeight,
                    int32_t totalWidth, int32_t totalHeight);

// The low 32 bits of v as a signed value: sums of scripted margins and pixel
// positions are 32-bit arithmetic, and this keeps their wrap-around defined.
int32_t WrapInt32(int64_t v);

// floor(v) as a 32-bit integer. Values that do not fit (and NaN) give
// INT32_MIN, which is what the processor's own conversion yields.
int32_t FloorToInt32(double v);

// Maps only the perimeter of `tile` (output pixels; the model sees them moved
// by the left and top margins) and returns the box of the floored source
// points. The interior is taken to lie inside that box.
SourceBounds MapTilePerimeter(const TileRect &tile, int32_t marginLeft, int32_t marginTop,
                              interp_transform_fn transform, const void *model);

// The source block to request for `bounds`: widened by halfSupport, aligned
// to the host's input tiles and clamped to the image. The +1 on the leading
// edges is intended: a leading edge that lands exactly on a tile boundary
// starts one input tile later. A zero input tile size aligns to single pixels.
TileRect SourceBlock(const SourceBounds &bounds, int32_t halfSupport, int32_t inTileWidth,
                     int32_t inTileHeight, int32_t imageWidth, int32_t imageHeight);

// A block narrower or shorter than 2 pixels cannot be resampled; its tile is
// blanked instead.
bool SourceBlockUsable(const TileRect &block);
