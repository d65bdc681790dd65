// ortavel-host: loads a filter module, runs one invocation on a generated or
// raw document, and prints what the filter did. With --automation, an
// automation plug-in is run instead ("Reload", "Startup", "Do It",
// "Shutdown", "Unload"), and MODULE is the filter it may play.
//
//   ortavel-host MODULE [options]
//     --size WxH          generated document size (default 64x48)
//     --depth 8|16|32     bits per sample (default 8)
//     --planes N          planes (default 3)
//     --mode M            host image mode number (default 3, RGB)
//     --raw FILE          read the document from FILE: interleaved samples,
//                         rows top to bottom, native byte order (a regular
//                         file of exactly the size the document needs)
//     --out FILE          write the resulting document the same way
//     --tile N            input and output tile size (default 512)
//     --small-coords      a host without big-document support
//     --no-basic-suite    no basic suite
//     --no-descriptor     no descriptor procs at all
//     --play N            playInfo
//     --parameters        call the parameters selector first
//     --about             call the about selector first
//     --describe          print what the module's PiPL and terminology say (the
//                         automation module's with --automation) and run nothing
//     --abort-after N     abort after N output tiles
//     --time              print the invocation's wall-clock time to standard
//                         error (the program's own start-up left out: under
//                         Wine that is most of a short run)
//     --float KEY=V | --int KEY=V | --enum KEY=TYPE:VALUE | --string KEY=TEXT | --bool KEY=0|1
//                         put an item into the descriptor handed to the filter
//                         (to the automation plug-in with --automation)
//     --exif FILE         the document's EXIF property: the bytes of FILE (a
//                         TIFF-structured EXIF block, or a JPEG file holding one)
//     --resolution DPI    the document's resolution (default 72)
//   Automation plug-ins:
//     --automation STEP   run the automation module STEP with MODULE as its filter
//     --descriptor FILE   replay: hand "Do It" the descriptor saved in FILE
//     --save-descriptor FILE
//                         save the descriptor the step returns for recording
//                         (refuses an existing FILE unless --force)
//     --title TEXT        the document's title (default Untitled-1)
//     --no-document       no document is open
//     --play N            "Do It"'s playInfo (default 1, or 0 with --descriptor)
#ifdef _WIN32
#ifndef NOMINMAX
#define NOMINMAX
#endif
#include <windows.h>
#else
#include <unistd.h>
#endif

#include <chrono>
#include <cmath>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <iostream>
#include <iterator>
#include <optional>
#include <string>
#include <vector>

#include "emulator/automation/automation_host.h"
#include "emulator/host.h"

namespace {

using hostemu::fourCC;

[[noreturn]] void usage(const std::string &why, int status = 2) {
  (status == 0 ? std::cout : std::cerr)
      << "ortavel-host: " << why << "\n"
      << "usage: ortavel-host MODULE [--size WxH] [--depth 8|16|32] [--planes N] [--mode M]\n"
      << "       [--raw FILE] [--out FILE] [--tile N] [--small-coords] [--no-basic-suite]\n"
      << "       [--no-descriptor] [--play N] [--parameters] [--about] [--abort-after N] [--time]\n"
      << "       [--float KEY=V] [--int KEY=V] [--enum KEY=TYPE:VALUE] [--string KEY=TEXT]\n"
      << "       [--bool KEY=0|1] [--describe] [--exif FILE] [--resolution DPI]\n"
      << "       [--automation STEP [--descriptor FILE] [--save-descriptor FILE [--force]]\n"
      << "        [--title TEXT] [--no-document]]\n";
  std::exit(status);
}

std::pair<std::uint32_t, std::string> keyValue(const std::string &arg) {
  const auto eq = arg.find('=');
  if (eq != 4) usage("descriptor items are KEY=VALUE with a four-character key: " + arg);
  return {fourCC(arg.substr(0, 4)), arg.substr(5)};
}

// A smooth pattern with some structure, so that a filter's effect shows.
void generate(hostemu::Document &doc) {
  const std::int32_t bps = doc.bytesPerSample();
  for (std::size_t p = 0; p < doc.planes.size(); ++p) {
    auto &s = doc.planes[p].samples;
    s.assign(doc.planeBytes(), 0);
    for (std::int32_t y = 0; y < doc.height; ++y) {
      for (std::int32_t x = 0; x < doc.width; ++x) {
        const double t = ((x + 2 * y + 37 * static_cast<int>(p)) % 256) / 255.0;
        const std::size_t at = (static_cast<std::size_t>(y) * doc.width + x) * bps;
        if (bps == 1) {
          s[at] = static_cast<std::uint8_t>(std::lround(t * 255.0));
        } else if (bps == 2) {
          const auto v = static_cast<std::uint16_t>(std::lround(t * 32768.0));
          std::memcpy(&s[at], &v, 2);
        } else {
          const auto v = static_cast<float>(t);
          std::memcpy(&s[at], &v, 4);
        }
      }
    }
  }
}

// The document must fit: at most a gigapixel, at most kMaxPlanes planes,
// and its samples within half the machine's memory.
constexpr std::uint64_t kMaxPixels = 1'000'000'000;
constexpr int kMaxPlanes = 64;

std::uint64_t memoryBudget() {
#ifdef _WIN32
  MEMORYSTATUSEX m{};
  m.dwLength = sizeof m;
  if (!GlobalMemoryStatusEx(&m)) return std::uint64_t{1} << 39;
  return m.ullTotalPhys / 2;
#else
  const long pages = ::sysconf(_SC_PHYS_PAGES);
  const long size = ::sysconf(_SC_PAGESIZE);
  if (pages <= 0 || size <= 0) return std::uint64_t{1} << 39;
  return static_cast<std::uint64_t>(pages) * static_cast<std::uint64_t>(size) / 2;
#endif
}

void checkBounds(const hostemu::Document &doc, int planes) {
  if (doc.width < 1 || doc.height < 1) usage("--size needs a width and a height of 1 or more");
  if (doc.depth != 8 && doc.depth != 16 && doc.depth != 32) usage("--depth takes 8, 16 or 32");
  if (planes < 1 || planes > kMaxPlanes) {
    usage("--planes takes 1 to " + std::to_string(kMaxPlanes) + ", not " + std::to_string(planes));
  }
  const std::uint64_t pixels =
      static_cast<std::uint64_t>(doc.width) * static_cast<std::uint64_t>(doc.height);
  if (pixels > kMaxPixels) {
    usage(std::to_string(doc.width) + "x" + std::to_string(doc.height) +
          " is more than the limit of " + std::to_string(kMaxPixels) + " pixels");
  }
  const std::uint64_t bytes = pixels * static_cast<std::uint64_t>(planes) *
                              static_cast<std::uint64_t>(doc.bytesPerSample());
  if (bytes > memoryBudget()) {
    usage("the document would take " + std::to_string(bytes) +
          " bytes, more than this machine's memory allows");
  }
}

// Reads row by row into the planes, after checking that the file is a
// regular file of exactly the size the document needs: a pipe or a device
// is refused before any read (it would block or never end).
void readRaw(hostemu::Document &doc, const std::string &path) {
  std::error_code ec;
  const auto st = std::filesystem::status(path, ec);
  if (ec || !std::filesystem::exists(st)) usage("cannot open " + path);
  if (!std::filesystem::is_regular_file(st)) {
    usage(path + " is not a regular file (a pipe or a device is not read)");
  }
  const std::uint64_t size = std::filesystem::file_size(path, ec);
  const std::size_t bps = static_cast<std::size_t>(doc.bytesPerSample());
  const std::size_t n = doc.planes.size();
  const std::uint64_t need = static_cast<std::uint64_t>(doc.planeBytes()) * n;
  if (ec || size != need) {
    usage(path + " holds " + std::to_string(size) +
          " bytes; the size, depth and planes given need " + std::to_string(need));
  }
  std::ifstream f(path, std::ios::binary);
  if (!f) usage("cannot open " + path);
  const std::size_t w = static_cast<std::size_t>(doc.width);
  std::vector<char> row(w * n * bps);
  for (std::size_t p = 0; p < n; ++p) doc.planes[p].samples.reserve(doc.planeBytes());
  for (std::int32_t y = 0; y < doc.height; ++y) {
    if (!f.read(row.data(), static_cast<std::streamsize>(row.size()))) {
      usage("cannot read " + path + ": it ended early or failed");
    }
    for (std::size_t p = 0; p < n; ++p) {
      auto &s = doc.planes[p].samples;
      const std::size_t at = s.size();
      s.resize(at + w * bps);
      for (std::size_t x = 0; x < w; ++x)
        std::memcpy(&s[at + x * bps], &row[(x * n + p) * bps], bps);
    }
  }
}

void writeRaw(const hostemu::Document &doc, const std::string &path) {
  const std::size_t bps = static_cast<std::size_t>(doc.bytesPerSample());
  const std::size_t n = doc.planes.size();
  std::vector<std::uint8_t> bytes(doc.planeBytes() * n);
  const std::size_t pixels = doc.planeBytes() / bps;
  for (std::size_t i = 0; i < pixels; ++i) {
    for (std::size_t p = 0; p < n; ++p) {
      std::memcpy(&bytes[(i * n + p) * bps], &doc.planes[p].samples[i * bps], bps);
    }
  }
  std::ofstream f(path, std::ios::binary);
  f.write(reinterpret_cast<const char *>(bytes.data()), static_cast<std::streamsize>(bytes.size()));
  if (!f) usage("cannot write " + path);
}

std::vector<std::uint8_t> readFile(const std::string &path) {
  std::ifstream f(path, std::ios::binary);
  if (!f) usage("cannot open " + path);
  return {std::istreambuf_iterator<char>(f), {}};
}

// Written beside the target first and renamed over it, so a failed write
// never leaves half a file; an existing file only with --force.
void writeFileAtomically(const std::string &path, const std::vector<std::uint8_t> &bytes,
                         bool force) {
  namespace fs = std::filesystem;
  if (fs::exists(path) && !force) {
    throw std::runtime_error(path + " exists; give --force to replace it");
  }
  const std::string temporary = path + ".partial";
  {
    std::ofstream f(temporary, std::ios::binary | std::ios::trunc);
    f.write(reinterpret_cast<const char *>(bytes.data()),
            static_cast<std::streamsize>(bytes.size()));
    if (!f) throw std::runtime_error("cannot write " + temporary);
  }
  fs::rename(temporary, path);
}

struct AutomationRequest {
  std::string module;
  std::string descriptorFile;
  std::string saveFile;
  bool force = false;
  hostemu::AutomationOptions options;
  std::optional<std::int32_t> playInfo;
};

int runAutomation(hostemu::Plugin &filter, hostemu::Document &doc, AutomationRequest &request,
                  const hostemu::Descriptor *items, const hostemu::HostOptions &filterOptions) {
  hostemu::Plugin step(request.module, hostemu::ModuleKind::Automation);
  std::optional<hostemu::ActionDescriptor> in;
  if (!request.descriptorFile.empty()) {
    const auto bytes = readFile(request.descriptorFile);
    in = hostemu::fromFilterDescriptor(hostemu::Descriptor::deserialize(bytes));
  } else if (items != nullptr) {
    in = hostemu::fromFilterDescriptor(*items);
  }
  request.options.playInfo = request.playInfo.value_or(
      request.descriptorFile.empty() ? plugInDialogDisplay : plugInDialogDontDisplay);
  request.options.filterOptions = filterOptions;
  hostemu::AutomationHost host(step, {&filter}, doc, request.options);
  host.log().setListener([](const hostemu::LogEntry &e) { std::cout << e.text() << "\n"; });
  std::int32_t result = host.start();
  hostemu::DoItResult r;
  if (result == 0) {
    r = host.doIt(in ? &*in : nullptr);
    result = r.result;
  }
  host.stop();
  std::cout << "result: " << result << "\n";
  if (r.descriptor) {
    std::cout << "descriptor out (recordInfo " << r.recordInfo << "):\n" << r.descriptor->text();
  }
  if (!request.saveFile.empty()) {
    if (!r.descriptorForFile) {
      std::cerr << "ortavel-host: the step returned no descriptor to save\n";
      return 1;
    }
    writeFileAtomically(request.saveFile, r.descriptorForFile->serialize(), request.force);
  }
  return result == 0 ? 0 : 1;
}

}  // namespace

int main(int argc, char **argv) {
  if (argc < 2) usage("no filter module given");
  if (std::strcmp(argv[1], "--help") == 0 || std::strcmp(argv[1], "-h") == 0) {
    usage("runs one invocation of the filter module MODULE in the emulated host, prints its log",
          0);
  }
  const std::string module = argv[1];
  hostemu::Document doc;
  doc.width = 64;
  doc.height = 48;
  int planes = 3;
  std::string raw, out;
  bool callAbout = false, withParameters = false, describeOnly = false, timed = false;
  hostemu::HostOptions options;
  hostemu::Descriptor descriptor;
  bool haveDescriptor = false;
  AutomationRequest automation;
  std::string exifFile;

  for (int i = 2; i < argc; ++i) {
    const std::string a = argv[i];
    auto next = [&]() -> std::string {
      if (i + 1 >= argc) usage(a + " needs a value");
      return argv[++i];
    };
    try {
      if (a == "--size") {
        const std::string v = next();
        const auto x = v.find('x');
        if (x == std::string::npos) usage("--size takes WxH");
        doc.width = std::stoi(v.substr(0, x));
        doc.height = std::stoi(v.substr(x + 1));
      } else if (a == "--depth") {
        doc.depth = std::stoi(next());
      } else if (a == "--planes") {
        planes = std::stoi(next());
      } else if (a == "--mode") {
        doc.imageMode = static_cast<std::int16_t>(std::stoi(next()));
      } else if (a == "--raw") {
        raw = next();
      } else if (a == "--out") {
        out = next();
      } else if (a == "--tile") {
        const auto t = static_cast<std::int16_t>(std::stoi(next()));
        options.inTileWidth = options.inTileHeight = options.outTileWidth = options.outTileHeight =
            t;
      } else if (a == "--small-coords") {
        options.bigDocument = false;
      } else if (a == "--no-basic-suite") {
        options.basicSuite = false;
      } else if (a == "--no-descriptor") {
        options.descriptorParameters = false;
      } else if (a == "--play") {
        options.playInfo = static_cast<std::int16_t>(std::stoi(next()));
        automation.playInfo = *options.playInfo;
      } else if (a == "--automation") {
        automation.module = next();
      } else if (a == "--descriptor") {
        automation.descriptorFile = next();
      } else if (a == "--save-descriptor") {
        automation.saveFile = next();
      } else if (a == "--force") {
        automation.force = true;
      } else if (a == "--title") {
        automation.options.title = next();
      } else if (a == "--no-document") {
        automation.options.documentOpen = false;
      } else if (a == "--exif") {
        exifFile = next();
      } else if (a == "--resolution") {
        doc.resolutionDpi = std::stoi(next());
      } else if (a == "--parameters") {
        withParameters = true;
      } else if (a == "--time") {
        timed = true;
      } else if (a == "--about") {
        callAbout = true;
      } else if (a == "--describe") {
        describeOnly = true;
      } else if (a == "--abort-after") {
        options.abortAfterTiles = std::stoi(next());
      } else if (a == "--float") {
        auto [k, v] = keyValue(next());
        descriptor.putFloat(k, std::stod(v));
        haveDescriptor = true;
      } else if (a == "--int") {
        auto [k, v] = keyValue(next());
        descriptor.putInteger(k, std::stoi(v));
        haveDescriptor = true;
      } else if (a == "--bool") {
        auto [k, v] = keyValue(next());
        descriptor.putBoolean(k, v == "1" || v == "true");
        haveDescriptor = true;
      } else if (a == "--enum") {
        auto [k, v] = keyValue(next());
        if (v.size() != 9 || v[4] != ':')
          usage("--enum takes KEY=TYPE:VALUE, four characters each");
        descriptor.putEnumerated(k, fourCC(v.substr(0, 4)), fourCC(v.substr(5)));
        haveDescriptor = true;
      } else if (a == "--string") {
        auto [k, v] = keyValue(next());
        descriptor.putString(k, v);
        haveDescriptor = true;
      } else {
        usage("unknown option " + a);
      }
    } catch (const std::logic_error &) {
      usage("bad value for " + a);
    }
  }
  checkBounds(doc, planes);
  doc.planes.resize(static_cast<std::size_t>(planes));

  try {
    if (raw.empty()) {
      generate(doc);
    } else {
      readRaw(doc, raw);
    }
    if (!exifFile.empty()) doc.exif = readFile(exifFile);
    hostemu::Plugin plugin(module);
    if (!automation.module.empty() && describeOnly) {
      hostemu::Plugin step(automation.module, hostemu::ModuleKind::Automation);
      std::cout << hostemu::describe(*step.pipl(), step.aete());
      return 0;
    }
    if (!automation.module.empty()) {
      if (automation.playInfo) options.playInfo.reset();  // --play is the step's then
      const int status =
          runAutomation(plugin, doc, automation, haveDescriptor ? &descriptor : nullptr, options);
      if (!out.empty()) writeRaw(doc, out);
      return status;
    }
    if (describeOnly) {
      if (plugin.pipl() == nullptr) {
        std::cerr << "ortavel-host: the module has no PiPL (on Linux: no MODULE.pipl beside it); "
                     "nothing to describe\n";
        return 2;
      }
      std::cout << hostemu::describe(*plugin.pipl(), plugin.aete());
      return 0;
    }
    hostemu::Host host(plugin, doc, options);
    if (callAbout) host.about();
    const auto started = std::chrono::steady_clock::now();
    const auto r = host.runFilter(haveDescriptor ? &descriptor : nullptr, withParameters);
    if (timed) {
      const std::chrono::duration<double, std::milli> took =
          std::chrono::steady_clock::now() - started;
      std::cerr << "time: invocation " << took.count() << " ms\n";
    }
    std::cout << host.log().print();
    std::cout << "result: " << r.result << "\n";
    if (r.descriptorOut) std::cout << "descriptor out:\n" << r.descriptorOut->text();
    for (const auto &leak : host.leaks()) {
      std::cout << "leaked handle " << leak.id << ": " << leak.size << " bytes, made by "
                << leak.creator << "\n";
    }
    if (!out.empty()) writeRaw(doc, out);
    return r.result == 0 ? 0 : 1;
  } catch (const std::exception &e) {
    std::cerr << "ortavel-host: " << e.what() << "\n";
    return 2;
  }
}
