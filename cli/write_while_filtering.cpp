#include "write_while_filtering.h"

#include <exception>
#include <system_error>
#include <thread>

namespace ortavel::cli {

void writeInto(const AtomicOutput &file, const Image &img, const RowFeed &rows, FileFormat format,
               const WriteOptions &opt) {
  try {
    writeImage(img, rows, format, file.temporaryPath(), opt);
  } catch (const CliError &e) {
    std::string text = e.what();
    const std::string temp = file.temporaryPath().string();
    const std::string target = file.target().string();
    for (auto at = text.find(temp); at != std::string::npos;
         at = text.find(temp, at + target.size()))
      text.replace(at, temp.size(), target);
    throw CliError(e.code(), text);
  }
}

void writeWhileFiltering(const AtomicOutput &file, const Image &img, FileFormat format,
                         const WriteOptions &opt,
                         const std::function<void(hostemu::FinishedRows &)> &run) {
  hostemu::FinishedRows finished(img.doc.height);
  // The writer sees no samples of `img`: those are the filter's input.
  const Image shape = withoutSamples(img);
  std::exception_ptr writeError;
  std::thread writer;
  try {
    writer = std::thread([&] {
      hostemu::FinishedRows::Reader reading(finished);
      try {
        writeInto(file, shape, FilterOutputRows(finished), format, opt);
      } catch (...) {
        writeError = std::current_exception();
      }
    });
  } catch (const std::system_error &) {
    // No thread to be had: the rows are written after the run.
    run(finished);
    writeInto(file, img, ImageRows(img), format, opt);
    return;
  }
  try {
    run(finished);
  } catch (...) {
    finished.withdraw();
    writer.join();
    throw;
  }
  // A run that returned committed, and so told every row final, unless it
  // took its rows back: then this wakes nobody.
  finished.withdraw();
  writer.join();
  if (finished.withdrawn()) {
    writeInto(file, img, ImageRows(img), format, opt);
    return;
  }
  if (writeError) std::rethrow_exception(writeError);
}

}  // namespace ortavel::cli
