#include "run/correction.h"

#include <cstdint>
#include <cstring>

#include "frame/globals.h"
#include "frame/host_services.h"
#include "geometry/lensdistort.h"
#include "resample/interp.h"
#include "run/tile_geometry.h"
#include "workers/interp_workers.h"

namespace {

// Everything one run needs per tile, fixed before the first tile.
struct RunSetup {
  const interp_method *method;
  lensdistort_model *model;
  interp_workers *pool;  // null: resample on this thread
  int32_t threads;       // processors counted, at least 1
  int32_t bytesPerSample;
  int32_t maxValue;
  int32_t marginLeft;
  int32_t marginTop;
  int32_t imageWidth;
  int32_t imageHeight;
};

VRect ToVRect(const TileRect &t) {
  VRect r;
  r.top = t.top;
  r.left = t.left;
  r.bottom = t.bottom;
  r.right = t.right;
  return r;
}

// Requests the source block and the output tile, all planes interleaved, and
// resamples. Returns false when the host refused the request.
bool ProcessTile(const RunSetup &run, const TileRect &tile, const TileRect &block) {
  FilterRecord *fr = gFilterRecord;
  SetInRect(ToVRect(block));
  SetOutRect(ToVRect(tile));
  fr->inLoPlane = 0;
  fr->outLoPlane = 0;
  fr->inHiPlane = static_cast<int16_t>(fr->planes - 1);
  fr->outHiPlane = static_cast<int16_t>(fr->planes - 1);
  *gResult = fr->advanceState();
  if (*gResult != 0) return false;

  const int32_t planes = fr->planes;
  interp_source source;
  source.data = static_cast<const uint8_t *>(fr->inData);
  source.origin_x = block.left;
  source.origin_y = block.top;
  source.width = block.right - block.left;
  source.height = block.bottom - block.top;
  source.row_stride = fr->inRowBytes;
  source.pixel_stride = planes * run.bytesPerSample;
  source.channels = planes;
  source.max_value = run.maxValue;

  interp_target target;
  target.data = static_cast<uint8_t *>(fr->outData);
  target.origin_x = static_cast<double>(int64_t{tile.left} - run.marginLeft);
  target.origin_y = static_cast<double>(int64_t{tile.top} - run.marginTop);
  target.width = tile.right - tile.left;
  target.height = tile.bottom - tile.top;
  target.row_stride = fr->outRowBytes;
  target.pixel_stride = source.pixel_stride;
  target.channels = source.channels;
  target.max_value = source.max_value;

  if (run.pool != nullptr) {
    int32_t rowsPerJob = target.height / (32 * run.threads);
    if (rowsPerJob < 1) rowsPerJob = 1;
    interp_workers_run(run.pool, rowsPerJob, &source, &target, run.method,
                       lensdistort_transform_point, run.model);
  } else {
    run.method->kernel(&source, &target, lensdistort_transform_point, run.model);
  }
  return true;
}

// Writes zeros into every plane of a tile whose source block is too small to
// resample, one plane per request (the input rectangle is left as it was).
bool BlankTile(const RunSetup &run, const TileRect &tile) {
  FilterRecord *fr = gFilterRecord;
  SetOutRect(ToVRect(tile));
  const size_t rowLength = static_cast<size_t>(tile.right - tile.left) * run.bytesPerSample;
  for (int16_t p = 0; p < fr->planes; p++) {
    fr->outLoPlane = p;
    fr->outHiPlane = p;
    *gResult = fr->advanceState();
    if (*gResult != 0) return false;
    auto *row = static_cast<uint8_t *>(fr->outData);
    for (int32_t y = tile.top; y < tile.bottom; y++) {
      std::memset(row, 0, rowLength);
      row += fr->outRowBytes;
    }
  }
  return true;
}

enum class TileWalk { kCompleted, kFailed, kAborted };

// Every tile in row-major order, with progress and an abort test after each.
TileWalk WalkTiles(const RunSetup &run, int32_t tileRows, int32_t tileColumns, int32_t outTileWidth,
                   int32_t outTileHeight, int32_t totalWidth, int32_t totalHeight) {
  FilterRecord *fr = gFilterRecord;
  const int32_t total = tileRows * tileColumns;
  const int32_t halfSupport = run.method->support / 2;
  int32_t done = 0;
  for (int32_t row = 0; row < tileRows; row++) {
    for (int32_t column = 0; column < tileColumns; column++) {
      const TileRect tile =
          OutputTile(row, column, outTileWidth, outTileHeight, totalWidth, totalHeight);
      const SourceBounds bounds = MapTilePerimeter(tile, run.marginLeft, run.marginTop,
                                                   lensdistort_transform_point, run.model);
      const TileRect block = SourceBlock(bounds, halfSupport, fr->inTileWidth, fr->inTileHeight,
                                         run.imageWidth, run.imageHeight);
      const bool ok =
          SourceBlockUsable(block) ? ProcessTile(run, tile, block) : BlankTile(run, tile);
      if (!ok) return TileWalk::kFailed;
      if (*gResult == 0) {
        done++;
        if (fr->progressProc != nullptr) fr->progressProc(done, total);
        if (fr->abortProc != nullptr && fr->abortProc()) return TileWalk::kAborted;
      }
    }
  }
  return TileWalk::kCompleted;
}

}  // namespace

void DoCorrection(void) {
  FilterRecord *fr = gFilterRecord;
  FilterParameters *params = gParams;

  const int32_t outTileWidth = fr->outTileWidth;
  const int32_t outTileHeight = fr->outTileHeight;
  if (outTileWidth == 0 || outTileHeight == 0) {
    *gResult = filterBadParameters;
    return;
  }

  const int32_t depth = fr->depth;
  gData->methodEntry = interp_get_method(static_cast<uint32_t>(params->interpolation),
                                         static_cast<uint32_t>(depth / 8));
  if (gData->methodEntry == nullptr) {
    *gResult = filterBadParameters;
    return;
  }

  // The source image is the top-left part of the document; positive margins
  // around it are output area the correction may push the picture into.
  const VPoint size = GetImageSize();
  const int32_t top = params->cropTop;
  const int32_t bottom = params->cropBottom;
  const int32_t left = params->cropLeft;
  const int32_t right = params->cropRight;
  const int32_t across = WrapInt32(int64_t{left} + right);
  const int32_t down = WrapInt32(int64_t{top} + bottom);
  params->imageWidth = across > 0 ? WrapInt32(int64_t{size.h} - across) : size.h;
  params->imageHeight = down > 0 ? WrapInt32(int64_t{size.v} - down) : size.v;
  const int32_t totalWidth = WrapInt32(int64_t{across} + params->imageWidth);
  const int32_t totalHeight = WrapInt32(int64_t{down} + params->imageHeight);

  const int32_t tileRows = TileCount(totalHeight, outTileHeight);
  const int32_t tileColumns = TileCount(totalWidth, outTileWidth);

  RunSetup run;
  run.method = gData->methodEntry;
  run.model = FilterParametersModel(params);
  run.threads = GetNumProcessors();
  if (run.threads < 1) run.threads = 1;
  run.pool = interp_workers_init(run.threads, 2);
  run.bytesPerSample = depth / 8;
  run.maxValue = depth == 16 ? 32768 : 255;  // the host's 16-bit scale; 255 otherwise
  run.marginLeft = left;
  run.marginTop = top;
  run.imageWidth = params->imageWidth;
  run.imageHeight = params->imageHeight;

  if (WalkTiles(run, tileRows, tileColumns, outTileWidth, outTileHeight, totalWidth, totalHeight) ==
      TileWalk::kAborted) {
    // The pool goes on this path too: a host may unload the module once the
    // user has cancelled, and threads left waiting inside it would then wake
    // in unmapped code (Windows hosts do unload). Its threads are idle here,
    // every band of the last tile done, so joining them takes no time.
    *gResult = userCanceledErr;
    if (run.pool != nullptr) interp_workers_destroy(run.pool);
    return;
  }
  if (run.pool != nullptr) interp_workers_destroy(run.pool);
}
