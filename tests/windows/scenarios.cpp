// ortavel-scenarios: runs the filter's end-to-end scenarios on one module in
// the emulated host and writes what each produced, so that the same program
// built for Linux and for Windows can show that the two modules behave alike.
//
//   ortavel-scenarios MODULE OUTDIR EXIF_JPEG
//
// For each scenario NAME it writes OUTDIR/NAME.txt (result codes, alerts,
// tiles, progress, the descriptor written back and whatever the automation
// step's buffers received) and, where a document comes out, OUTDIR/NAME.doc
// (every plane's samples as the host holds them). Nothing in either file
// depends on addresses or the platform, so the outputs of the two builds
// must be identical byte for byte. Exit status 0 when every scenario ran
// (whatever result codes the filter gave), 2 when the module cannot be
// loaded or a file cannot be written.
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <exception>
#include <filesystem>
#include <fstream>
#include <iostream>
#include <iterator>
#include <optional>
#include <sstream>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

#include "emulator/fourcc.h"
#include "emulator/host.h"
#include "emulator/plugin.h"
#include "run/preview_buffer.h"

namespace {

using hostemu::fourCC;

// A smooth pattern with edges in it, different in every plane, at any depth:
// 8-bit 0..255, 16-bit on the host's 0..32768 scale, 32-bit as floats 0..1.
// Three planes (RGB) or one (greyscale).
hostemu::Document MakeDocument(int width, int height, int depth, int planes = 3) {
  hostemu::Document doc;
  doc.width = width;
  doc.height = height;
  doc.depth = depth;
  if (planes == 1) {
    doc.imageMode = depth == 8 ? 1 : (depth == 16 ? 10 : 17);  // GrayScale, Gray16, Gray32
  } else {
    doc.imageMode = depth == 8 ? 3 : (depth == 16 ? 11 : 16);  // RGB, RGB48, RGB96
  }
  doc.planes.resize(static_cast<std::size_t>(planes));
  const int bps = depth / 8;
  for (int p = 0; p < planes; ++p) {
    auto &s = doc.planes[static_cast<std::size_t>(p)].samples;
    s.assign(doc.planeBytes(), 0);
    for (int y = 0; y < height; ++y) {
      for (int x = 0; x < width; ++x) {
        const int t = (x * 7 + y * 3 + p * 61) % 256 + ((x / 16 + y / 16) % 2) * 40;
        const double unit = (t % 256) / 255.0;
        const std::size_t at = (static_cast<std::size_t>(y) * width + x) * bps;
        if (bps == 1) {
          s[at] = static_cast<std::uint8_t>(t % 256);
        } else if (bps == 2) {
          const auto v = static_cast<std::uint16_t>(unit * 32768.0 + 0.5);
          std::memcpy(&s[at], &v, 2);
        } else {
          const auto v = static_cast<float>(unit);
          std::memcpy(&s[at], &v, 4);
        }
      }
    }
  }
  return doc;
}

std::string addressText(const void *address) {
  char text[64];
  std::snprintf(text, sizeof text, "%p", address);
  return text;
}

// The lens settings every correcting scenario passes: a clear barrel with an
// off-centre optical axis and a zoom, so every kernel tap matters.
void putLens(hostemu::Descriptor &d, const char *method) {
  d.putFloat(fourCC("paK1"), -0.18)
      .putFloat(fourCC("paK2"), 0.04)
      .putFloat(fourCC("paXC"), 0.05)
      .putFloat(fourCC("paYC"), -0.03)
      .putFloat(fourCC("paFR"), 0.0)
      .putFloat(fourCC("scaF"), 0.92)
      .putEnumerated(fourCC("intM"), fourCC("intT"), fourCC(method));
}

class Scenarios {
 public:
  Scenarios(std::filesystem::path module, std::filesystem::path out, std::vector<std::uint8_t> exif)
      : module_(std::move(module)), out_(std::move(out)), exif_(std::move(exif)) {}

  void runAll() {
    about();
    run("bare", MakeDocument(96, 64, 8), nullptr, {});
    {
      hostemu::Descriptor d;
      putLens(d, "la08");
      d.putEnumerated(fourCC("orIM"), fourCC("orIT"), fourCC("orRN"));
      run("scripted_8bit", MakeDocument(203, 141, 8), &d, {});
    }
    {
      hostemu::Descriptor d;
      putLens(d, "la06");
      run("scripted_16bit", MakeDocument(160, 120, 16), &d, {});
    }
    {
      // Several of the kernels' tiles across and down, each edge a partial one.
      hostemu::Descriptor d;
      putLens(d, "biCu");
      run("scripted_16bit_bicubic", MakeDocument(301, 157, 16), &d, {});
    }
    {
      // Greyscale pictures are filtered from planes of their own.
      hostemu::Descriptor d;
      putLens(d, "biCu");
      run("grey_8bit_bicubic", MakeDocument(203, 141, 8, 1), &d, {});
    }
    {
      hostemu::Descriptor d;
      putLens(d, "la08");
      run("grey_16bit_lanczos", MakeDocument(233, 149, 16, 1), &d, {});
    }
    {
      hostemu::Descriptor d;
      putLens(d, "biCu");
      run("scripted_32bit", MakeDocument(90, 70, 32), &d, {});
    }
    {
      // Margins: the canvas grown by the automation step, picture top-left.
      hostemu::Descriptor d;
      putLens(d, "biLi");
      d.putInteger(fourCC("caTo"), 6).putInteger(fourCC("caBo"), 10);
      d.putInteger(fourCC("caLe"), 8).putInteger(fourCC("caRi"), 4);
      run("margins", MakeDocument(130, 90, 8), &d, {});
    }
    {
      hostemu::Descriptor d;
      putLens(d, "la12");
      hostemu::HostOptions options;
      options.abortAfterTiles = 2;
      run("abort", MakeDocument(150, 100, 8), &d, options);
    }
    recordAndPlay();
    exifRequest();
    previews();
  }

 private:
  static hostemu::HostOptions withTiles(hostemu::HostOptions options) {
    // Small tiles: many tiles, several bands per tile for the pool.
    options.inTileWidth = options.inTileHeight = 64;
    options.outTileWidth = options.outTileHeight = 48;
    return options;
  }

  void about() {
    hostemu::Plugin plugin(module_);
    hostemu::Document doc = MakeDocument(8, 8, 8);
    hostemu::Host host(plugin, doc, withTiles({}));
    std::ostringstream t;
    t << "about result " << host.about() << "\n";
    alerts(t, host);
    write("about.txt", t.str());
  }

  void run(const std::string &name, hostemu::Document doc, const hostemu::Descriptor *d,
           const hostemu::HostOptions &options, const std::string &extra = {}) {
    hostemu::Plugin plugin(module_);
    hostemu::Host host(plugin, doc, withTiles(options));
    const hostemu::RunResult r = host.runFilter(d);
    std::ostringstream t;
    summary(t, host, r);
    t << extra;
    write(name + ".txt", t.str());
    writeDocument(name + ".doc", host.workingDocument());
  }

  // What a host does with an action: records the descriptor the filter
  // writes back, then plays it on the same picture, the filter silent.
  void recordAndPlay() {
    const hostemu::Document original = MakeDocument(120, 80, 8);
    hostemu::Descriptor d;
    putLens(d, "la08");
    hostemu::Document recorded = original;
    std::optional<hostemu::Descriptor> action;
    {
      hostemu::Plugin plugin(module_);
      hostemu::Host host(plugin, recorded, withTiles({}));
      const hostemu::RunResult r = host.runFilter(d);
      std::ostringstream t;
      summary(t, host, r);
      t << "differs from the original "
        << (host.workingDocument().planes[0].samples != original.planes[0].samples ? "yes" : "no")
        << "\n";
      write("recorded.txt", t.str());
      writeDocument("recorded.doc", host.workingDocument());
      action = r.descriptorOut;
    }
    if (!action) throw std::runtime_error("the filter wrote no descriptor to record");
    hostemu::Document played = original;
    hostemu::Plugin plugin(module_);
    hostemu::HostOptions options;
    options.playInfo = 2;  // played back without dialogs
    hostemu::Host host(plugin, played, withTiles(options));
    const hostemu::RunResult r = host.runFilter(*action);
    std::ostringstream t;
    summary(t, host, r);
    write("played.txt", t.str());
    writeDocument("played.doc", host.workingDocument());
  }

  void exifRequest() {
    char make[256], model[256];
    std::memset(make, '#', sizeof make);
    std::memset(model, '#', sizeof model);
    double focal = -1.0;
    hostemu::Descriptor d;
    d.putString(fourCC("exMa"), addressText(make))
        .putString(fourCC("exMo"), addressText(model))
        .putString(fourCC("exFo"), addressText(&focal));
    hostemu::Document doc = MakeDocument(40, 30, 8);
    doc.exif = exif_;
    hostemu::Plugin plugin(module_);
    hostemu::Host host(plugin, doc, withTiles({}));
    const hostemu::RunResult r = host.runFilter(d);
    std::ostringstream t;
    summary(t, host, r);
    make[255] = model[255] = '\0';
    char focalText[64];
    std::snprintf(focalText, sizeof focalText, "%.17g", focal);
    t << "make \"" << make << "\"\nmodel \"" << model << "\"\nfocal " << focalText << "\n";
    write("exif.txt", t.str());
    writeDocument("exif.doc", host.workingDocument());
  }

  void previews() {
    // Both previews at once, smaller than the document, rows padded.
    constexpr int kW = 80, kH = 60, kRow = kW * 3 + 7;
    std::vector<std::uint8_t> corrected(static_cast<std::size_t>(kH) * kRow, 0xAB);
    std::vector<std::uint8_t> source(corrected.size(), 0xAB);
    PreviewBuffer co{1, kW, kH, kRow, corrected.data()};
    PreviewBuffer un{1, kW, kH, kRow, source.data()};
    hostemu::Descriptor d;
    putLens(d, "biCu");
    d.putString(fourCC("prCo"), addressText(&co)).putString(fourCC("prUn"), addressText(&un));
    hostemu::Document doc = MakeDocument(240, 180, 8);
    hostemu::Plugin plugin(module_);
    hostemu::Host host(plugin, doc, withTiles({}));
    const hostemu::RunResult r = host.runFilter(d);
    std::ostringstream t;
    summary(t, host, r);
    t << "pending " << int{co.pending} << " " << int{un.pending} << "\n";
    write("previews.txt", t.str());
    write("preview_corrected.rgb", std::string(corrected.begin(), corrected.end()));
    write("preview_uncorrected.rgb", std::string(source.begin(), source.end()));
    writeDocument("previews.doc", host.workingDocument());
  }

  static void alerts(std::ostream &t, const hostemu::Host &host) {
    for (const auto &e : host.log().entries()) {
      if (e.kind == hostemu::LogKind::Alert) {
        t << "alert \"" << e.field("title") << "\" \"" << e.field("text") << "\"\n";
      }
    }
  }

  static void summary(std::ostream &t, const hostemu::Host &host, const hostemu::RunResult &r) {
    t << "result " << r.result << " (selector " << r.failedSelector << ")\n";
    t << "calls";
    for (const auto &c : r.calls) t << " " << c.selector << ":" << c.result;
    t << "\ntiles " << r.tiles << "\ndocument changed " << r.documentChanged << "\n";
    t << "progress reports " << host.log().count(hostemu::LogKind::Progress) << "\n";
    alerts(t, host);
    if (r.descriptorOut) t << "descriptor out\n" << r.descriptorOut->text();
    for (const auto &leak : host.leaks()) {
      t << "leaked " << leak.size << " bytes, made by " << leak.creator << "\n";
    }
  }

  void writeDocument(const std::string &name, const hostemu::Document &doc) {
    std::string bytes;
    for (const auto &plane : doc.planes) bytes.append(plane.samples.begin(), plane.samples.end());
    write(name, bytes);
  }

  void write(const std::string &name, const std::string &bytes) {
    std::ofstream f(out_ / name, std::ios::binary);
    f.write(bytes.data(), static_cast<std::streamsize>(bytes.size()));
    if (!f) throw std::runtime_error("cannot write " + (out_ / name).string());
  }

  std::filesystem::path module_;
  std::filesystem::path out_;
  std::vector<std::uint8_t> exif_;
};

}  // namespace

int main(int argc, char **argv) {
  if (argc != 4) {
    std::cerr << "usage: ortavel-scenarios MODULE OUTDIR EXIF_JPEG\n";
    return 2;
  }
  try {
    std::ifstream f(argv[3], std::ios::binary);
    if (!f) throw std::runtime_error(std::string("cannot open ") + argv[3]);
    std::vector<std::uint8_t> exif((std::istreambuf_iterator<char>(f)), {});
    std::filesystem::create_directories(argv[2]);
    Scenarios(argv[1], argv[2], std::move(exif)).runAll();
    return 0;
  } catch (const std::exception &e) {
    std::cerr << "ortavel-scenarios: " << e.what() << "\n";
    return 2;
  }
}
