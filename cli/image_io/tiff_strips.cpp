#include "image_io/tiff_strips.h"

#include "emulator/document.h"
#include "image_io/deflate_literals.h"

#include <algorithm>
#include <condition_variable>
#include <cstdarg>
#include <cstdio>
#include <cstring>
#include <exception>
#include <memory>
#include <mutex>
#include <optional>
#include <span>
#include <stdexcept>
#include <system_error>
#include <thread>
#include <vector>

#include <zstd.h>

#if defined(__linux__)
#include <fcntl.h>
#endif

namespace ortavel::cli {
namespace {

constexpr std::size_t kStripBytes = std::size_t{1} << 20;
// The most memory the strip slots of one file may take in whole blocks.
constexpr std::size_t kWholeBlockSlotBytes = std::size_t{32} << 20;
// log2 of the zstd match table's entries for 16-bit strips at level 1.
constexpr int kWideHashLog = 12;

std::uint16_t codecTag(TiffCompression c) {
  switch (c) {
    case TiffCompression::kNone:
      return COMPRESSION_NONE;
    case TiffCompression::kDeflate:
      return COMPRESSION_ADOBE_DEFLATE;
    case TiffCompression::kLzw:
      return COMPRESSION_LZW;
    case TiffCompression::kZstd:
      return COMPRESSION_ZSTD;
  }
  return COMPRESSION_NONE;
}

// A growable file in memory for libtiff's client interface: the encoder of
// one strip writes its output here.
struct MemoryFile {
  std::vector<std::uint8_t> bytes;
  std::size_t position = 0;
  std::string firstError;
};

tmsize_t memRead(thandle_t h, void *buf, tmsize_t n) {
  auto *f = static_cast<MemoryFile *>(h);
  if (f->position >= f->bytes.size() || n <= 0) return 0;
  const std::size_t count =
      std::min<std::size_t>(static_cast<std::size_t>(n), f->bytes.size() - f->position);
  std::memcpy(buf, f->bytes.data() + f->position, count);
  f->position += count;
  return static_cast<tmsize_t>(count);
}
tmsize_t memWrite(thandle_t h, void *buf, tmsize_t n) {
  auto *f = static_cast<MemoryFile *>(h);
  if (n < 0) return -1;
  const std::size_t end = f->position + static_cast<std::size_t>(n);
  if (end > f->bytes.size()) f->bytes.resize(end);
  std::memcpy(f->bytes.data() + f->position, buf, static_cast<std::size_t>(n));
  f->position = end;
  return n;
}
toff_t memSeek(thandle_t h, toff_t offset, int whence) {
  auto *f = static_cast<MemoryFile *>(h);
  std::size_t base = 0;
  if (whence == SEEK_CUR) base = f->position;
  if (whence == SEEK_END) base = f->bytes.size();
  f->position = base + static_cast<std::size_t>(offset);
  return f->position;
}
int memClose(thandle_t) {
  return 0;
}
toff_t memSize(thandle_t h) {
  return static_cast<MemoryFile *>(h)->bytes.size();
}
int memMap(thandle_t, void **, toff_t *) {
  return 0;
}
void memUnmap(thandle_t, void *, toff_t) {}

int memError(TIFF *, void *user, const char *module, const char *fmt, va_list ap) {
  auto *f = static_cast<MemoryFile *>(user);
  if (f->firstError.empty()) {
    char text[512];
    std::vsnprintf(text, sizeof text, fmt, ap);
    f->firstError = std::string(module ? module : "libtiff") + ": " + text;
  }
  return 1;
}
int memWarning(TIFF *, void *, const char *, const char *, va_list) {
  return 1;
}

struct TiffCloser {
  void operator()(TIFF *t) const { TIFFClose(t); }
};

// Compresses `rows` packed rows with libtiff's encoder for the layout, as one
// strip of a private in-memory file, and returns the strip's bytes.
std::vector<std::uint8_t> encodeStrip(const TiffStripLayout &layout, std::uint32_t rows,
                                      std::vector<std::uint8_t> &packed, std::string &error) {
  MemoryFile file;
  TIFFOpenOptions *opts = TIFFOpenOptionsAlloc();
  if (opts == nullptr) throw std::bad_alloc();
  TIFFOpenOptionsSetErrorHandlerExtR(opts, memError, &file);
  TIFFOpenOptionsSetWarningHandlerExtR(opts, memWarning, &file);
  std::unique_ptr<TIFF, TiffCloser> t(TIFFClientOpenExt(
      "strip", "w", &file, memRead, memWrite, memSeek, memClose, memSize, memMap, memUnmap, opts));
  TIFFOpenOptionsFree(opts);
  if (!t) {
    error = "cannot start the strip encoder: " + file.firstError;
    return {};
  }
  TIFF *tif = t.get();
  // Only width, sample layout, compression and predictor shape the strip's
  // bytes; the colour interpretation does not.
  TIFFSetField(tif, TIFFTAG_IMAGEWIDTH, layout.width);
  TIFFSetField(tif, TIFFTAG_IMAGELENGTH, rows);
  TIFFSetField(tif, TIFFTAG_SAMPLESPERPIXEL, layout.samplesPerPixel);
  TIFFSetField(tif, TIFFTAG_BITSPERSAMPLE, layout.bitsPerSample);
  TIFFSetField(tif, TIFFTAG_SAMPLEFORMAT, SAMPLEFORMAT_UINT);
  TIFFSetField(tif, TIFFTAG_PLANARCONFIG, PLANARCONFIG_CONTIG);
  TIFFSetField(tif, TIFFTAG_PHOTOMETRIC, PHOTOMETRIC_MINISBLACK);
  if (layout.samplesPerPixel > 1) {
    const std::vector<std::uint16_t> extra(layout.samplesPerPixel - 1u, EXTRASAMPLE_UNSPECIFIED);
    TIFFSetField(tif, TIFFTAG_EXTRASAMPLES, static_cast<std::uint16_t>(extra.size()), extra.data());
  }
  TiffStripLayout one = layout;
  one.rowsPerStrip = rows;
  setTiffStripTags(tif, one);
  if (TIFFWriteEncodedStrip(tif, 0, packed.data(), static_cast<tmsize_t>(packed.size())) < 0) {
    error = "cannot compress a strip: " + file.firstError;
    return {};
  }
  // TIFFWriteEncodedStrip has put the strip's bytes into the file and its
  // place into the strip tags; the directory is never written.
  const std::uint64_t *offsets = nullptr;
  const std::uint64_t *counts = nullptr;
  if (!TIFFGetField(tif, TIFFTAG_STRIPOFFSETS, &offsets) ||
      !TIFFGetField(tif, TIFFTAG_STRIPBYTECOUNTS, &counts) || offsets == nullptr ||
      counts == nullptr || offsets[0] + counts[0] > file.bytes.size()) {
    error = "cannot find a compressed strip";
    return {};
  }
  return {file.bytes.begin() + static_cast<std::ptrdiff_t>(offsets[0]),
          file.bytes.begin() + static_cast<std::ptrdiff_t>(offsets[0] + counts[0])};
}

// Strips this writer codes itself: the rows through the horizontal
// predictor, as libtiff would apply it, then Deflate as literals (the level
// left to us) or zstd. Each thread keeps one coder: its buffers and its zstd
// context serve strip after strip, never zeroed, their pages touched once.
class OwnStripCoder {
 public:
  OwnStripCoder(const TiffStripLayout &layout, int zstdLevel)
      : samples_(static_cast<std::size_t>(layout.width) * layout.samplesPerPixel),
        stride_(layout.samplesPerPixel),
        wide_(layout.bitsPerSample == 16),
        row_((samples_ * (wide_ ? 2 : 1) + 1) / 2) {
    if (zstdLevel > 0) {
      zstd_.reset(ZSTD_createCCtx());
      if (!zstd_ ||
          ZSTD_isError(ZSTD_CCtx_setParameter(zstd_.get(), ZSTD_c_compressionLevel, zstdLevel)))
        throw std::bad_alloc();
      // Resampled 16-bit samples carry noise in their low bytes, so matches
      // are few and short; level 1's match table (16K entries, 64 KiB) then
      // costs more in cache misses than it finds. A quarter of it fits the
      // first-level cache: on a corrected 24 MP picture zstd runs 1.3 times as
      // fast for 0.2 % more bytes. At 8 bits it would cost 1.5 %; higher
      // levels are asked for to find more, and keep their tables.
      if (wide_ && zstdLevel == 1 &&
          ZSTD_isError(ZSTD_CCtx_setParameter(zstd_.get(), ZSTD_c_hashLog, kWideHashLog)))
        throw std::bad_alloc();
    }
  }

  // Codes rows y0 .. y0 + rows - 1 into `out`, which is resized to the bytes.
  void strip(const TiffRowPacker &pack, std::uint32_t y0, std::uint32_t rows,
             hostemu::Samples &out) {
    const std::size_t rowBytes = samples_ * (wide_ ? 2 : 1);
    predicted_.resize((rowBytes * rows + 1) / 2);
    for (std::uint32_t r = 0; r < rows; ++r) {
      pack(y0 + r, row_.data());
      if (wide_) {
        differences(row_.data(), predicted_.data() + samples_ * r);
      } else {
        differences(reinterpret_cast<const std::uint8_t *>(row_.data()),
                    reinterpret_cast<std::uint8_t *>(predicted_.data()) + samples_ * r);
      }
    }
    const std::span in(reinterpret_cast<const std::uint8_t *>(predicted_.data()), rowBytes * rows);
    // Room for the worst case; resizing leaves the bytes to the coder.
    out.resize(zstd_ ? ZSTD_compressBound(in.size()) : zlibLiteralsBound(in.size()));
    std::size_t n = 0;
    if (zstd_) {
      n = ZSTD_compress2(zstd_.get(), out.data(), out.size(), in.data(), in.size());
      if (ZSTD_isError(n)) throw std::runtime_error(std::string("zstd: ") + ZSTD_getErrorName(n));
    } else {
      n = zlibLiterals(in, out.data());
    }
    out.resize(n);
  }

 private:
  // Each sample less the same channel's sample one pixel to the left,
  // wrapping as the sample type does; the first pixel as it is.
  template <typename T>
  void differences(const T *in, T *out) const {
    const std::size_t first = std::min(stride_, samples_);
    for (std::size_t k = 0; k < first; ++k) out[k] = in[k];
    for (std::size_t k = first; k < samples_; ++k) out[k] = static_cast<T>(in[k] - in[k - stride_]);
  }

  struct ZstdFree {
    void operator()(ZSTD_CCtx *c) const { ZSTD_freeCCtx(c); }
  };

  std::size_t samples_;
  std::size_t stride_;
  bool wide_;
  std::vector<std::uint16_t> row_;  // 16-bit words, or bytes two to a word
  // Not zeroed when it grows: every strip writes the words it codes.
  std::vector<std::uint16_t, hostemu::DefaultInitAllocator<std::uint16_t>> predicted_;
  std::unique_ptr<ZSTD_CCtx, ZstdFree> zstd_;  // null: Deflate literals
};

}  // namespace

std::optional<TiffCompression> tiffCompressionFromName(std::string_view name) {
  for (TiffCompression c : {TiffCompression::kNone, TiffCompression::kDeflate,
                            TiffCompression::kLzw, TiffCompression::kZstd})
    if (tiffCompressionName(c) == name) return c;
  return std::nullopt;
}

std::string_view tiffCompressionName(TiffCompression c) {
  switch (c) {
    case TiffCompression::kNone:
      return "none";
    case TiffCompression::kDeflate:
      return "deflate";
    case TiffCompression::kLzw:
      return "lzw";
    case TiffCompression::kZstd:
      return "zstd";
  }
  return "";
}

bool tiffCompressionAvailable(TiffCompression c) {
  return c == TiffCompression::kNone || TIFFIsCODECConfigured(codecTag(c)) != 0;
}

TiffLevelRange tiffLevelRange(TiffCompression c) {
  switch (c) {
    case TiffCompression::kDeflate:
      return {1, 9};
    case TiffCompression::kZstd:
      return {1, 19};
    case TiffCompression::kNone:
    case TiffCompression::kLzw:
      break;
  }
  return {};
}

std::uint32_t tiffRowsPerStrip(std::size_t rowBytes, std::uint32_t height) {
  const std::size_t rows =
      std::max<std::size_t>(1, kStripBytes / std::max<std::size_t>(1, rowBytes));
  return static_cast<std::uint32_t>(
      std::min<std::size_t>(rows, std::max<std::uint32_t>(1, height)));
}

void setTiffStripTags(TIFF *tif, const TiffStripLayout &layout) {
  TIFFSetField(tif, TIFFTAG_COMPRESSION, codecTag(layout.compression));
  // Differences between neighbours compress far better than the samples.
  if (layout.compression != TiffCompression::kNone)
    TIFFSetField(tif, TIFFTAG_PREDICTOR, PREDICTOR_HORIZONTAL);
  // Unless asked otherwise, both codecs run at their fastest. After the
  // predictor, Deflate's level 1 gives files within about 1 % of its default
  // level 6 (on a 24-megapixel 16-bit photograph: 97.2 MB against 96.1 MB) in
  // 60 % of the time, and literals alone 106.4 MB in a ninth of level 1's;
  // zstd's level 1 writes 107 MB in well under half of level 1's time, where
  // libtiff's default level 9 takes three times Deflate's for 91 MB. Deflate
  // without a level and zstd at any are coded here, not by libtiff, so their
  // tags below are only a note.
  const int level = layout.level > 0 ? layout.level : tiffLevelRange(layout.compression).lowest;
  if (layout.compression == TiffCompression::kDeflate) TIFFSetField(tif, TIFFTAG_ZIPQUALITY, level);
  if (layout.compression == TiffCompression::kZstd) TIFFSetField(tif, TIFFTAG_ZSTD_LEVEL, level);
  TIFFSetField(tif, TIFFTAG_ROWSPERSTRIP, layout.rowsPerStrip);
}

std::string writeTiffStrips(TIFF *tif, const TiffStripLayout &layout, const TiffRowPacker &pack,
                            int threads) {
  const std::size_t rowBytes =
      static_cast<std::size_t>(layout.width) * layout.samplesPerPixel * (layout.bitsPerSample / 8u);
  const std::uint32_t perStrip = std::max<std::uint32_t>(1, layout.rowsPerStrip);
  const std::uint32_t strips = (layout.height + perStrip - 1) / perStrip;
  const auto workers = static_cast<std::uint32_t>(std::clamp<int>(threads, 1, 64));
  // Strips are claimed one at a time and written in order as they come. No
  // strip is claimed more than `slots` ahead of the file, so memory stays a
  // few strips per thread whatever the picture's size; the file is written
  // while later strips are compressed, with no pause between groups of them.
  // A slot's buffer serves strip after strip: a strip's bytes are coded into
  // it and written from it, so its pages are faulted in once, a huge page at
  // a time for strips of a megabyte (recycled_blocks.h), not once a strip.
  // Strip s has slot s % slots to itself from its claim until it is written:
  // no strip is claimed before the one `slots` before it is written.
  const std::uint32_t slots = workers * 4;
  std::vector<hostemu::Samples> ring(slots);
  std::vector<char> ready(slots, 0);
  std::uint32_t claimed = 0;
  std::uint32_t written = 0;
  std::string error;
  std::mutex lock;
  std::condition_variable changed;

  // Compresses strip s with this thread's buffers; "" or what went wrong.
  struct Coder {
    std::vector<std::uint8_t> packed;
    std::optional<OwnStripCoder> own;
  };
  // Strips of about a megabyte fall just short of the blocks mapped on their
  // own; rounded up to one, a slot is faulted in as a single huge page. Such
  // a block holds a 2 MiB page for a strip's megabyte, so only the first
  // slots get one: with many threads the rest come from the heap.
  const std::uint32_t wholeBlockSlots =
      rowBytes * perStrip >= hostemu::kRecycledBlockMin / 2
          ? static_cast<std::uint32_t>(kWholeBlockSlotBytes / (2 * hostemu::kRecycledBlockMin))
          : 0;
  auto compress = [&](Coder &coder, std::uint32_t s, hostemu::Samples &out) {
    const std::uint32_t y0 = s * perStrip;
    const std::uint32_t rows = std::min(perStrip, layout.height - y0);
    std::string why;
    try {
      if (s % slots < wholeBlockSlots && out.capacity() < hostemu::kRecycledBlockMin)
        out.reserve(hostemu::kRecycledBlockMin);
      if (coder.own) {
        coder.own->strip(pack, y0, rows, out);
        return why;
      }
      if (layout.compression == TiffCompression::kNone) {
        out.resize(rowBytes * rows);
        for (std::uint32_t r = 0; r < rows; ++r) pack(y0 + r, out.data() + rowBytes * r);
        return why;
      }
      coder.packed.resize(rowBytes * rows);
      for (std::uint32_t r = 0; r < rows; ++r) pack(y0 + r, coder.packed.data() + rowBytes * r);
      const std::vector<std::uint8_t> coded = encodeStrip(layout, rows, coder.packed, why);
      out.assign(coded.begin(), coded.end());
    } catch (const std::exception &e) {
      why = e.what();
    }
    return why;
  };
  auto newCoder = [&] {
    Coder coder;
    if (layout.compression == TiffCompression::kDeflate && layout.level == 0)
      coder.own.emplace(layout, 0);
    if (layout.compression == TiffCompression::kZstd)
      coder.own.emplace(
          layout, layout.level > 0 ? layout.level : tiffLevelRange(layout.compression).lowest);
    return coder;
  };
  // Claims and compresses one strip, the lock held on entry and on return.
  auto compressNext = [&](Coder &coder, std::unique_lock<std::mutex> &hold) {
    const std::uint32_t s = claimed++;
    hold.unlock();
    const std::string why = compress(coder, s, ring[s % slots]);
    hold.lock();
    if (!why.empty()) {
      if (error.empty()) error = why;
    } else {
      ready[s % slots] = 1;
    }
    changed.notify_all();
  };
  auto mayClaim = [&] { return claimed < strips && claimed < written + slots; };

  auto worker = [&](Coder coder) {
    std::unique_lock<std::mutex> hold(lock);
    for (;;) {
      changed.wait(hold, [&] { return !error.empty() || claimed >= strips || mayClaim(); });
      if (!error.empty() || claimed >= strips) return;
      compressNext(coder, hold);
    }
  };
  // Every coder is made before any thread starts, so that one that cannot be
  // made leaves no thread behind.
  Coder coder = newCoder();
  std::vector<std::thread> pool;
  for (std::uint32_t w = 1; w < std::min(workers, std::max<std::uint32_t>(strips, 1)); ++w) {
    // Fewer threads than asked for (none to be had) still do every strip:
    // the writing thread compresses too whenever it has nothing to write.
    try {
      pool.emplace_back(worker, newCoder());
    } catch (const std::system_error &) {
      break;
    }
  }

  std::unique_lock<std::mutex> hold(lock);
  while (written < strips && error.empty()) {
    const std::uint32_t slot = written % slots;
    if (ready[slot] != 0) {
      hostemu::Samples &bytes = ring[slot];
      ready[slot] = 0;
      hold.unlock();
      const bool ok =
          TIFFWriteRawStrip(tif, written, bytes.data(), static_cast<tmsize_t>(bytes.size())) >= 0;
#if defined(__linux__)
      // Starts the disk on what is written so far without waiting for it, so
      // that the flush when the file is committed has less left to wait for.
      // Only a hint: a file system without it loses nothing.
      if (ok && (written + 1) % slots == 0 && TIFFFileno(tif) >= 0)
        (void)::sync_file_range(TIFFFileno(tif), 0, 0, SYNC_FILE_RANGE_WRITE);
#endif
      hold.lock();
      if (!ok && error.empty()) error = "cannot write a strip";
      ++written;
      changed.notify_all();
    } else if (mayClaim()) {
      compressNext(coder, hold);
    } else {
      changed.wait(hold);
    }
  }
  if (!error.empty()) changed.notify_all();
  hold.unlock();
  for (auto &t : pool) t.join();
  return error;
}

}  // namespace ortavel::cli
