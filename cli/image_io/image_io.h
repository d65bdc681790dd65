// Reading and writing image files: JPEG, PNG and TIFF, 8 or 16 bits per
// channel, greyscale, RGB and (TIFF, JPEG) CMYK, alpha as extra planes, with
// EXIF, ICC profile and resolution carried along.
#pragma once

#include <filesystem>
#include <optional>

#include "image_io/codec.h"
#include "image_io/image.h"

namespace ortavel::cli {

// Reads any supported file, recognised by its first bytes, not its name.
// Throws CliError (bad input) with a one-line message naming the file.
// Pipes, devices and other files that are not regular files are refused
// before anything is read; pictures over `limits` before they are decoded.
Image readImage(const std::filesystem::path &path, const ReadLimits &limits = {});

// The format of a file by its first bytes; throws CliError (bad input) as
// readImage does for a file that is none of the three.
FileFormat sniffFormat(const std::filesystem::path &path);

// The size of the picture in a file, from its header alone; nullopt when the
// file is not one the readers take (reading it will say why).
std::optional<ImageShape> peekImage(const std::filesystem::path &path);

// The format an output name asks for: .jpg/.jpeg, .png, .tif/.tiff (any case).
std::optional<FileFormat> formatForName(const std::filesystem::path &path);

// Throws CliError (usage) when `format` cannot hold the image as it is.
void checkWritable(const Image &img, FileFormat format, const std::filesystem::path &path);

// Writes the whole file at `path` (normally a temporary name; see AtomicOutput).
void writeImage(const Image &img, FileFormat format, const std::filesystem::path &path,
                const WriteOptions &opt);
// The same with the samples from `rows`: `img` need hold only the size,
// colour and metadata. Throws RowsWithdrawn when the rows never come.
void writeImage(const Image &img, const RowFeed &rows, FileFormat format,
                const std::filesystem::path &path, const WriteOptions &opt);

}  // namespace ortavel::cli
