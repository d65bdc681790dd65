// The automation step's dialog in the Windows host, driven as a user would
// through window messages from a second thread while "Do It" runs on the
// main one:
//   1. OK: the dialog, owned by the host's window and centred on it, takes
//      a burst of k1 trackbar moves (the previews after it must be of the
//      last), k1 typed into its edit, Fill, the split view, and Enter; the
//      picture it leaves must equal, byte for byte, a silent replay of the
//      descriptor it recorded, and that descriptor must hold the k1 typed;
//   2. keyboard: Tab from the k1 edit reaches k1's trackbar, Alt+Z the zoom
//      edit;
//   3. Cancel (Esc) after a change: -128 and the picture as it was; before
//      it, k1's edit shows what the dialog opened with (0 on a menu
//      invocation, the recorded k1 on a replay with the dialog on), the
//      trackbar writes the edit, and Reset brings the opening value back;
//   4. the previews the dialog shows (it writes them out when
//      ORTAVEL_DIALOG_PREVIEW_DUMP names a folder) equal, byte for byte,
//      those the filter makes when this program asks it directly for the same
//      settings at the same sizes;
//   5. --auto: on a photograph whose camera has a profile, Auto pressed after
//      k1 was set to 0 shows and records the settings of
//      `ortavel correct --auto --fill` on that photograph (SETTINGS, the file
//      its --save-settings wrote), and the profile's lens and fit error;
//   6. --pick: on a photograph of a camera of interchangeable lenses that
//      names no lens, the lens picker (Alt+N) lists the lenses the search's
//      words find, and the one picked gives the settings of
//      `ortavel correct --auto --fill --lens-model LENS`.
// Screenshots of the dialog go to OUTDIR as BMP files.
//   ortavel-dialog-test FILTER STEP EXIF OUTDIR TAG
//       [--auto EXIF WxH SETTINGS] [--pick EXIF WxH LENS SEARCH SETTINGS]
// And the latency of the previews on a 24-megapixel document, slider change
// to new preview drawn (scripts/windows-dialog-bench; not a test):
//   ortavel-dialog-test --bench FILTER STEP CHANGES
#include <windows.h>
// windows.h first: the common controls' header needs its types.
#include <commctrl.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <cmath>
#include <cstdio>
#include <fstream>
#include <iostream>
#include <iterator>
#include <map>
#include <optional>
#include <sstream>
#include <string>
#include <thread>
#include <vector>

#include "automation/dialog_ids.h"
#include "emulator/automation/automation_host.h"
#include "emulator/document.h"
#include "emulator/host.h"
#include "emulator/plugin.h"
#include "run/preview_buffer.h"

namespace {

namespace ids = ortavel::automation::dialog_ids;

int failures = 0;

void fail(const std::string &what) {
  std::cerr << "dialog-test: FAIL: " << what << "\n";
  ++failures;
}

std::vector<std::uint8_t> readFile(const std::string &path) {
  std::ifstream in(path, std::ios::binary);
  return {std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>()};
}

// A grid of lines on a gradient: any change of the geometry moves pixels.
hostemu::Document makeDocument(const std::vector<std::uint8_t> &exif, int width = 320,
                               int height = 240) {
  hostemu::Document doc;
  doc.width = width;
  doc.height = height;
  doc.planes.resize(3);
  for (std::size_t p = 0; p < 3; ++p) {
    auto &s = doc.planes[p].samples;
    s.resize(doc.planeBytes());
    for (int y = 0; y < doc.height; ++y) {
      for (int x = 0; x < doc.width; ++x) {
        const bool line = x % 20 == 0 || y % 20 == 0;
        const int v = line ? 255 : static_cast<int>((x * (p + 1) + y * (3 - p)) % 200);
        s[static_cast<std::size_t>(y) * static_cast<std::size_t>(width) +
          static_cast<std::size_t>(x)] = static_cast<std::uint8_t>(v);
      }
    }
  }
  doc.exif = exif;
  return doc;
}

constexpr std::uint32_t fourcc(const char (&c)[5]) {
  return (static_cast<std::uint32_t>(static_cast<unsigned char>(c[0])) << 24) |
         (static_cast<std::uint32_t>(static_cast<unsigned char>(c[1])) << 16) |
         (static_cast<std::uint32_t>(static_cast<unsigned char>(c[2])) << 8) |
         static_cast<std::uint32_t>(static_cast<unsigned char>(c[3]));
}

std::uint32_t key4(const char *c) {
  return (static_cast<std::uint32_t>(static_cast<unsigned char>(c[0])) << 24) |
         (static_cast<std::uint32_t>(static_cast<unsigned char>(c[1])) << 16) |
         (static_cast<std::uint32_t>(static_cast<unsigned char>(c[2])) << 8) |
         static_cast<std::uint32_t>(static_cast<unsigned char>(c[3]));
}

// What the dialog played for the previews it wrote out.
struct Played {
  double k1 = 0, k2 = 0, centerX = 0, centerY = 0, radiusLimit = 0, scale = 1;
  std::uint32_t interpolation = 0;
  std::uint32_t orientation = 0;
  std::int32_t margins[4] = {0, 0, 0, 0};  // top, bottom, left, right
};

std::optional<Played> readPlayed(const std::string &path) {
  std::ifstream in(path);
  if (!in) return std::nullopt;
  Played p;
  std::string key;
  bool k1 = false;
  while (in >> key) {
    if (key == "k1") {
      in >> p.k1;
      k1 = true;
    } else if (key == "k2") {
      in >> p.k2;
    } else if (key == "centerX") {
      in >> p.centerX;
    } else if (key == "centerY") {
      in >> p.centerY;
    } else if (key == "radiusLimit") {
      in >> p.radiusLimit;
    } else if (key == "scale") {
      in >> p.scale;
    } else if (key == "interpolation") {
      in >> p.interpolation;
    } else if (key == "orientation") {
      in >> p.orientation;
    } else if (key == "margins") {
      in >> p.margins[0] >> p.margins[1] >> p.margins[2] >> p.margins[3];
    } else {
      std::string rest;
      std::getline(in, rest);
    }
  }
  if (!k1 || in.bad()) return std::nullopt;
  return p;
}

struct Ppm {
  int width = 0;
  int height = 0;
  std::vector<std::uint8_t> rgb;
};

std::optional<Ppm> readPpm(const std::string &path) {
  const std::vector<std::uint8_t> bytes = readFile(path);
  std::istringstream head(
      std::string(bytes.begin(), bytes.begin() + std::min<std::size_t>(bytes.size(), 64)));
  std::string magic;
  int max = 0;
  Ppm p;
  head >> magic >> p.width >> p.height >> max;
  if (magic != "P6" || max != 255 || p.width <= 0 || p.height <= 0) return std::nullopt;
  const auto start = static_cast<std::size_t>(head.tellg()) + 1;
  const std::size_t size = static_cast<std::size_t>(p.width) * p.height * 3;
  if (bytes.size() != start + size) return std::nullopt;
  p.rgb.assign(bytes.begin() + static_cast<std::ptrdiff_t>(start), bytes.end());
  return p;
}

// The filter asked directly, without the step: the two previews at the given
// sizes for the settings played.
std::optional<std::pair<Ppm, Ppm>> filterPreviews(hostemu::Plugin &filter,
                                                  const hostemu::Document &original,
                                                  const Played &s, int uw, int uh, int cw, int ch) {
  hostemu::Document doc = original;
  Ppm un{uw, uh, std::vector<std::uint8_t>(static_cast<std::size_t>(uw) * uh * 3, 0)};
  Ppm co{cw, ch, std::vector<std::uint8_t>(static_cast<std::size_t>(cw) * ch * 3, 0)};
  PreviewBuffer ub{1, uw, uh, uw * 3, un.rgb.data()};
  PreviewBuffer cb{1, cw, ch, cw * 3, co.rgb.data()};
  auto address = [](const void *p) {
    char text[64];
    std::snprintf(text, sizeof text, "%p", p);
    return std::string(text);
  };
  hostemu::Descriptor d;
  d.putFloat(fourcc("paK1"), s.k1)
      .putFloat(fourcc("paK2"), s.k2)
      .putFloat(fourcc("paXC"), s.centerX)
      .putFloat(fourcc("paYC"), s.centerY)
      .putFloat(fourcc("paFR"), s.radiusLimit)
      .putFloat(fourcc("scaF"), s.scale)
      .putEnumerated(fourcc("intM"), fourcc("intT"), s.interpolation);
  if (s.orientation != 0) d.putEnumerated(fourcc("orIM"), fourcc("orIT"), s.orientation);
  if (s.margins[0] != 0 || s.margins[1] != 0 || s.margins[2] != 0 || s.margins[3] != 0) {
    d.putInteger(fourcc("caTo"), s.margins[0])
        .putInteger(fourcc("caBo"), s.margins[1])
        .putInteger(fourcc("caLe"), s.margins[2])
        .putInteger(fourcc("caRi"), s.margins[3]);
  }
  d.putString(fourcc("prUn"), address(&ub)).putString(fourcc("prCo"), address(&cb));
  hostemu::Host host(filter, doc);
  const hostemu::RunResult r = host.runFilter(d);
  if (r.result != -128 || ub.pending != 0 || cb.pending != 0) return std::nullopt;
  return std::pair<Ppm, Ppm>{std::move(un), std::move(co)};
}

// The dialog's newest previews against the filter's own for what it played.
// `what` names the moment for messages.
void checkPreviews(hostemu::Plugin &filter, const hostemu::Document &original,
                   const std::string &dump, const std::string &what) {
  const auto played = readPlayed(dump + "/settings.txt");
  const auto un = readPpm(dump + "/uncorrected.ppm");
  const auto co = readPpm(dump + "/corrected.ppm");
  if (!played || !un || !co) {
    fail(what + ": the dialog did not write out its previews");
    return;
  }
  const auto reference =
      filterPreviews(filter, original, *played, un->width, un->height, co->width, co->height);
  if (!reference) {
    fail(what + ": the filter did not make the reference previews");
    return;
  }
  if (un->rgb != reference->first.rgb)
    fail(what + ": the dialog's uncorrected preview differs from the filter's");
  if (co->rgb != reference->second.rgb)
    fail(what + ": the dialog's corrected preview differs from the filter's");
  // A picture of one colour would pass the above for any settings.
  if (std::equal(co->rgb.begin() + 3, co->rgb.end(), co->rgb.begin()))
    fail(what + ": the corrected preview is blank");
}

std::optional<Played> lastPlayed(const std::string &dump) {
  return readPlayed(dump + "/settings.txt");
}

// The settings `ortavel correct --save-settings` wrote: its keys, and the
// lens and fit error from its comment lines.
struct Expected {
  std::map<std::string, double> values;
  std::string lens;
  std::string fit;  // "fit error 0.0123 px" as the dialog words it too
};

std::optional<Expected> readExpected(const std::string &path) {
  std::ifstream in(path);
  if (!in) return std::nullopt;
  Expected e;
  std::string line;
  while (std::getline(in, line)) {
    if (line.rfind("# lens profile:", 0) == 0) {
      const auto open = line.find('"');
      const auto close = line.find('"', open + 1);
      if (open != std::string::npos && close != std::string::npos)
        e.lens = line.substr(open + 1, close - open - 1);
    } else if (line.find("fit error ") != std::string::npos) {
      e.fit = line.substr(line.find("fit error "));
    } else if (line.find("exact conversion") != std::string::npos) {
      e.fit = "fit error 0 px";
    } else if (!line.empty() && line[0] != '#') {
      const auto eq = line.find(" = ");
      if (eq == std::string::npos) continue;
      try {
        e.values[line.substr(0, eq)] = std::stod(line.substr(eq + 3));
      } catch (const std::exception &) {
        // method, orientation, margins: not numbers the step sets
      }
    }
  }
  if (e.values.count("k1") == 0 || e.lens.empty()) return std::nullopt;
  return e;
}

// Equal but for the last bits: the profile's fit calls the C library's
// hypot and pow, whose last bits differ between glibc and mingw's.
bool nearlyEqual(double a, double b) {
  return std::fabs(a - b) <= 1e-9 * std::max(1.0, std::fabs(b));
}

std::string narrow(const std::wstring &w) {
  std::string s;
  for (wchar_t c : w) s += c < 0x80 ? static_cast<char>(c) : '?';
  return s;
}

bool samePicture(const hostemu::Document &a, const hostemu::Document &b) {
  if (a.planes.size() != b.planes.size()) return false;
  for (std::size_t p = 0; p < a.planes.size(); ++p) {
    if (a.planes[p].samples != b.planes[p].samples) return false;
  }
  return true;
}

template <typename Predicate>
bool waitFor(Predicate done, DWORD timeoutMs) {
  const ULONGLONG end = GetTickCount64() + timeoutMs;
  while (GetTickCount64() < end) {
    if (done()) return true;
    Sleep(20);
  }
  return done();
}

std::wstring itemText(HWND dialog, int id) {
  wchar_t text[256] = L"";
  // Sent, so it waits for the dialog's thread: never for longer than this.
  DWORD_PTR ignored = 0;
  SendMessageTimeoutW(GetDlgItem(dialog, id), WM_GETTEXT, 256, reinterpret_cast<LPARAM>(text),
                      SMTO_NORMAL, 5000, &ignored);
  return text;
}

HWND focusOf(HWND dialog) {
  GUITHREADINFO info{};
  info.cbSize = sizeof info;
  GetGUIThreadInfo(GetWindowThreadProcessId(dialog, nullptr), &info);
  return info.hwndFocus;
}

void key(HWND dialog, UINT message, WPARAM vk, LPARAM flags = 0) {
  // Posted to the control with the focus, as the keyboard would: the
  // dialog's loop sees it through IsDialogMessage.
  HWND target = focusOf(dialog);
  PostMessageW(target != nullptr ? target : dialog, message, vk, flags | 1);
}

bool previewsDrawn(HWND dialog) {
  return waitFor([&] { return itemText(dialog, ids::kStatus) == L"Preview up to date"; }, 30000);
}

void command(HWND dialog, int id, int code = BN_CLICKED) {
  SendMessageW(dialog, WM_COMMAND, MAKEWPARAM(id, code),
               reinterpret_cast<LPARAM>(GetDlgItem(dialog, id)));
}

void setText(HWND dialog, int id, const wchar_t *text) {
  SendMessageW(GetDlgItem(dialog, id), WM_SETTEXT, 0, reinterpret_cast<LPARAM>(text));
}

// The window as the screen shows it, as a 24-bit BMP.
void screenshot(HWND window, const std::string &path) {
  // What the dialog painted last reaches the screen a little after its
  // status text changed.
  Sleep(800);
  RECT r{};
  GetWindowRect(window, &r);
  const int w = r.right - r.left;
  const int h = r.bottom - r.top;
  HDC screen = GetDC(nullptr);
  HDC dc = CreateCompatibleDC(screen);
  HBITMAP bitmap = CreateCompatibleBitmap(screen, w, h);
  HGDIOBJ old = SelectObject(dc, bitmap);
  BitBlt(dc, 0, 0, w, h, screen, r.left, r.top, SRCCOPY);
  SelectObject(dc, old);
  BITMAPINFO info{};
  info.bmiHeader.biSize = sizeof info.bmiHeader;
  info.bmiHeader.biWidth = w;
  info.bmiHeader.biHeight = h;  // bottom-up, as BMP files hold them
  info.bmiHeader.biPlanes = 1;
  info.bmiHeader.biBitCount = 24;
  info.bmiHeader.biCompression = BI_RGB;
  const int rowBytes = (w * 3 + 3) & ~3;
  std::vector<std::uint8_t> pixels(static_cast<std::size_t>(rowBytes) * h);
  const int rows = GetDIBits(dc, bitmap, 0, h, pixels.data(), &info, DIB_RGB_COLORS);
  DeleteObject(bitmap);
  DeleteDC(dc);
  ReleaseDC(nullptr, screen);
  if (rows != h) {
    fail("could not read the screen for " + path);
    return;
  }
  BITMAPFILEHEADER file{};
  file.bfType = 0x4D42;
  file.bfOffBits = sizeof file + sizeof info.bmiHeader;
  file.bfSize = file.bfOffBits + static_cast<DWORD>(pixels.size());
  const std::string partial = path + ".partial";
  {
    std::ofstream out(partial, std::ios::binary | std::ios::trunc);
    out.write(reinterpret_cast<const char *>(&file), sizeof file);
    out.write(reinterpret_cast<const char *>(&info.bmiHeader), sizeof info.bmiHeader);
    out.write(reinterpret_cast<const char *>(pixels.data()),
              static_cast<std::streamsize>(pixels.size()));
    if (!out) fail("could not write " + partial);
  }
  if (MoveFileExA(partial.c_str(), path.c_str(), MOVEFILE_REPLACE_EXISTING) == 0) {
    fail("could not write " + path);
  }
}

HWND findDialog() {
  HWND found = nullptr;
  waitFor(
      [&] {
        found = FindWindowW(ids::kWindowClass, nullptr);
        return found != nullptr && IsWindowVisible(found) != FALSE;
      },
      30000);
  return found;
}

// Closes a dialog the script could not finish, so that no run hangs.
void closeIfOpen() {
  HWND left = FindWindowW(ids::kWindowClass, nullptr);
  if (left != nullptr) PostMessageW(left, WM_CLOSE, 0, 0);
}

void pressOk(HWND mainWindow, const std::string &out, const std::string &tag,
             const std::string &dump) {
  HWND d = findDialog();
  if (d == nullptr) {
    fail("the dialog did not appear");
    return;
  }
  if (!previewsDrawn(d)) fail("the first previews were not drawn");
  screenshot(d, out + "/dialog-opened-" + tag + ".bmp");
  if (GetWindow(d, GW_OWNER) != mainWindow) fail("the dialog is not owned by the host's window");
  RECT dr{};
  RECT mr{};
  GetWindowRect(d, &dr);
  GetWindowRect(mainWindow, &mr);
  if (std::abs((dr.left + dr.right) - (mr.left + mr.right)) > 4 ||
      std::abs((dr.top + dr.bottom) - (mr.top + mr.bottom)) > 4) {
    fail("the dialog is not centred on the host's window");
  }
  if (IsWindowEnabled(mainWindow) != FALSE) fail("the host's window takes input under the dialog");
  if (focusOf(d) != GetDlgItem(d, ids::kK1))
    fail("the dialog does not open with k1's edit focused");

  // The keyboard: Tab to k1's trackbar, Alt+Z to the zoom edit.
  key(d, WM_KEYDOWN, VK_TAB);
  if (!waitFor([&] { return focusOf(d) == GetDlgItem(d, ids::kK1 + 1); }, 5000)) {
    fail("Tab from k1's edit does not reach its trackbar");
  }
  key(d, WM_SYSCHAR, 'z', 1 << 29);
  if (!waitFor([&] { return focusOf(d) == GetDlgItem(d, ids::kZoom); }, 5000)) {
    fail("Alt+Z does not reach the zoom edit");
  }

  // A burst of trackbar moves, as a drag makes them: the previews that
  // follow are of the last position (k1 = -1 + 1019 steps of 0.001).
  HWND bar = GetDlgItem(d, ids::kK1 + 1);
  for (int position = 1000; position < 1020; ++position) {
    SendMessageW(bar, TBM_SETPOS, TRUE, position);
    SendMessageW(d, WM_HSCROLL, MAKEWPARAM(TB_THUMBTRACK, position), reinterpret_cast<LPARAM>(bar));
  }
  if (!previewsDrawn(d)) fail("the previews were not redrawn after a drag");
  const auto dragged = readPlayed(dump + "/settings.txt");
  if (!dragged || std::fabs(dragged->k1 - 0.019) > 1e-12)
    fail("the previews after a drag are not of the trackbar's last position");

  if (IsWindowEnabled(GetDlgItem(d, ids::kAuto)) != FALSE) command(d, ids::kAuto);
  setText(d, ids::kK1, L"-0.05");
  setText(d, ids::kGrid, L"40");
  command(d, ids::kFill);
  if (itemText(d, ids::kZoom) == L"1") fail("Fill left the zoom at 1 with k1 at -0.05");
  if (!previewsDrawn(d)) fail("the previews were not redrawn after the changes");
  screenshot(d, out + "/dialog-" + tag + ".bmp");
  // The split view: the uncorrected picture left of the divider.
  SendMessageW(GetDlgItem(d, ids::kView), CB_SETCURSEL, 1, 0);
  command(d, ids::kView, CBN_SELCHANGE);
  if (!previewsDrawn(d)) fail("the previews were not redrawn for the split view");
  screenshot(d, out + "/dialog-split-" + tag + ".bmp");
  key(d, WM_KEYDOWN, VK_RETURN);  // Enter is OK
  if (!waitFor([&] { return IsWindow(d) == FALSE; }, 10000)) {
    fail("Enter did not close the dialog with OK");
    command(d, IDOK);
  }
}

// `k1Shown`: what k1's edit must show when the dialog opens.
void pressEscape(const std::wstring &k1Shown) {
  HWND d = findDialog();
  if (d == nullptr) {
    fail("the dialog did not appear for Cancel");
    return;
  }
  previewsDrawn(d);
  if (itemText(d, ids::kK1) != k1Shown) {
    fail("k1's edit opens with another value than the one expected");
  }
  // The trackbar writes the edit: position 1200 of k1's -1..1 in steps of
  // 0.001 is 0.2.
  HWND bar = GetDlgItem(d, ids::kK1 + 1);
  SendMessageW(bar, TBM_SETPOS, TRUE, 1200);
  SendMessageW(d, WM_HSCROLL, MAKEWPARAM(TB_THUMBPOSITION, 1200), reinterpret_cast<LPARAM>(bar));
  if (itemText(d, ids::kK1) != L"0.2") fail("k1's trackbar at 1200 does not show 0.2 in its edit");
  command(d, ids::kReset);
  if (itemText(d, ids::kK1) != k1Shown) fail("Reset does not bring back k1 as it was opened");
  setText(d, ids::kK1, L"-0.2");
  key(d, WM_KEYDOWN, VK_ESCAPE);  // Esc is Cancel
  if (!waitFor([&] { return IsWindow(d) == FALSE; }, 10000)) {
    fail("Esc did not close the dialog");
    command(d, IDCANCEL);
  }
}

// The number an edit shows, as the settings' value to its 6 digits.
bool shows(HWND dialog, int id, double value) {
  const std::wstring text = itemText(dialog, id);
  wchar_t *end = nullptr;
  const double shown = std::wcstod(text.c_str(), &end);
  return !text.empty() && end != nullptr && *end == L'\0' &&
         std::fabs(shown - value) <= 5e-6 * std::max(std::fabs(value), 1e-3);
}

void checkProfileShown(HWND d, const Expected &e, const std::string &what) {
  const std::string profile = narrow(itemText(d, ids::kProfile));
  if (profile.find(e.lens) == std::string::npos)
    fail(what + ": the dialog does not name the lens \"" + e.lens + "\": " + profile);
  if (profile.find(e.fit) == std::string::npos)
    fail(what + ": the dialog does not show the profile's " + e.fit + ": " + profile);
  if (narrow(itemText(d, ids::kCamera)).find(e.lens) == std::string::npos)
    fail(what + ": the camera line does not name the lens");
  if (IsWindowEnabled(GetDlgItem(d, ids::kAuto)) == FALSE) fail(what + ": Auto is disabled");
  if (!shows(d, ids::kK1, e.values.at("k1")) || !shows(d, ids::kK2, e.values.at("k2")) ||
      !shows(d, ids::kZoom, e.values.at("zoom")) ||
      !shows(d, ids::kCenterX, e.values.at("center-x")) ||
      !shows(d, ids::kCenterY, e.values.at("center-y"))) {
    fail(what + ": the edits do not show the profile's k1 " + narrow(itemText(d, ids::kK1)) +
         ", k2 " + narrow(itemText(d, ids::kK2)) + ", zoom " + narrow(itemText(d, ids::kZoom)));
  }
}

void closeWithEnter(HWND d, const std::string &what) {
  if (!previewsDrawn(d)) fail(what + ": the previews were not redrawn");
  key(d, WM_KEYDOWN, VK_RETURN);
  if (!waitFor([&] { return IsWindow(d) == FALSE; }, 10000)) {
    fail(what + ": Enter did not close the dialog");
    command(d, IDOK);
  }
}

// Auto on a photograph with a profile: k1 set to 0 first, so that Auto has
// something to change.
void pressAuto(const Expected &e, const std::string &out, const std::string &tag) {
  HWND d = findDialog();
  if (d == nullptr) {
    fail("Auto: the dialog did not appear");
    return;
  }
  if (!previewsDrawn(d)) fail("Auto: the first previews were not drawn");
  if (IsWindowVisible(GetDlgItem(d, ids::kLensList)) != FALSE)
    fail("Auto: the lens picker is shown for a camera with its own lens");
  setText(d, ids::kK1, L"0");
  setText(d, ids::kZoom, L"1");
  if (itemText(d, ids::kK1) != L"0") fail("Auto: k1 did not take 0");
  command(d, ids::kAuto);
  checkProfileShown(d, e, "Auto");
  previewsDrawn(d);
  screenshot(d, out + "/dialog-auto-" + tag + ".bmp");
  closeWithEnter(d, "Auto");
}

bool holdsEveryWord(std::string text, const std::string &words) {
  for (char &c : text) c = static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
  std::istringstream in(words);
  std::string word;
  while (in >> word) {
    for (char &c : word) c = static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
    if (text.find(word) == std::string::npos) return false;
  }
  return true;
}

// The lens picker: a search typed, the lens picked from the list.
void pickLens(const Expected &e, const std::string &lens, const std::string &search,
              const std::string &out, const std::string &tag) {
  HWND d = findDialog();
  if (d == nullptr) {
    fail("lens picker: the dialog did not appear");
    return;
  }
  if (!previewsDrawn(d)) fail("lens picker: the first previews were not drawn");
  HWND list = GetDlgItem(d, ids::kLensList);
  if (IsWindowVisible(list) == FALSE || IsWindowVisible(GetDlgItem(d, ids::kLensSearch)) == FALSE)
    fail("lens picker: not shown for a camera of interchangeable lenses");
  if (IsWindowEnabled(GetDlgItem(d, ids::kAuto)) != FALSE)
    fail("lens picker: Auto is enabled before a lens is picked");
  key(d, WM_SYSCHAR, 'n', 1 << 29);
  if (!waitFor([&] { return focusOf(d) == GetDlgItem(d, ids::kLensSearch); }, 5000))
    fail("lens picker: Alt+N does not reach the search box");
  const auto all = SendMessageW(list, LB_GETCOUNT, 0, 0);
  const std::wstring wide(search.begin(), search.end());
  setText(d, ids::kLensSearch, wide.c_str());
  const auto found = SendMessageW(list, LB_GETCOUNT, 0, 0);
  if (found <= 0 || found >= all)
    fail("lens picker: the search \"" + search + "\" lists " + std::to_string(found) + " of " +
         std::to_string(all) + " lenses");
  for (LRESULT i = 0; i < found; ++i) {
    wchar_t text[512] = L"";
    if (SendMessageW(list, LB_GETTEXTLEN, i, 0) >= 512) continue;
    SendMessageW(list, LB_GETTEXT, i, reinterpret_cast<LPARAM>(text));
    if (!holdsEveryWord(narrow(text), search))
      fail("lens picker: \"" + narrow(text) + "\" is listed for \"" + search + "\"");
  }
  const std::wstring name(lens.begin(), lens.end());
  const auto index = SendMessageW(list, LB_FINDSTRINGEXACT, static_cast<WPARAM>(-1),
                                  reinterpret_cast<LPARAM>(name.c_str()));
  if (index < 0) {
    fail("lens picker: \"" + lens + "\" is not listed");
    return;
  }
  SendMessageW(list, LB_SETCURSEL, static_cast<WPARAM>(index), 0);
  command(d, ids::kLensList, LBN_SELCHANGE);
  checkProfileShown(d, e, "lens picker");
  previewsDrawn(d);
  screenshot(d, out + "/dialog-pick-" + tag + ".bmp");
  closeWithEnter(d, "lens picker");
}

// What a case's OK recorded, against `ortavel correct`'s settings, and the
// previews last shown against the filter's own.
void checkRecorded(const hostemu::DoItResult &r, const Expected &e, hostemu::Plugin &filter,
                   const hostemu::Document &original, const std::string &dump,
                   const std::string &what) {
  if (r.result != 0) fail(what + ": Do It answered " + std::to_string(r.result));
  if (!r.descriptor) {
    fail(what + ": nothing was recorded");
    return;
  }
  const std::pair<const char *, const char *> keys[] = {
      {"paK1", "k1"}, {"paK2", "k2"}, {"paXC", "center-x"}, {"paYC", "center-y"}, {"scaF", "zoom"}};
  for (const auto &[key, name] : keys) {
    const auto *v = r.descriptor->find(key4(key));
    if (v == nullptr || !nearlyEqual(v->number, e.values.at(name))) {
      char text[160];
      std::snprintf(text, sizeof text, "%s: recorded %s %.17g, ortavel correct %.17g", what.c_str(),
                    name, v != nullptr ? v->number : 0.0, e.values.at(name));
      fail(text);
    }
  }
  const auto played = lastPlayed(dump);
  const auto *k1 = r.descriptor->find(fourcc("paK1"));
  const auto *zoom = r.descriptor->find(fourcc("scaF"));
  if (!played || k1 == nullptr || zoom == nullptr || played->k1 != k1->number ||
      played->scale != zoom->number) {
    fail(what + ": the previews last shown were not of the settings recorded");
  }
  checkPreviews(filter, original, dump, what);
}

void clearDump(const std::string &dump) {
  for (const char *name : {"/uncorrected.ppm", "/corrected.ppm", "/settings.txt"})
    DeleteFileA((dump + name).c_str());
}

LRESULT CALLBACK hostWindowProc(HWND w, UINT message, WPARAM wp, LPARAM lp) {
  return DefWindowProcW(w, message, wp, lp);
}

void makeDpiAware() {
  // Per-monitor aware as a current host is; older systems: system aware.
  using Context = BOOL(WINAPI *)(HANDLE);
  HMODULE user = GetModuleHandleW(L"user32.dll");
  const auto perMonitor = reinterpret_cast<Context>(
      reinterpret_cast<void *>(GetProcAddress(user, "SetProcessDpiAwarenessContext")));
  if (perMonitor == nullptr || perMonitor(reinterpret_cast<HANDLE>(-4)) == FALSE) {
    SetProcessDPIAware();
  }
}

// The latency of the previews: k1's trackbar moved one step at a time, from
// the change to the new previews drawn (the dialog draws them before its
// status says they are up to date, and answers no message while it plays).
int bench(hostemu::Plugin &filter, hostemu::Plugin &step, HWND mainWindow, int changes) {
  hostemu::Document doc = makeDocument({}, 6000, 4000);
  hostemu::AutomationOptions menu;
  menu.playInfo = 1;
  menu.mainWindow = reinterpret_cast<std::intptr_t>(mainWindow);
  std::vector<double> ms;
  double firstMs = 0.0;
  SIZE preview{};
  hostemu::AutomationHost host(step, {&filter}, doc, menu);
  host.start();
  const auto opened = std::chrono::steady_clock::now();
  std::thread user([&] {
    HWND d = findDialog();
    if (d == nullptr || !previewsDrawn(d)) {
      fail("bench: the dialog did not open with its previews");
      closeIfOpen();
      return;
    }
    firstMs = std::chrono::duration<double, std::milli>(std::chrono::steady_clock::now() - opened)
                  .count();
    RECT r{};
    GetClientRect(GetDlgItem(d, ids::kPreview), &r);
    preview = {r.right, r.bottom};
    HWND bar = GetDlgItem(d, ids::kK1 + 1);
    for (int i = 0; i < changes; ++i) {
      const int position = 1000 - 5 * (i % 40);  // k1 from 0 down to -0.2 and again
      const auto start = std::chrono::steady_clock::now();
      SendMessageW(bar, TBM_SETPOS, TRUE, position);
      SendMessageW(d, WM_HSCROLL, MAKEWPARAM(TB_THUMBTRACK, position),
                   reinterpret_cast<LPARAM>(bar));
      while (itemText(d, ids::kStatus) != L"Preview up to date") Sleep(1);
      ms.push_back(
          std::chrono::duration<double, std::milli>(std::chrono::steady_clock::now() - start)
              .count());
    }
    command(d, IDCANCEL);
  });
  host.doIt(nullptr);
  closeIfOpen();
  user.join();
  host.stop();
  if (ms.empty()) return 1;
  std::sort(ms.begin(), ms.end());
  const auto at = [&](double q) {
    return ms[std::min(ms.size() - 1, static_cast<std::size_t>(
                                          std::lround(q * static_cast<double>(ms.size() - 1))))];
  };
  std::printf(
      "dialog-bench: 6000x4000 document, preview area %ldx%ld px, %zu changes of k1: "
      "median %.1f ms, p90 %.1f ms, min %.1f ms, max %.1f ms; dialog opened with its first "
      "previews in %.0f ms\n",
      static_cast<long>(preview.cx), static_cast<long>(preview.cy), ms.size(), at(0.5), at(0.9),
      ms.front(), ms.back(), firstMs);
  return failures == 0 ? 0 : 1;
}

HWND makeHostWindow() {
  makeDpiAware();
  WNDCLASSW cls{};
  cls.lpfnWndProc = hostWindowProc;
  cls.hInstance = GetModuleHandleW(nullptr);
  cls.hbrBackground = GetSysColorBrush(COLOR_APPWORKSPACE);
  cls.lpszClassName = L"OrtavelTestHostWindow";
  RegisterClassW(&cls);
  HWND mainWindow = CreateWindowW(cls.lpszClassName, L"Ortavel test host", WS_OVERLAPPEDWINDOW, 40,
                                  30, 2200, 1500, nullptr, nullptr, cls.hInstance, nullptr);
  if (mainWindow != nullptr) ShowWindow(mainWindow, SW_SHOW);
  return mainWindow;
}

bool parseSize(const std::string &text, int &w, int &h) {
  return std::sscanf(text.c_str(), "%dx%d", &w, &h) == 2 && w > 0 && h > 0;
}

struct Photo {
  std::string exif;
  int width = 0;
  int height = 0;
  Expected expected;
};

}  // namespace

int main(int argc, char **argv) {
  const std::vector<std::string> args(argv + 1, argv + argc);
  if (args.size() == 4 && args[0] == "--bench") {
    HWND mainWindow = makeHostWindow();
    if (mainWindow == nullptr) {
      std::cerr << "dialog-bench: no window can be made (is there a display?)\n";
      return 2;
    }
    try {
      hostemu::Plugin filter(args[1]);
      hostemu::Plugin step(args[2], hostemu::ModuleKind::Automation);
      return bench(filter, step, mainWindow, std::max(std::atoi(args[3].c_str()), 1));
    } catch (const std::exception &e) {
      std::cerr << "dialog-bench: " << e.what() << "\n";
      return 1;
    }
  }
  const char *usage =
      "usage: ortavel-dialog-test FILTER STEP EXIF OUTDIR TAG [--auto EXIF WxH SETTINGS] "
      "[--pick EXIF WxH LENS SEARCH SETTINGS]\n"
      "       ortavel-dialog-test --bench FILTER STEP CHANGES\n";
  if (args.size() < 5) {
    std::cerr << usage;
    return 2;
  }
  const std::string &out = args[3];
  const std::string &tag = args[4];
  std::optional<Photo> autoPhoto;
  std::optional<Photo> pickPhoto;
  std::string pickLensName;
  std::string pickSearch;
  for (std::size_t i = 5; i < args.size();) {
    const bool isAuto = args[i] == "--auto" && i + 3 < args.size();
    const bool isPick = args[i] == "--pick" && i + 5 < args.size();
    if (!isAuto && !isPick) {
      std::cerr << usage;
      return 2;
    }
    Photo p;
    p.exif = args[i + 1];
    const std::string &settings = args[i + (isAuto ? 3 : 5)];
    const auto expected = readExpected(settings);
    if (!parseSize(args[i + 2], p.width, p.height) || !expected) {
      std::cerr << "dialog-test: " << args[i + 2] << " is not a size or " << settings
                << " holds no lens profile's settings\n";
      return 2;
    }
    p.expected = *expected;
    if (isAuto) {
      autoPhoto = p;
      i += 4;
    } else {
      pickLensName = args[i + 3];
      pickSearch = args[i + 4];
      pickPhoto = p;
      i += 6;
    }
  }
  HWND mainWindow = makeHostWindow();
  if (mainWindow == nullptr) {
    std::cerr << "dialog-test: no window can be made (is there a display?)\n";
    return 2;
  }
  // The dialog writes each preview pair it draws here.
  const std::string dump = out + "/previews-" + tag;
  CreateDirectoryA(dump.c_str(), nullptr);
  SetEnvironmentVariableA("ORTAVEL_DIALOG_PREVIEW_DUMP", dump.c_str());

  try {
    hostemu::Plugin filter(args[0]);
    hostemu::Plugin step(args[1], hostemu::ModuleKind::Automation);
    const hostemu::Document original = makeDocument(readFile(args[2]));
    hostemu::AutomationOptions menu;
    menu.playInfo = 1;
    menu.mainWindow = reinterpret_cast<std::intptr_t>(mainWindow);

    // 1. OK, through the dialog.
    hostemu::Document chosen = original;
    hostemu::DoItResult ok;
    clearDump(dump);
    {
      hostemu::AutomationHost host(step, {&filter}, chosen, menu);
      host.start();
      std::thread user([&] { pressOk(mainWindow, out, tag, dump); });
      ok = host.doIt(nullptr);
      closeIfOpen();
      user.join();
      host.stop();
    }
    if (ok.result != 0) fail("OK: Do It answered " + std::to_string(ok.result));
    if (samePicture(chosen, original)) fail("OK: the picture was not corrected");
    // 4. The previews last drawn (Fill's, in the split view), the filter's own.
    checkPreviews(filter, original, dump, "OK");
    if (!ok.descriptor) {
      fail("OK: nothing was recorded");
    } else {
      const auto *k1 = ok.descriptor->find(0x70614B31);  // "paK1"
      if (k1 == nullptr || k1->number != -0.05) fail("OK: the recorded k1 is not the -0.05 typed");
      const auto *zoom = ok.descriptor->find(0x73636146);  // "scaF"
      if (zoom == nullptr || zoom->number == 1.0) fail("OK: the zoom Fill chose was not recorded");
      const auto played = lastPlayed(dump);
      if (!played || zoom == nullptr || played->scale != zoom->number || played->k1 != -0.05)
        fail("OK: the previews last shown were not of the settings recorded");

      // The same settings without the dialog.
      hostemu::Document replayed = original;
      hostemu::AutomationOptions silent = menu;
      silent.playInfo = 2;
      hostemu::AutomationHost host(step, {&filter}, replayed, silent);
      host.start();
      const auto again = host.doIt(&*ok.descriptor);
      host.stop();
      if (again.result != 0) fail("replay: Do It answered " + std::to_string(again.result));
      if (!samePicture(chosen, replayed)) fail("the replay differs from the dialog's picture");
    }

    // A recorded step replayed with its dialog turned on opens on the
    // recording; Esc leaves the picture.
    if (ok.descriptor) {
      hostemu::Document shown = original;
      hostemu::AutomationHost host(step, {&filter}, shown, menu);
      host.start();
      std::thread user([&] { pressEscape(L"-0.05"); });
      const auto again = host.doIt(&*ok.descriptor);
      closeIfOpen();
      user.join();
      host.stop();
      if (again.result != -128)
        fail("Esc on a replay: Do It answered " + std::to_string(again.result));
      if (!samePicture(shown, original)) fail("Esc on a replay: the picture changed");
    }

    // 3. Cancel on a menu invocation: nothing recorded, so k1 opens at 0.
    hostemu::Document untouched = original;
    hostemu::DoItResult cancelled;
    {
      hostemu::AutomationHost host(step, {&filter}, untouched, menu);
      host.start();
      std::thread user([&] { pressEscape(L"0"); });
      cancelled = host.doIt(nullptr);
      closeIfOpen();
      user.join();
      host.stop();
    }
    if (cancelled.result != -128)
      fail("Cancel: Do It answered " + std::to_string(cancelled.result));
    if (!samePicture(untouched, original)) fail("Cancel: the picture changed");
    if (cancelled.documentChanged) fail("Cancel: the host saw a change");

    // 5. Auto, on a photograph whose camera has a profile.
    if (autoPhoto) {
      const hostemu::Document photo =
          makeDocument(readFile(autoPhoto->exif), autoPhoto->width, autoPhoto->height);
      hostemu::Document corrected = photo;
      clearDump(dump);
      hostemu::AutomationHost host(step, {&filter}, corrected, menu);
      host.start();
      std::thread user([&] { pressAuto(autoPhoto->expected, out, tag); });
      const auto r = host.doIt(nullptr);
      closeIfOpen();
      user.join();
      host.stop();
      checkRecorded(r, autoPhoto->expected, filter, photo, dump, "Auto");
    }

    // 6. The lens picked, for a camera whose photograph names no lens.
    if (pickPhoto) {
      const hostemu::Document photo =
          makeDocument(readFile(pickPhoto->exif), pickPhoto->width, pickPhoto->height);
      hostemu::Document corrected = photo;
      clearDump(dump);
      hostemu::AutomationHost host(step, {&filter}, corrected, menu);
      host.start();
      std::thread user([&] { pickLens(pickPhoto->expected, pickLensName, pickSearch, out, tag); });
      const auto r = host.doIt(nullptr);
      closeIfOpen();
      user.join();
      host.stop();
      checkRecorded(r, pickPhoto->expected, filter, photo, dump, "lens picker");
    }
  } catch (const std::exception &e) {
    fail(e.what());
  }
  DestroyWindow(mainWindow);
  if (failures != 0) return 1;
  std::cout << "dialog-test " << tag << ": passed\n";
  return 0;
}
