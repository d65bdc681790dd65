// A picture read while it is already being corrected. The header is read at
// once; the rows are then decoded top to bottom on a thread of their own (a
// TIFF's strips on every processor, as always), and the document counts them
// (hostemu::Document::arriving), so that the host serves the filter's first
// tiles while the bottom of the picture is still being read. An interlaced
// PNG tells its rows only at the end.
#pragma once

#include <atomic>
#include <exception>
#include <filesystem>
#include <functional>
#include <memory>
#include <thread>

#include "image_io/image.h"
#include "image_io/limits.h"

namespace ortavel::cli {

class RowReader;

class BackgroundRead {
 public:
  // Throws CliError (bad input) for a file the readers refuse from its
  // header, as readImage does. `stopAsked` is polled between rows: when it
  // answers true, decoding stops and finish() throws what `stopped` makes.
  BackgroundRead(const std::filesystem::path &path, const ReadLimits &limits,
                 std::function<bool()> stopAsked, std::function<std::exception_ptr()> stopped);
  // Stops the decoding and waits for its thread: the planes it writes
  // outlive it.
  ~BackgroundRead();
  BackgroundRead(const BackgroundRead &) = delete;
  BackgroundRead &operator=(const BackgroundRead &) = delete;

  // The picture. Until finish() returns, only the host may read its pixels.
  Image &image() { return *image_; }
  // Waits for the last row. Throws what reading the file threw (CliError,
  // bad input, with readImage's message), or the stop's error; afterwards
  // the picture is whole and an ordinary Image.
  void finish();

 private:
  void decode();

  std::unique_ptr<RowReader> reader_;
  Image *image_ = nullptr;
  std::shared_ptr<hostemu::ArrivingRows> arriving_;
  std::function<bool()> stopAsked_;
  std::function<std::exception_ptr()> stopped_;
  std::atomic<bool> abandon_{false};
  std::exception_ptr failure_;
  std::thread thread_;
};

}  // namespace ortavel::cli
