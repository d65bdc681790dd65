#include "image_io/background_read.h"

#include <system_error>
#include <utility>

#include "image_io/codec.h"
#include "image_io/image_io.h"

namespace ortavel::cli {

BackgroundRead::BackgroundRead(const std::filesystem::path &path, const ReadLimits &limits,
                               std::function<bool()> stopAsked,
                               std::function<std::exception_ptr()> stopped)
    : stopAsked_(std::move(stopAsked)), stopped_(std::move(stopped)) {
  switch (sniffFormat(path)) {
    case FileFormat::kJpeg:
      reader_ = std::make_unique<JpegReader>(path, limits);
      break;
    case FileFormat::kTiff:
      reader_ = std::make_unique<TiffReader>(path, limits);
      break;
    case FileFormat::kPng:
      reader_ = std::make_unique<PngReader>(path, limits);
      break;
  }
  image_ = &reader_->image();
  // Every row exists before the host sees the planes: their sizes never
  // change while it reads them. Their memory is still untouched.
  growRows(*image_, image_->doc.height);
  arriving_ = std::make_shared<hostemu::ArrivingRows>(image_->doc.height);
  image_->doc.arriving = arriving_;
  try {
    thread_ = std::thread([this] { decode(); });
  } catch (const std::system_error &) {
    decode();  // no thread to be had: the rows are read here, before the filter
  }
}

BackgroundRead::~BackgroundRead() {
  abandon_ = true;
  if (thread_.joinable()) thread_.join();
  if (image_ != nullptr) image_->doc.arriving = nullptr;
}

void BackgroundRead::decode() {
  try {
    const RowProgress progress = [this](std::int32_t rows) {
      arriving_->arrived(rows);
      return !abandon_ && !(stopAsked_ && stopAsked_());
    };
    const bool all = reader_->readRows(progress);
    if (!all && !abandon_) failure_ = stopped_ ? stopped_() : nullptr;
  } catch (...) {
    failure_ = std::current_exception();
  }
  // Waiters for rows that will never come wake now (a no-op after the last row).
  arriving_->stopped();
}

void BackgroundRead::finish() {
  if (thread_.joinable()) thread_.join();
  image_->doc.arriving = nullptr;
  if (failure_) std::rethrow_exception(std::exchange(failure_, nullptr));
}

}  // namespace ortavel::cli
