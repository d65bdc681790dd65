// What the command must never do: lose a file (overwrite an input, a
// picture or an existing settings file; leave half a preview set), hang (on
// a pipe or a device), take the memory a forged header asks for, or leave
// temporary files behind when a signal ends it. Files are crafted here,
// tiny; the command runs as a child whose peak memory is measured.
#include <fcntl.h>
#include <gtest/gtest.h>
#include <signal.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>
#include <zlib.h>

#include <atomic>
#include <chrono>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <regex>
#include <string>
#include <thread>
#include <vector>

#include "atomic_output.h"
#include "batch.h"
#include "exit_codes.h"
#include "image_io/image_io.h"
#include "interrupt.h"
#include "run_cli.h"

namespace fs = std::filesystem;
using namespace ortavel::cli;
using clitest::runCli;

namespace {

#if defined(__has_feature)
#if __has_feature(address_sanitizer) || __has_feature(thread_sanitizer)
#define ORTAVEL_SANITIZED 1
#endif
#endif
#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
#define ORTAVEL_SANITIZED 1
#endif

#ifdef ORTAVEL_SANITIZED
// Sanitizers reserve terabytes of address space: no data limit there.
constexpr rlim_t kDataLimit = RLIM_INFINITY;
#else
// Should a check be missing, the run fails for want of memory instead of
// taking the machine's.
constexpr rlim_t kDataLimit = rlim_t{3} << 30;
#endif
// What a refused file may cost at most, sanitizer overhead included; each
// file below would take 430 MB or more if its header were believed.
constexpr long kMaxRssKb = 250 * 1024;

using Bytes = std::vector<std::uint8_t>;

class Reliability : public ::testing::Test {
 protected:
  void SetUp() override {
    std::string t = (fs::temp_directory_path() / "ortavel-rel-XXXXXX").string();
    dir_ = ::mkdtemp(t.data());
  }
  void TearDown() override { fs::remove_all(dir_); }
  fs::path at(const std::string &name) const { return dir_ / name; }
  clitest::CliResult run(const std::vector<std::string> &args, clitest::RunOptions opt = {}) {
    if (opt.killAfterMs < 0) opt.killAfterMs = 120000;
    if (opt.dataLimit == RLIM_INFINITY) opt.dataLimit = kDataLimit;
    return runCli(args, dir_, opt);
  }
  std::vector<std::string> names(const fs::path &d) const {
    std::vector<std::string> out;
    for (const auto &e : fs::directory_iterator(d)) out.push_back(e.path().filename().string());
    std::sort(out.begin(), out.end());
    return out;
  }
  void save(const std::string &name, const Bytes &b) const {
    std::ofstream(at(name), std::ios::binary)
        .write(reinterpret_cast<const char *>(b.data()), static_cast<std::streamsize>(b.size()));
  }
  fs::path dir_;
};

// "p3.png" (built without string concatenation, which trips GCC 12's
// -Wrestrict in a loop).
std::string numbered(int i) {
  char n[24];
  std::snprintf(n, sizeof n, "p%d.png", i);
  return n;
}

Bytes bytesOf(const fs::path &p) {
  const std::string s = clitest::slurp(p);
  return Bytes(s.begin(), s.end());
}

Image picture(int w, int h) {
  Image img;
  img.colour = ColourModel::kRgb;
  allocatePlanes(img, w, h, 8, 3);
  for (int p = 0; p < 3; ++p)
    for (int i = 0; i < w * h; ++i)
      img.doc.planes[p].samples[i] = static_cast<std::uint8_t>((i * 7 + p * 40) % 251);
  return img;
}

void put16(Bytes &b, std::size_t at, std::uint32_t v) {
  b[at] = static_cast<std::uint8_t>(v >> 8);
  b[at + 1] = static_cast<std::uint8_t>(v);
}
void append32be(Bytes &b, std::uint32_t v) {
  for (int s = 24; s >= 0; s -= 8) b.push_back(static_cast<std::uint8_t>(v >> s));
}

// A real 16x16 JPEG whose frame header claims w x h, with `padding` bytes of
// comment segments, so its size need not give the lie away.
Bytes forgedJpeg(const fs::path &scratch, std::uint32_t w, std::uint32_t h,
                 std::size_t padding = 0) {
  writeImage(picture(16, 16), FileFormat::kJpeg, scratch, {});
  Bytes b = bytesOf(scratch);
  fs::remove(scratch);
  for (std::size_t i = 2; i + 9 < b.size(); ++i) {
    if (b[i] == 0xFF && b[i + 1] == 0xC0) {  // SOF0: length, precision, height, width
      put16(b, i + 5, h);
      put16(b, i + 7, w);
      break;
    }
  }
  Bytes pad;
  while (padding > 0) {
    const std::size_t n = std::min<std::size_t>(padding, 65533);
    pad.insert(pad.end(), {0xFF, 0xFE});
    pad.push_back(static_cast<std::uint8_t>((n + 2) >> 8));
    pad.push_back(static_cast<std::uint8_t>(n + 2));
    pad.insert(pad.end(), n, 'x');
    padding -= n;
  }
  b.insert(b.begin() + 2, pad.begin(), pad.end());
  return b;
}

void pngChunk(Bytes &out, const char *type, const Bytes &data) {
  append32be(out, static_cast<std::uint32_t>(data.size()));
  Bytes typed(type, type + 4);
  typed.insert(typed.end(), data.begin(), data.end());
  out.insert(out.end(), typed.begin(), typed.end());
  append32be(out, static_cast<std::uint32_t>(crc32(0, typed.data(), typed.size())));
}

// An RGB PNG claiming w x h whose image data holds `rows` rows, after a
// private chunk of `padding` bytes.
Bytes forgedPng(std::uint32_t w, std::uint32_t h, std::uint32_t rows, std::size_t padding) {
  Bytes out = {0x89, 'P', 'N', 'G', '\r', '\n', 0x1A, '\n'};
  Bytes ihdr;
  append32be(ihdr, w);
  append32be(ihdr, h);
  ihdr.insert(ihdr.end(), {8, 2, 0, 0, 0});
  pngChunk(out, "IHDR", ihdr);
  if (padding > 0) pngChunk(out, "prVt", Bytes(padding, 0));
  Bytes raw;
  for (std::uint32_t y = 0; y < rows; ++y) {
    raw.push_back(0);
    for (std::uint32_t x = 0; x < 3 * w; ++x) raw.push_back(static_cast<std::uint8_t>(x));
  }
  uLongf len = compressBound(raw.size());
  Bytes z(len);
  compress(z.data(), &len, raw.data(), raw.size());
  z.resize(len);
  pngChunk(out, "IDAT", z);
  pngChunk(out, "IEND", {});
  return out;
}

// A little-endian TIFF, uncompressed, one strip of 16 bytes of data, whose
// directory claims w x h pixels of `spp` 8-bit samples.
Bytes forgedTiff(std::uint32_t w, std::uint32_t h, std::uint16_t spp) {
  struct Entry {
    std::uint16_t tag, type;
    std::uint32_t count, value;
  };
  const std::uint32_t entries = 10, ifd = 8, data = ifd + 2 + entries * 12 + 4;
  const Entry e[entries] = {{256, 4, 1, w},  {257, 4, 1, h},    {258, 3, 1, 8},   {259, 3, 1, 1},
                            {262, 3, 1, 1},  {273, 4, 1, data}, {277, 3, 1, spp}, {278, 4, 1, h},
                            {279, 4, 1, 16}, {284, 3, 1, 1}};
  Bytes b = {'I', 'I', 42, 0, 8, 0, 0, 0};
  auto le = [&b](std::uint32_t v, int n) {
    for (int i = 0; i < n; ++i) b.push_back(static_cast<std::uint8_t>(v >> (8 * i)));
  };
  le(entries, 2);
  for (const Entry &x : e) {
    le(x.tag, 2);
    le(x.type, 2);
    le(x.count, 4);
    le(x.value, 4);
  }
  le(0, 4);
  b.insert(b.end(), 16, 0x80);
  return b;
}

// In a child: a temporary file in flight, then `signals` sent to itself.
// Returns the signal that ended the child (0 if none did).
int killedWhileWriting(const fs::path &dir, const std::vector<int> &signals) {
  const pid_t pid = ::fork();
  if (pid == 0) {
    const rlimit noCore{0, 0};
    ::setrlimit(RLIMIT_CORE, &noCore);
    installInterruptHandler();
    AtomicOutput out(dir / "picture.png", false);
    std::ofstream(out.temporaryPath()) << "half a picture";
    for (int s : signals) ::kill(::getpid(), s);
    ::_exit(0);  // survived: the test fails
  }
  int status = 0;
  ::waitpid(pid, &status, 0);
  return WIFSIGNALED(status) ? WTERMSIG(status) : 0;
}

}  // namespace

// ---- Data loss ------------------------------------------------------------

TEST_F(Reliability, TheSettingsFileIsGuardedLikeAnOutput) {
  writeImage(picture(24, 16), FileFormat::kPng, at("in.png"), {});
  const Bytes input = bytesOf(at("in.png"));
  std::ofstream(at("keep.txt")) << "k1 = 0.5\n";
  std::ofstream(at("taken.png")) << "precious";
  const std::string in = at("in.png").string(), out = at("out.png").string();
  struct Case {
    std::vector<std::string> args;
    const char *says;
  } cases[] = {
      {{"correct", in, out, "--save-settings", in, "--force"}, "input"},
      {{"correct", in, out, "--save-settings", out}, "picture output"},
      {{"correct", in, out, "--save-settings", (dir_ / "." / "out.png").string()},
       "picture output"},
      {{"correct", in, out, "--save-settings", at("keep.txt").string()}, "--force"},
      {{"correct", in, out, "--settings", at("keep.txt").string(), "--save-settings",
        at("keep.txt").string(), "--force"},
       "--settings"},
      {{"correct", in, out, "--save-settings", at("nodir/s.txt").string()}, "does not exist"},
      {{"correct", in, "-o", at("sub").string(), "--save-settings", at("sub/in.png").string()},
       "picture output"},
  };
  fs::create_directory(at("sub"));
  for (const auto &c : cases) {
    std::string line;
    for (const auto &a : c.args) line += a + " ";
    SCOPED_TRACE(line);
    const auto r = run(c.args);
    EXPECT_EQ(r.exitCode, 2) << r.err;
    EXPECT_NE(r.err.find(c.says), std::string::npos) << r.err;
    // Refused before any work: no picture either.
    EXPECT_FALSE(fs::exists(at("out.png")));
    EXPECT_TRUE(fs::is_empty(at("sub")));
  }
  EXPECT_EQ(bytesOf(at("in.png")), input);
  EXPECT_EQ(clitest::slurp(at("keep.txt")), "k1 = 0.5\n");
  EXPECT_EQ(clitest::slurp(at("taken.png")), "precious");

  // --force replaces an existing settings file (through a temporary file).
  const auto r = run(
      {"correct", in, out, "--k1", "0.25", "--save-settings", at("keep.txt").string(), "--force"});
  EXPECT_EQ(r.exitCode, 0) << r.err;
  EXPECT_NE(clitest::slurp(at("keep.txt")).find("k1 = 0.25"), std::string::npos);
  EXPECT_EQ(names(dir_),
            (std::vector<std::string>{"in.png", "keep.txt", "out.png", "sub", "taken.png"}));
}

TEST_F(Reliability, APreviewSetAppearsWholeOrNotAtAll) {
  writeImage(picture(200, 150), FileFormat::kPng, at("p.png"), {});
  fs::create_directory(at("full"));
  fs::create_directory(at("cut"));
  const std::vector<std::string> args = {
      "preview", at("p.png").string(), "--size", "160x120", "--k1", "-0.2", "--side-by-side", "-o"};
  auto withDir = [&](const char *d) {
    auto a = args;
    a.push_back(at(d).string());
    return a;
  };
  ASSERT_EQ(run(withDir("full")).exitCode, 0);
  const auto single = std::max(fs::file_size(at("full/p-uncorrected.png")),
                               fs::file_size(at("full/p-corrected.png")));
  const auto pair = fs::file_size(at("full/p-before-after.png"));
  ASSERT_LT(single, pair);
  // A disk that takes either preview but not the picture of both: none of
  // the three may appear.
  clitest::RunOptions opt;
  opt.fileSizeLimit = single + 1;
  const auto r = run(withDir("cut"), opt);
  EXPECT_EQ(r.exitCode, 4) << r.err;
  EXPECT_NE(r.err.find("p-before-after.png"), std::string::npos) << r.err;
  EXPECT_EQ(names(at("cut")), std::vector<std::string>{});
}

// ---- Memory and hangs -----------------------------------------------------

TEST_F(Reliability, ForgedHeadersAreRefusedBeforeTheyCostMemory) {
  struct Case {
    const char *name;
    Bytes bytes;
    const char *claim;  // empty: refused once the data runs out
  } cases[] = {
      {"jpeg20k.jpg", forgedJpeg(at("s.jpg"), 20000, 20000), "claims 20000 x 20000 pixels"},
      {"jpeg60k.jpg", forgedJpeg(at("s.jpg"), 60000, 60000), "claims 60000 x 60000 pixels"},
      {"png100k.png", forgedPng(100000, 100000, 0, 0), "claims 100000 x 100000 pixels"},
      {"tiff60k.tif", forgedTiff(60000, 60000, 1), "claims 60000 x 60000 pixels"},
      {"spp4000.tif", forgedTiff(1000, 1000, 4000), "claims 1000 x 1000 pixels"},
      // Sizes that the files' lengths could hold, with the data missing.
      {"short.jpg", forgedJpeg(at("s.jpg"), 12000, 12000, 300000), ""},
      {"short.png", forgedPng(12000, 12000, 2, 430000), ""},
  };
  for (const auto &c : cases) {
    SCOPED_TRACE(c.name);
    save(c.name, c.bytes);
    const auto r = run({"info", at(c.name).string()});
    EXPECT_EQ(r.exitCode, 3) << r.err;
    EXPECT_EQ(r.errLines(), 1) << r.err;
    EXPECT_NE(r.err.find(at(c.name).string()), std::string::npos) << r.err;
    EXPECT_NE(r.err.find(c.claim), std::string::npos) << r.err;
    EXPECT_LT(r.maxRssKb, kMaxRssKb);
  }
  // The pixel limit is the user's to set.
  writeImage(picture(40, 30), FileFormat::kPng, at("ok.png"), {});
  EXPECT_EQ(run({"info", at("ok.png").string(), "--max-pixels", "1200"}).exitCode, 0);
  const auto r =
      run({"correct", at("ok.png").string(), at("o.png").string(), "--max-pixels", "1199"});
  EXPECT_EQ(r.exitCode, 3) << r.err;
  EXPECT_NE(r.err.find("claims 40 x 30 pixels, more than the limit of 1199"), std::string::npos)
      << r.err;
  EXPECT_EQ(run({"info", at("ok.png").string(), "--max-pixels", "0"}).exitCode, 2);
}

TEST_F(Reliability, PipesDevicesAndFoldersAreRefusedAtOnce) {
  ASSERT_EQ(::mkfifo(at("fifo").c_str(), 0600), 0);
  writeImage(picture(20, 10), FileFormat::kPng, at("ok.png"), {});
  fs::create_directory(at("folder"));
  std::ofstream(at("huge.txt")) << std::string((1 << 20) + 1, '#');
  const std::string ok = at("ok.png").string(), out = at("o.png").string();
  struct Case {
    std::vector<std::string> args;
    int code;
    const char *says;
  } cases[] = {
      {{"correct", at("fifo").string(), out}, 3, "not a regular file"},
      {{"info", "/dev/zero"}, 3, "not a regular file"},
      {{"correct", ok, out, "--settings", at("fifo").string()}, 2, "not a regular file"},
      {{"correct", ok, out, "--settings", "/dev/zero"}, 2, "not a regular file"},
      {{"correct", ok, out, "--settings", at("folder").string()}, 2, "directory"},
      {{"correct", ok, out, "--settings", at("huge.txt").string()}, 2, "too large"},
  };
  for (const auto &c : cases) {
    SCOPED_TRACE(c.args[1] + " " + c.args.back());
    clitest::RunOptions opt;
    opt.killAfterMs = 20000;
    const auto r = run(c.args, opt);
    EXPECT_FALSE(r.timedOut);
    EXPECT_EQ(r.exitCode, c.code) << r.err;
    EXPECT_NE(r.err.find(c.says), std::string::npos) << r.err;
  }
  EXPECT_FALSE(fs::exists(at("o.png")));
}

TEST(Batch, PicturesInFlightAreBoundedByMemoryAsWellAsByCount) {
  // Eight jobs of 40 units on eight threads within a budget of 100: at most
  // two at once. A job larger than the budget runs, alone.
  std::atomic<int> running{0}, most{0};
  std::atomic<std::uint64_t> held{0}, mostHeld{0};
  std::atomic<bool> bigAlone{true};
  const std::vector<std::uint64_t> cost = {40, 40, 40, 500, 40, 40, 40, 40};
  const auto outcomes = runJobs(
      cost.size(), 8,
      [&](std::size_t i) {
        const int now = ++running;
        const std::uint64_t h = held += cost[i];
        int m = most.load();
        while (now > m && !most.compare_exchange_weak(m, now)) {
        }
        std::uint64_t mh = mostHeld.load();
        while (h > mh && !mostHeld.compare_exchange_weak(mh, h)) {
        }
        if (cost[i] > 100 && now != 1) bigAlone = false;
        std::this_thread::sleep_for(std::chrono::milliseconds(30));
        if (cost[i] > 100 && running.load() != 1) bigAlone = false;
        held -= cost[i];
        --running;
      },
      [&](std::size_t i) { return cost[i]; }, 100);
  for (const auto &o : outcomes) EXPECT_EQ(o.code, ExitCode::kOk) << o.message;
  EXPECT_LE(most.load(), 2);
  EXPECT_GE(most.load(), 2);  // the budget, not the count, was what held them back
  EXPECT_TRUE(bigAlone.load());
  EXPECT_LE(mostHeld.load(), 500u);
}

// ---- Signals and batches --------------------------------------------------

TEST_F(Reliability, ASignalThatEndsTheRunTakesItsTemporaryFileAlong) {
  const std::vector<std::vector<int>> ways = {
      {SIGHUP, SIGHUP}, {SIGQUIT}, {SIGINT, SIGINT}, {SIGTERM, SIGTERM}, {SIGINT, SIGTERM}};
  for (const auto &signals : ways) {
    SCOPED_TRACE(::strsignal(signals.back()));
    EXPECT_EQ(killedWhileWriting(dir_, signals), signals.back());
    EXPECT_EQ(names(dir_), std::vector<std::string>{});
  }
}

TEST_F(Reliability, StaleTemporaryFilesAreSweptAndNothingElse) {
  writeImage(picture(20, 10), FileFormat::kPng, at("in.png"), {});
  fs::create_directory(at("out"));
  const std::vector<std::string> stale = {".ortavel-part-Ab12Cd", ".ortavel-part-000000"};
  const std::vector<std::string> alike = {".ortavel-part-Ab12C",   ".ortavel-part-Ab12Cd.png",
                                          "x.ortavel-part-Ab12Cd", ".ortavel-part-Ab1-Cd",
                                          ".ortavel-part-Ab12Cde", ".Ortavel-part-Ab12Cd"};
  for (const auto &n : stale) std::ofstream(at("out/" + n)) << "left by a killed run";
  for (const auto &n : alike) std::ofstream(at("out/" + n)) << "the user's";
  // One that a live process is writing: locked, so it stays.
  std::ofstream(at("out/.ortavel-part-LiVe01")) << "in flight";
  const int held = ::open(at("out/.ortavel-part-LiVe01").c_str(), O_RDONLY | O_CLOEXEC);
  ASSERT_EQ(::flock(held, LOCK_EX), 0);
  // A link named like ours leads elsewhere: neither it nor its target goes.
  std::ofstream(at("target.txt")) << "keep";
  fs::create_symlink(at("target.txt"), at("out/.ortavel-part-Link01"));

  const auto r = run({"correct", at("in.png").string(), at("out/o.png").string()});
  EXPECT_EQ(r.exitCode, 0) << r.err;
  ::close(held);
  std::vector<std::string> want = alike;
  want.insert(want.end(), {".ortavel-part-Link01", ".ortavel-part-LiVe01", "o.png"});
  std::sort(want.begin(), want.end());
  EXPECT_EQ(names(at("out")), want);
  EXPECT_EQ(clitest::slurp(at("target.txt")), "keep");
}

TEST_F(Reliability, OutputNamesUpToTheFileSystemsLimitWork) {
  writeImage(picture(20, 10), FileFormat::kPng, at("in.png"), {});
  const std::string longest = std::string(255 - 4, 'n') + ".png";
  const auto r = run({"correct", at("in.png").string(), at(longest).string()});
  EXPECT_EQ(r.exitCode, 0) << r.err;
  EXPECT_EQ(readImage(at(longest)).doc.width, 20);
  EXPECT_EQ(names(dir_), (std::vector<std::string>{"in.png", longest}));
}

TEST_F(Reliability, AClosedStandardOutputDoesNotStopABatch) {
  fs::create_directory(at("out"));
  std::vector<std::string> args = {"correct"};
  for (int i = 0; i < 3; ++i) {
    const std::string n = numbered(i);
    writeImage(picture(30 + i, 20), FileFormat::kPng, at(n), {});
    args.push_back(at(n).string());
  }
  args.insert(args.end(), {"-o", at("out").string(), "--jobs", "2"});
  clitest::RunOptions opt;
  opt.closedStdout = true;
  const auto r = run(args, opt);
  EXPECT_EQ(r.signal, 0);
  EXPECT_EQ(r.exitCode, 0) << r.err;
  EXPECT_NE(r.err.find("corrected 3 of 3 files"), std::string::npos) << r.err;
  EXPECT_EQ(names(at("out")), (std::vector<std::string>{"p0.png", "p1.png", "p2.png"}));
}

TEST_F(Reliability, SkipExistingFinishesWhatIsMissingOnly) {
  fs::create_directory(at("out"));
  std::vector<std::string> inputs;
  for (int i = 0; i < 4; ++i) {
    const std::string n = numbered(i);
    writeImage(picture(30 + i, 20), FileFormat::kPng, at(n), {});
    inputs.push_back(at(n).string());
  }
  std::ofstream(at("out/p1.png")) << "finished before the crash";
  std::ofstream(at("bad.png")) << "garbage";
  auto args = inputs;
  args.insert(args.begin(), "correct");
  args.insert(args.end(), {"-o", at("out").string(), "--skip-existing"});
  auto r = run(args);
  EXPECT_EQ(r.exitCode, 0) << r.err;
  EXPECT_NE(r.err.find("corrected 3 of 4 files; 1 skipped"), std::string::npos) << r.err;
  EXPECT_EQ(r.err.find("failed"), std::string::npos) << r.err;
  EXPECT_EQ(clitest::slurp(at("out/p1.png")), "finished before the crash");
  EXPECT_EQ(readImage(at("out/p2.png")).doc.width, 32);
  // Run again with a bad file among them: only it is done (and fails), apart.
  args.insert(args.begin() + 1, at("bad.png").string());
  r = run(args);
  EXPECT_EQ(r.exitCode, 3) << r.err;
  EXPECT_NE(r.err.find("corrected 0 of 5 files; 4 skipped (already there); 1 failed"),
            std::string::npos)
      << r.err;
  // A single picture too; with --force it would contradict itself.
  r = run({"correct", inputs[0], at("out/p1.png").string(), "--skip-existing"});
  EXPECT_EQ(r.exitCode, 0) << r.err;
  EXPECT_NE(r.err.find("already there"), std::string::npos) << r.err;
  EXPECT_EQ(clitest::slurp(at("out/p1.png")), "finished before the crash");
  EXPECT_EQ(run({"correct", inputs[0], at("x.png").string(), "--skip-existing", "-f"}).exitCode, 2);
}

TEST_F(Reliability, ProcessesSharingAnOutputFolderWriteEachFileOnce) {
  fs::create_directory(at("out"));
  std::vector<std::string> args = {"correct"};
  for (int i = 0; i < 6; ++i) {
    const std::string n = numbered(i);
    writeImage(picture(40 + i, 30), FileFormat::kPng, at(n), {});
    args.push_back(at(n).string());
  }
  args.insert(args.end(), {"-o", at("out").string(), "--skip-existing", "--jobs", "2", "--method",
                           "lanczos12", "--k1", "-0.1"});
  fs::create_directory(at("a"));
  fs::create_directory(at("b"));
  clitest::CliResult ra, rb;
  clitest::RunOptions opt;
  opt.killAfterMs = 120000;
  std::thread other([&] { rb = runCli(args, at("b"), opt); });
  ra = runCli(args, at("a"), opt);
  other.join();
  EXPECT_EQ(ra.exitCode, 0) << ra.err;
  EXPECT_EQ(rb.exitCode, 0) << rb.err;
  // Every file was put in place by exactly one of them; the other skipped it.
  const std::regex count("corrected (\\d+) of 6 files");
  std::smatch ma, mb;
  ASSERT_TRUE(std::regex_search(ra.err, ma, count)) << ra.err;
  ASSERT_TRUE(std::regex_search(rb.err, mb, count)) << rb.err;
  EXPECT_EQ(std::stoi(ma[1]) + std::stoi(mb[1]), 6) << ra.err << rb.err;
  for (int i = 0; i < 6; ++i) EXPECT_EQ(readImage(at("out") / numbered(i)).doc.width, 40 + i);
  EXPECT_EQ(names(at("out")).size(), 6u);
}
