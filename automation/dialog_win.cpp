// The step's dialog on Windows: a plain Win32 window (USER32, GDI32 and the
// common controls' trackbar), run modally on the "Do It" thread.
//
// Every suite call must come from the thread the host called "Do It" on, and
// the previews are the filter's own pictures, made by playing it. So the
// previews are recomputed on this thread, from a timer that the first change
// of a setting arms: the timer's message comes only when no other message is
// waiting, so changes that come faster than the previews coalesce into one
// play with the newest settings, and the window keeps answering between plays
// instead of lagging behind a queue of stale ones. The uncorrected preview is
// read from the document once per size and handed back to the filter after
// that, so a change of a setting costs only the corrected preview.
#include <windows.h>
// windows.h first: the common controls' header needs its types.
#include <commctrl.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdio>
#include <cwchar>
#include <string>
#include <vector>

#include "automation/dialog.h"
#include "automation/dialog_ids.h"
#include "profiles/lens_table.h"

namespace ortavel::automation {

namespace {

namespace ids = dialog_ids;

constexpr UINT_PTR kPreviewTimer = 1;
// WM_TIMER comes only once the queue is empty, so even the shortest delay
// lets a burst of changes (a dragged trackbar) coalesce into one play.
constexpr UINT kPreviewDelayMs = USER_TIMER_MINIMUM;
constexpr const wchar_t *kPreviewClass = L"OrtavelLensCorrectionPreview";
constexpr int kMaxPreviewSide = 2048;

constexpr std::uint32_t fourcc(char a, char b, char c, char d) {
  return (static_cast<std::uint32_t>(static_cast<unsigned char>(a)) << 24) |
         (static_cast<std::uint32_t>(static_cast<unsigned char>(b)) << 16) |
         (static_cast<std::uint32_t>(static_cast<unsigned char>(c)) << 8) |
         static_cast<std::uint32_t>(static_cast<unsigned char>(d));
}

struct Choice {
  const wchar_t *label;
  std::uint32_t code;
};

// "orIM": 0 is the upright picture (the key is then not sent).
constexpr std::array<Choice, 8> kOrientations{{
    {L"As shot (0)", 0},
    {L"Orientation 1 (orLN)", fourcc('o', 'r', 'L', 'N')},
    {L"Orientation 2 (orBN)", fourcc('o', 'r', 'B', 'N')},
    {L"Orientation 3 (orRN)", fourcc('o', 'r', 'R', 'N')},
    {L"Orientation 4 (orTM)", fourcc('o', 'r', 'T', 'M')},
    {L"Orientation 5 (orLM)", fourcc('o', 'r', 'L', 'M')},
    {L"Orientation 6 (orBM)", fourcc('o', 'r', 'B', 'M')},
    {L"Orientation 7 (orRM)", fourcc('o', 'r', 'R', 'M')},
}};

constexpr std::uint32_t kBicubic = fourcc('b', 'i', 'C', 'u');
constexpr std::array<Choice, 6> kMethods{{
    {L"Bilinear", fourcc('b', 'i', 'L', 'i')},
    {L"Bicubic", kBicubic},
    {L"Lanczos, 6 taps", fourcc('l', 'a', '0', '6')},
    {L"Lanczos, 8 taps", fourcc('l', 'a', '0', '8')},
    {L"Lanczos, 12 taps", fourcc('l', 'a', '1', '2')},
    {L"Alignment pattern", fourcc('t', 'a', 'A', 'l')},
}};

enum class View { SideBySide = 0, Split, Before, After };
constexpr std::array<const wchar_t *, 4> kViews{L"Side by side", L"Split", L"Before (uncorrected)",
                                                L"After (corrected)"};

struct SliderSpec {
  int id;  // the edit; the trackbar is id + 1
  const wchar_t *label;
  double min;
  double max;
  double step;
  double LensSettings::*field;
};

constexpr std::array<SliderSpec, 6> kSliders{{
    {ids::kK1, L"k&1", -1.0, 1.0, 0.001, &LensSettings::k1},
    {ids::kK2, L"k&2", -1.0, 1.0, 0.001, &LensSettings::k2},
    {ids::kCenterX, L"Centre &x", -1.0, 1.0, 0.001, &LensSettings::centerX},
    {ids::kCenterY, L"Centre &y", -1.0, 1.0, 0.001, &LensSettings::centerY},
    {ids::kZoom, L"&Zoom", 0.25, 4.0, 0.001, &LensSettings::scale},
    {ids::kRadiusLimit, L"Ra&dius limit", 0.0, 2.0, 0.001, &LensSettings::radiusLimit},
}};

struct MarginSpec {
  int id;
  const wchar_t *label;
  std::int32_t LensSettings::*field;
};

constexpr std::array<MarginSpec, 4> kMargins{{
    {ids::kMarginTop, L"&Top", &LensSettings::marginTop},
    {ids::kMarginBottom, L"&Bottom", &LensSettings::marginBottom},
    {ids::kMarginLeft, L"&Left", &LensSettings::marginLeft},
    {ids::kMarginRight, L"&Right", &LensSettings::marginRight},
}};

std::wstring widen(const std::string &s) {
  if (s.empty()) return {};
  const int n = MultiByteToWideChar(CP_UTF8, 0, s.data(), static_cast<int>(s.size()), nullptr, 0);
  if (n <= 0) return std::wstring(s.begin(), s.end());
  std::wstring w(static_cast<std::size_t>(n), L'\0');
  MultiByteToWideChar(CP_UTF8, 0, s.data(), static_cast<int>(s.size()), w.data(), n);
  return w;
}

std::wstring format(double v) {
  wchar_t text[64];
  std::swprintf(text, 64, L"%.6g", v);
  return text;
}

std::wstring windowText(HWND w) {
  const int n = GetWindowTextLengthW(w);
  std::wstring text(static_cast<std::size_t>(n) + 1, L'\0');
  GetWindowTextW(w, text.data(), n + 1);
  text.resize(static_cast<std::size_t>(n));
  return text;
}

// The whole text as a number, or false.
bool parseNumber(const std::wstring &text, double &out) {
  if (text.empty()) return false;
  wchar_t *end = nullptr;
  const double v = std::wcstod(text.c_str(), &end);
  while (end != nullptr && (*end == L' ' || *end == L'\t')) ++end;
  if (end == nullptr || *end != L'\0' || !std::isfinite(v)) return false;
  out = v;
  return true;
}

UINT dpiOf(HWND w) {
  // GetDpiForWindow exists from Windows 10 1607 on; before, the system DPI.
  using DpiForWindow = UINT(WINAPI *)(HWND);
  static const auto forWindow = reinterpret_cast<DpiForWindow>(
      reinterpret_cast<void *>(GetProcAddress(GetModuleHandleW(L"user32.dll"), "GetDpiForWindow")));
  if (forWindow != nullptr && w != nullptr) {
    const UINT dpi = forWindow(w);
    if (dpi != 0) return dpi;
  }
  HDC screen = GetDC(nullptr);
  const int dpi = screen != nullptr ? GetDeviceCaps(screen, LOGPIXELSY) : 96;
  if (screen != nullptr) ReleaseDC(nullptr, screen);
  return dpi > 0 ? static_cast<UINT>(dpi) : 96U;
}

HINSTANCE thisModule() {
  HMODULE module = nullptr;
  GetModuleHandleExW(
      GET_MODULE_HANDLE_EX_FLAG_FROM_ADDRESS | GET_MODULE_HANDLE_EX_FLAG_UNCHANGED_REFCOUNT,
      reinterpret_cast<LPCWSTR>(&thisModule), &module);
  return module;
}

// One preview request and the picture drawn from it (bottom-up BGR rows, as
// a DIB wants them).
struct Picture {
  PreviewBuffer request{};
  std::vector<std::uint8_t> pixels;
  std::vector<std::uint8_t> bgr;
  int width = 0;
  int height = 0;
  int rowBytes = 0;
  bool ready = false;

  void resize(int w, int h) {
    width = std::max(w, 1);
    height = std::max(h, 1);
    rowBytes = (width * 3 + 3) & ~3;
    pixels.assign(static_cast<std::size_t>(rowBytes) * static_cast<std::size_t>(height), 0);
    request = {};
    request.width = width;
    request.height = height;
    request.rowBytes = rowBytes;
    request.pixels = pixels.data();
    ready = false;
  }

  void takeFromRequest() {
    bgr = pixels;
    for (int y = 0; y < height; ++y) {
      std::uint8_t *row = bgr.data() + static_cast<std::size_t>(y) * rowBytes;
      for (int x = 0; x < width; ++x) std::swap(row[x * 3], row[x * 3 + 2]);
    }
    ready = true;
  }

  void draw(HDC dc, const RECT &to) const {
    if (!ready) return;
    BITMAPINFO info{};
    info.bmiHeader.biSize = sizeof info.bmiHeader;
    info.bmiHeader.biWidth = width;
    info.bmiHeader.biHeight = -height;  // top-down rows
    info.bmiHeader.biPlanes = 1;
    info.bmiHeader.biBitCount = 24;
    info.bmiHeader.biCompression = BI_RGB;
    SetStretchBltMode(dc, HALFTONE);
    SetBrushOrgEx(dc, 0, 0, nullptr);
    StretchDIBits(dc, to.left, to.top, to.right - to.left, to.bottom - to.top, 0, 0, width, height,
                  bgr.data(), &info, DIB_RGB_COLORS, SRCCOPY);
  }
};

// The largest rectangle of the given aspect centred in `area`.
RECT fit(const RECT &area, double aspect) {
  const int aw = std::max<int>(area.right - area.left, 1);
  const int ah = std::max<int>(area.bottom - area.top, 1);
  int w = aw;
  int h = static_cast<int>(std::lround(w / aspect));
  if (h > ah) {
    h = ah;
    w = static_cast<int>(std::lround(h * aspect));
  }
  w = std::max(w, 1);
  h = std::max(h, 1);
  const int x = area.left + (aw - w) / 2;
  const int y = area.top + (ah - h) / 2;
  return {x, y, x + w, y + h};
}

class Dialog {
 public:
  Dialog(const Suites &suites, const DialogFacts &facts)
      : suites_(suites), facts_(facts), settings_(facts.initial), profile_(facts.profile) {
    if (settings_.interpolation == 0) settings_.interpolation = kBicubic;
    lensesShown_ = profiles::tableLensesFor(facts.camera.make, facts.camera.model, "");
    lensPicker_ = lensesShown_.interchangeable;
    // A debugging aid and the dialog test's window on the previews: each
    // preview pair is written there as drawn, with the settings played.
    wchar_t dump[MAX_PATH] = L"";
    const DWORD n = GetEnvironmentVariableW(L"ORTAVEL_DIALOG_PREVIEW_DUMP", dump, MAX_PATH);
    if (n > 0 && n < MAX_PATH) dumpDir_ = dump;
  }

  DialogOutcome run();

  static LRESULT CALLBACK windowProc(HWND w, UINT message, WPARAM wp, LPARAM lp);
  static LRESULT CALLBACK previewProc(HWND w, UINT message, WPARAM wp, LPARAM lp);

 private:
  LRESULT handle(UINT message, WPARAM wp, LPARAM lp);
  void create();
  HWND add(const wchar_t *cls, const wchar_t *text, DWORD style, int id, DWORD exStyle = 0);
  void setFont();
  void layout();
  int px(int dips) const { return MulDiv(dips, static_cast<int>(dpi_), 96); }
  void showSettings();
  void showSlider(const SliderSpec &spec);
  void onCommand(int id, int code, HWND control);
  void onSlider(HWND trackbar);
  void schedulePreview();
  void computePreviews();
  void paintPreview(HDC dc, const RECT &client);
  void setStatus(const std::wstring &text) { SetDlgItemTextW(hwnd_, ids::kStatus, text.c_str()); }
  RECT previewArea() const;
  void applyAuto();
  void applyFill();
  void showProfile();
  void showLenses();
  void pickLens();
  void dumpPreviews() const;
  void finish(DialogResult result) {
    result_ = result;
    done_ = true;
  }

  const Suites &suites_;
  const DialogFacts &facts_;
  LensSettings settings_;
  HWND hwnd_ = nullptr;
  HWND preview_ = nullptr;
  HWND owner_ = nullptr;
  HFONT font_ = nullptr;
  UINT dpi_ = 96;
  bool updating_ = false;  // the dialog itself is writing the controls
  bool done_ = false;
  DialogResult result_ = DialogResult::Cancelled;
  View view_ = View::SideBySide;
  int gridSpacing_ = 0;  // preview pixels at 96 DPI; 0: no grid
  double split_ = 0.5;   // the divider, as a share of the preview's width
  bool dragging_ = false;
  Picture uncorrected_;
  Picture corrected_;
  int previewPlays_ = 0;
  bool previewArmed_ = false;
  ProfileChoice profile_;  // what Auto applies: the EXIF data's or the picked lens's
  bool lensPicker_ = false;
  profiles::LensChoices lensesShown_;  // the list's entries, in its order
  std::wstring dumpDir_;
};

HWND Dialog::add(const wchar_t *cls, const wchar_t *text, DWORD style, int id, DWORD exStyle) {
  HWND w =
      CreateWindowExW(exStyle, cls, text, WS_CHILD | WS_VISIBLE | style, 0, 0, 10, 10, hwnd_,
                      reinterpret_cast<HMENU>(static_cast<INT_PTR>(id)), thisModule(), nullptr);
  if (w == nullptr) throw StepError{memFullErr, "the dialog's controls could not be made"};
  return w;
}

void Dialog::create() {
  // Created in tab order: each label right before its control, so that the
  // label's mnemonic moves the focus to it.
  add(WC_STATICW, L"", SS_LEFT | SS_NOPREFIX, ids::kCamera);
  add(WC_STATICW, L"", SS_LEFT | SS_NOPREFIX, ids::kProfile);
  for (const SliderSpec &s : kSliders) {
    add(WC_STATICW, s.label, SS_LEFT, s.id + 100);
    add(WC_EDITW, L"", WS_TABSTOP | WS_GROUP | ES_AUTOHSCROLL, s.id, WS_EX_CLIENTEDGE);
    HWND bar = add(TRACKBAR_CLASSW, L"", WS_TABSTOP | TBS_HORZ | TBS_NOTICKS, s.id + 1);
    const int positions = static_cast<int>(std::lround((s.max - s.min) / s.step));
    SendMessageW(bar, TBM_SETRANGEMIN, FALSE, 0);
    SendMessageW(bar, TBM_SETRANGEMAX, FALSE, positions);
    SendMessageW(bar, TBM_SETPAGESIZE, 0, std::max(positions / 50, 1));
    SendMessageW(bar, TBM_SETLINESIZE, 0, 1);
  }
  add(WC_STATICW, L"&Orientation", SS_LEFT, ids::kOrientation + 100);
  HWND orientation = add(WC_COMBOBOXW, L"", WS_TABSTOP | WS_GROUP | WS_VSCROLL | CBS_DROPDOWNLIST,
                         ids::kOrientation);
  for (const Choice &c : kOrientations) {
    SendMessageW(orientation, CB_ADDSTRING, 0, reinterpret_cast<LPARAM>(c.label));
  }
  add(WC_STATICW, L"&Method", SS_LEFT, ids::kMethod + 100);
  HWND method =
      add(WC_COMBOBOXW, L"", WS_TABSTOP | WS_GROUP | WS_VSCROLL | CBS_DROPDOWNLIST, ids::kMethod);
  for (const Choice &c : kMethods) {
    SendMessageW(method, CB_ADDSTRING, 0, reinterpret_cast<LPARAM>(c.label));
  }
  add(WC_STATICW, L"Margins in pixels:", SS_LEFT | SS_NOPREFIX, 1199);
  for (const MarginSpec &m : kMargins) {
    add(WC_STATICW, m.label, SS_LEFT, m.id + 100);
    add(WC_EDITW, L"0", WS_TABSTOP | WS_GROUP | ES_AUTOHSCROLL | ES_NUMBER, m.id, WS_EX_CLIENTEDGE);
  }
  add(WC_STATICW, L"&View", SS_LEFT, ids::kView + 100);
  HWND view =
      add(WC_COMBOBOXW, L"", WS_TABSTOP | WS_GROUP | WS_VSCROLL | CBS_DROPDOWNLIST, ids::kView);
  for (const wchar_t *v : kViews) SendMessageW(view, CB_ADDSTRING, 0, reinterpret_cast<LPARAM>(v));
  SendMessageW(view, CB_SETCURSEL, 0, 0);
  add(WC_STATICW, L"&Grid spacing", SS_LEFT, ids::kGrid + 100);
  add(WC_EDITW, L"0", WS_TABSTOP | WS_GROUP | ES_AUTOHSCROLL | ES_NUMBER, ids::kGrid,
      WS_EX_CLIENTEDGE);
  add(WC_BUTTONW, L"&Auto", WS_TABSTOP | WS_GROUP | BS_PUSHBUTTON, ids::kAuto);
  add(WC_BUTTONW, L"&Fill", WS_TABSTOP | BS_PUSHBUTTON, ids::kFill);
  add(WC_BUTTONW, L"R&eset", WS_TABSTOP | BS_PUSHBUTTON, ids::kReset);
  // The lens picker: for a camera of interchangeable lenses whose EXIF data
  // names none, the table's lenses for its mount, searched by name.
  add(WC_STATICW, L"Le&ns (type to search):", SS_LEFT, ids::kLensSearch + 100);
  add(WC_EDITW, L"", WS_TABSTOP | WS_GROUP | ES_AUTOHSCROLL, ids::kLensSearch, WS_EX_CLIENTEDGE);
  add(WC_LISTBOXW, L"",
      WS_TABSTOP | WS_VSCROLL | WS_HSCROLL | LBS_NOTIFY | LBS_NOINTEGRALHEIGHT | LBS_HASSTRINGS,
      ids::kLensList, WS_EX_CLIENTEDGE);
  if (!lensPicker_) {
    for (int id : {ids::kLensSearch + 100, ids::kLensSearch, ids::kLensList}) {
      ShowWindow(GetDlgItem(hwnd_, id), SW_HIDE);
    }
  }
  add(WC_BUTTONW, L"OK", WS_TABSTOP | WS_GROUP | BS_DEFPUSHBUTTON, IDOK);
  add(WC_BUTTONW, L"Cancel", WS_TABSTOP | BS_PUSHBUTTON, IDCANCEL);
  add(WC_STATICW, L"", SS_LEFT | SS_NOPREFIX, ids::kStatus);
  preview_ = add(kPreviewClass, L"", 0, ids::kPreview);
  SetWindowLongPtrW(preview_, GWLP_USERDATA, reinterpret_cast<LONG_PTR>(this));

  showProfile();
  showLenses();
}

void Dialog::showProfile() {
  // What the filter read from the photograph.
  std::wstring camera = L"Camera: ";
  const std::string who = facts_.camera.make.empty() && facts_.camera.model.empty()
                              ? std::string("not named in the EXIF data")
                              : facts_.camera.make + " " + facts_.camera.model;
  camera += widen(who);
  camera += L"    Lens: ";
  camera +=
      profile_.settings && !profile_.lens.empty() ? widen(profile_.lens) : std::wstring(L"unknown");
  camera += L"    Focal length: ";
  camera += facts_.camera.focalLengthMm > 0.0 ? format(facts_.camera.focalLengthMm) + L" mm"
                                              : std::wstring(L"unknown");
  SetDlgItemTextW(hwnd_, ids::kCamera, camera.c_str());
  std::wstring profile;
  if (profile_.settings) {
    wchar_t error[64];
    std::swprintf(error, 64, L"%.3g", profile_.fitErrorPx);
    profile = L"Profile: " + widen(profile_.camera) + L", " + widen(profile_.lens) +
              L" (fit error " + error + L" px)";
  } else {
    // The lookup's first line says what is missing; the lines after it (what
    // was read, what to do) do not fit the dialog's one line.
    std::string reason = profile_.reason.substr(0, profile_.reason.find('\n'));
    const std::string prefix = "no lens profile: ";
    if (reason.compare(0, prefix.size(), prefix) == 0) reason.erase(0, prefix.size());
    if (lensPicker_) {
      if (!reason.empty() && reason.back() != '.') reason += '.';
      reason += " Pick the lens below.";
    }
    profile = L"No lens profile: " + widen(reason);
  }
  SetDlgItemTextW(hwnd_, ids::kProfile, profile.c_str());
  EnableWindow(GetDlgItem(hwnd_, ids::kAuto), profile_.settings ? TRUE : FALSE);
}

void Dialog::showLenses() {
  if (!lensPicker_) return;
  std::string search;
  for (const wchar_t c : windowText(GetDlgItem(hwnd_, ids::kLensSearch))) {
    // Lens names are ASCII; anything else matches no name anyway.
    search += c < 0x80 ? static_cast<char>(c) : '?';
  }
  lensesShown_ = profiles::tableLensesFor(facts_.camera.make, facts_.camera.model, search);
  HWND list = GetDlgItem(hwnd_, ids::kLensList);
  SendMessageW(list, WM_SETREDRAW, FALSE, 0);
  SendMessageW(list, LB_RESETCONTENT, 0, 0);
  // Lens names are long: the list scrolls sideways to the widest.
  HDC dc = GetDC(list);
  HGDIOBJ oldFont = dc != nullptr && font_ != nullptr ? SelectObject(dc, font_) : nullptr;
  int widest = 0;
  for (const std::string &name : lensesShown_.lenses) {
    const std::wstring text = widen(name);
    SendMessageW(list, LB_ADDSTRING, 0, reinterpret_cast<LPARAM>(text.c_str()));
    SIZE size{};
    if (dc != nullptr &&
        GetTextExtentPoint32W(dc, text.c_str(), static_cast<int>(text.size()), &size) != FALSE) {
      widest = std::max<int>(widest, size.cx);
    }
  }
  if (oldFont != nullptr) SelectObject(dc, oldFont);
  if (dc != nullptr) ReleaseDC(list, dc);
  SendMessageW(list, LB_SETHORIZONTALEXTENT,
               static_cast<WPARAM>(widest) + static_cast<WPARAM>(px(8)), 0);
  SendMessageW(list, WM_SETREDRAW, TRUE, 0);
  InvalidateRect(list, nullptr, TRUE);
}

void Dialog::pickLens() {
  const auto index = SendDlgItemMessageW(hwnd_, ids::kLensList, LB_GETCURSEL, 0, 0);
  if (index < 0 || static_cast<std::size_t>(index) >= lensesShown_.lenses.size()) return;
  // The lens's profile as Auto would take it had the EXIF data named it.
  profile_ = settingsFromProfile(facts_.camera, facts_.document,
                                 lensesShown_.lenses[static_cast<std::size_t>(index)]);
  showProfile();
  applyAuto();
}

void Dialog::setFont() {
  NONCLIENTMETRICSW metrics{};
  metrics.cbSize = sizeof metrics;
  LOGFONTW face{};
  if (SystemParametersInfoW(SPI_GETNONCLIENTMETRICS, sizeof metrics, &metrics, 0) != 0) {
    face = metrics.lfMessageFont;
  } else {
    std::wcscpy(face.lfFaceName, L"Tahoma");
  }
  // The system's metrics are for the system DPI; this window's may differ.
  face.lfHeight = -MulDiv(9, static_cast<int>(dpi_), 72);
  face.lfWidth = 0;
  HFONT font = CreateFontIndirectW(&face);
  if (font == nullptr) return;
  for (HWND child = GetWindow(hwnd_, GW_CHILD); child != nullptr;
       child = GetWindow(child, GW_HWNDNEXT)) {
    SendMessageW(child, WM_SETFONT, reinterpret_cast<WPARAM>(font), FALSE);
  }
  if (font_ != nullptr) DeleteObject(font_);
  font_ = font;
  showLenses();  // the list's scrolling width follows the font
}

void Dialog::layout() {
  RECT client{};
  GetClientRect(hwnd_, &client);
  const int m = px(10);
  const int row = px(26);
  const int field = px(22);
  const int panel = px(330);
  const int width = client.right;
  auto place = [&](int id, int x, int y, int w, int h) {
    SetWindowPos(GetDlgItem(hwnd_, id), nullptr, x, y, std::max(w, 1), std::max(h, 1),
                 SWP_NOZORDER | SWP_NOACTIVATE);
  };
  place(ids::kCamera, m, m, width - 2 * m, px(18));
  place(ids::kProfile, m, m + px(20), width - 2 * m, px(18));
  const int top = m + px(44);
  const int px0 = width - m - panel;  // the panel's left edge
  int y = top;
  const int labelW = px(80);
  const int editW = px(70);
  for (const SliderSpec &s : kSliders) {
    place(s.id + 100, px0, y + px(3), labelW, px(18));
    place(s.id, px0 + labelW, y, editW, field);
    place(s.id + 1, px0 + labelW + editW + px(4), y, panel - labelW - editW - px(4), field);
    y += row;
  }
  const int comboW = panel - labelW;
  place(ids::kOrientation + 100, px0, y + px(3), labelW, px(18));
  place(ids::kOrientation, px0 + labelW, y, comboW, px(200));
  y += row;
  place(ids::kMethod + 100, px0, y + px(3), labelW, px(18));
  place(ids::kMethod, px0 + labelW, y, comboW, px(200));
  y += row;
  place(1199, px0, y + px(3), panel, px(18));
  y += px(22);
  const int pairW = panel / 2;
  for (std::size_t i = 0; i < kMargins.size(); ++i) {
    const int x = px0 + static_cast<int>(i % 2) * pairW;
    const int yy = y + static_cast<int>(i / 2) * row;
    place(kMargins[i].id + 100, x, yy + px(3), px(60), px(18));
    place(kMargins[i].id, x + px(60), yy, pairW - px(70), field);
  }
  y += 2 * row;
  place(ids::kView + 100, px0, y + px(3), labelW, px(18));
  place(ids::kView, px0 + labelW, y, comboW, px(200));
  y += row;
  place(ids::kGrid + 100, px0, y + px(3), labelW, px(18));
  place(ids::kGrid, px0 + labelW, y, editW, field);
  y += row + px(6);
  const int buttonW = (panel - 2 * px(6)) / 3;
  const int buttonH = px(26);
  place(ids::kAuto, px0, y, buttonW, buttonH);
  place(ids::kFill, px0 + buttonW + px(6), y, buttonW, buttonH);
  place(ids::kReset, px0 + 2 * (buttonW + px(6)), y, buttonW, buttonH);
  const int bottom = client.bottom - m;
  y += buttonH + px(8);
  place(ids::kLensSearch + 100, px0, y, panel, px(18));
  y += px(20);
  place(ids::kLensSearch, px0, y, panel, field);
  y += field + px(4);
  place(ids::kLensList, px0, y, panel, std::max(bottom - buttonH - px(8) - y, px(40)));
  const int okW = px(86);
  place(IDCANCEL, width - m - okW, bottom - buttonH, okW, buttonH);
  place(IDOK, width - m - 2 * okW - px(8), bottom - buttonH, okW, buttonH);
  place(ids::kStatus, m, bottom - px(20), px0 - 2 * m, px(18));
  place(ids::kPreview, m, top, px0 - 2 * m, bottom - px(26) - top);
  InvalidateRect(hwnd_, nullptr, TRUE);
}

void Dialog::showSlider(const SliderSpec &s) {
  const double v = settings_.*s.field;
  const double clamped = std::clamp(v, s.min, s.max);
  SendMessageW(GetDlgItem(hwnd_, s.id + 1), TBM_SETPOS, TRUE,
               std::lround((clamped - s.min) / s.step));
}

void Dialog::showSettings() {
  updating_ = true;
  for (const SliderSpec &s : kSliders) {
    SetDlgItemTextW(hwnd_, s.id, format(settings_.*s.field).c_str());
    showSlider(s);
  }
  for (const MarginSpec &m : kMargins) {
    SetDlgItemInt(hwnd_, m.id, static_cast<UINT>(std::max(settings_.*m.field, 0)), FALSE);
  }
  for (std::size_t i = 0; i < kOrientations.size(); ++i) {
    if (kOrientations[i].code == settings_.orientation) {
      SendDlgItemMessageW(hwnd_, ids::kOrientation, CB_SETCURSEL, i, 0);
    }
  }
  for (std::size_t i = 0; i < kMethods.size(); ++i) {
    if (kMethods[i].code == settings_.interpolation) {
      SendDlgItemMessageW(hwnd_, ids::kMethod, CB_SETCURSEL, i, 0);
    }
  }
  updating_ = false;
}

void Dialog::schedulePreview() {
  // Armed once: re-arming would hold the previews back for as long as a drag
  // goes on. The play takes whatever settings are newest when it comes.
  if (!previewArmed_) {
    SetTimer(hwnd_, kPreviewTimer, kPreviewDelayMs, nullptr);
    previewArmed_ = true;
  }
  setStatus(L"Preview pending");
}

RECT Dialog::previewArea() const {
  RECT r{};
  if (preview_ != nullptr) GetClientRect(preview_, &r);
  return r;
}

void Dialog::computePreviews() {
  KillTimer(hwnd_, kPreviewTimer);  // these settings are the newest
  previewArmed_ = false;
  const RECT area = previewArea();
  const int areaW = std::max<int>(area.right, 1);
  const int areaH = std::max<int>(area.bottom, 1);
  const DocumentFacts &doc = facts_.document;
  if (doc.width <= 0 || doc.height <= 0) return;
  const double canvasW =
      static_cast<double>(doc.width) + settings_.marginLeft + settings_.marginRight;
  const double canvasH =
      static_cast<double>(doc.height) + settings_.marginTop + settings_.marginBottom;
  // Each picture at the size it is shown at, no larger than the document.
  const int slotW = view_ == View::SideBySide ? (areaW - px(8)) / 2 : areaW;
  auto sized = [&](double w, double h) {
    const RECT r =
        fit({0, 0, std::min(slotW, kMaxPreviewSide), std::min(areaH, kMaxPreviewSide)}, w / h);
    return std::pair<int, int>(std::min<int>(r.right - r.left, static_cast<int>(w)),
                               std::min<int>(r.bottom - r.top, static_cast<int>(h)));
  };
  const auto [uw, uh] = sized(doc.width, doc.height);
  const auto [cw, ch] = sized(std::max(canvasW, 1.0), std::max(canvasH, 1.0));
  if (uw != uncorrected_.width || uh != uncorrected_.height) uncorrected_.resize(uw, uh);
  if (cw != corrected_.width || ch != corrected_.height) corrected_.resize(cw, ch);
  // The uncorrected picture, once read at this size, is handed back as it
  // is: the filter makes the corrected one from it.
  const bool readUncorrected = !uncorrected_.ready;
  uncorrected_.request.pending = readUncorrected ? 1 : 0;
  corrected_.request.pending = 1;
  std::int32_t status = noErr;
  try {
    status = requestPreviews(suites_, facts_.event, settings_, &uncorrected_.request,
                             &corrected_.request);
  } catch (const StepError &e) {
    status = e.status;
  }
  ++previewPlays_;
  if (status != noErr || uncorrected_.request.pending != 0 || corrected_.request.pending != 0) {
    wchar_t text[128];
    std::swprintf(text, 128, L"The filter could not make the previews (status %d)",
                  static_cast<int>(status));
    setStatus(text);
  } else {
    if (readUncorrected) uncorrected_.takeFromRequest();
    corrected_.takeFromRequest();
    if (!dumpDir_.empty()) dumpPreviews();
    // Drawn now, before the status says so.
    InvalidateRect(preview_, nullptr, FALSE);
    UpdateWindow(preview_);
    setStatus(L"Preview up to date");
    return;
  }
  InvalidateRect(preview_, nullptr, FALSE);
}

// Written to a temporary name and renamed, so that a reader never sees half.
void writeWhole(const std::wstring &path, const std::string &bytes) {
  const std::wstring partial = path + L".partial";
  HANDLE f = CreateFileW(partial.c_str(), GENERIC_WRITE, 0, nullptr, CREATE_ALWAYS,
                         FILE_ATTRIBUTE_NORMAL, nullptr);
  if (f == INVALID_HANDLE_VALUE) return;
  DWORD written = 0;
  const BOOL ok = WriteFile(f, bytes.data(), static_cast<DWORD>(bytes.size()), &written, nullptr);
  CloseHandle(f);
  if (ok != FALSE && written == bytes.size()) {
    MoveFileExW(partial.c_str(), path.c_str(), MOVEFILE_REPLACE_EXISTING);
  } else {
    DeleteFileW(partial.c_str());
  }
}

// A picture as a binary PPM: the filter's red, green, blue rows.
std::string ppm(const Picture &p) {
  std::string out = "P6\n" + std::to_string(p.width) + " " + std::to_string(p.height) + "\n255\n";
  for (int y = 0; y < p.height; ++y) {
    const auto *row = p.pixels.data() + static_cast<std::size_t>(y) * p.rowBytes;
    out.append(reinterpret_cast<const char *>(row), static_cast<std::size_t>(p.width) * 3);
  }
  return out;
}

void Dialog::dumpPreviews() const {
  writeWhole(dumpDir_ + L"\\uncorrected.ppm", ppm(uncorrected_));
  writeWhole(dumpDir_ + L"\\corrected.ppm", ppm(corrected_));
  // Exactly what was played, so that a reader can play it again.
  char text[512];
  std::snprintf(
      text, sizeof text,
      "k1 %.17g\nk2 %.17g\ncenterX %.17g\ncenterY %.17g\nradiusLimit %.17g\n"
      "scale %.17g\ninterpolation %lu\norientation %lu\nmargins %ld %ld %ld %ld\n"
      "plays %d\n",
      settings_.k1, settings_.k2, settings_.centerX, settings_.centerY, settings_.radiusLimit,
      settings_.scale, static_cast<unsigned long>(settings_.interpolation),
      static_cast<unsigned long>(settings_.orientation), static_cast<long>(settings_.marginTop),
      static_cast<long>(settings_.marginBottom), static_cast<long>(settings_.marginLeft),
      static_cast<long>(settings_.marginRight), previewPlays_);
  writeWhole(dumpDir_ + L"\\settings.txt", text);
}

void Dialog::paintPreview(HDC target, const RECT &client) {
  const int w = std::max<int>(client.right, 1);
  const int h = std::max<int>(client.bottom, 1);
  HDC dc = CreateCompatibleDC(target);
  HBITMAP bitmap = CreateCompatibleBitmap(target, w, h);
  HGDIOBJ old = SelectObject(dc, bitmap);
  FillRect(dc, &client, GetSysColorBrush(COLOR_APPWORKSPACE));
  const double docAspect = facts_.document.height > 0
                               ? static_cast<double>(facts_.document.width) / facts_.document.height
                               : 1.0;
  const double canvasAspect =
      corrected_.height > 0 ? static_cast<double>(corrected_.width) / corrected_.height : docAspect;
  std::vector<RECT> pictures;
  switch (view_) {
    case View::SideBySide: {
      const int half = (w - px(8)) / 2;
      const RECT left = fit({0, 0, half, h}, docAspect);
      const RECT right = fit({w - half, 0, w, h}, canvasAspect);
      uncorrected_.draw(dc, left);
      corrected_.draw(dc, right);
      pictures = {left, right};
      break;
    }
    case View::Split: {
      const RECT r = fit(client, canvasAspect);
      corrected_.draw(dc, r);
      const int divider = r.left + static_cast<int>(std::lround(split_ * (r.right - r.left)));
      HRGN clip = CreateRectRgn(r.left, r.top, divider, r.bottom);
      SelectClipRgn(dc, clip);
      uncorrected_.draw(dc, r);
      SelectClipRgn(dc, nullptr);
      DeleteObject(clip);
      const RECT line{divider - px(1), 0, divider + px(1), h};
      FillRect(dc, &line, static_cast<HBRUSH>(GetStockObject(WHITE_BRUSH)));
      pictures = {r};
      break;
    }
    case View::Before:
    case View::After: {
      const Picture &p = view_ == View::Before ? uncorrected_ : corrected_;
      const RECT r = fit(client, view_ == View::Before ? docAspect : canvasAspect);
      p.draw(dc, r);
      pictures = {r};
      break;
    }
  }
  if (gridSpacing_ > 0) {
    // The grid shows whether straight lines came out straight.
    HPEN pen = CreatePen(PS_SOLID, 1, RGB(255, 255, 0));
    HGDIOBJ oldPen = SelectObject(dc, pen);
    const int step = std::max(px(gridSpacing_), 2);
    for (const RECT &r : pictures) {
      for (int x = r.left; x < r.right; x += step) {
        MoveToEx(dc, x, r.top, nullptr);
        LineTo(dc, x, r.bottom);
      }
      for (int y = r.top; y < r.bottom; y += step) {
        MoveToEx(dc, r.left, y, nullptr);
        LineTo(dc, r.right, y);
      }
    }
    SelectObject(dc, oldPen);
    DeleteObject(pen);
  }
  BitBlt(target, 0, 0, w, h, dc, 0, 0, SRCCOPY);
  SelectObject(dc, old);
  DeleteObject(bitmap);
  DeleteDC(dc);
}

void Dialog::applyAuto() {
  if (!profile_.settings) return;
  const LensSettings &p = *profile_.settings;
  settings_.k1 = p.k1;
  settings_.k2 = p.k2;
  settings_.centerX = p.centerX;
  settings_.centerY = p.centerY;
  settings_.scale = p.scale;
  settings_.radiusLimit = p.radiusLimit;
  if (p.interpolation != 0) settings_.interpolation = p.interpolation;
  showSettings();
  schedulePreview();
}

void Dialog::applyFill() {
  const auto zoom = fillZoomFor(settings_, facts_.document);
  if (!zoom) {
    setStatus(L"No zoom fills the frame with these settings");
    return;
  }
  settings_.scale = *zoom;
  showSettings();
  schedulePreview();
}

void Dialog::onSlider(HWND trackbar) {
  const int id = GetDlgCtrlID(trackbar);
  for (const SliderSpec &s : kSliders) {
    if (s.id + 1 != id) continue;
    const auto pos = static_cast<double>(SendMessageW(trackbar, TBM_GETPOS, 0, 0));
    settings_.*s.field = s.min + pos * s.step;
    updating_ = true;
    SetDlgItemTextW(hwnd_, s.id, format(settings_.*s.field).c_str());
    updating_ = false;
    schedulePreview();
  }
}

void Dialog::onCommand(int id, int code, HWND control) {
  switch (id) {
    case IDOK:
      finish(DialogResult::Ok);
      return;
    case IDCANCEL:
      finish(DialogResult::Cancelled);
      return;
    case ids::kAuto:
      if (code == BN_CLICKED) applyAuto();
      return;
    case ids::kFill:
      if (code == BN_CLICKED) applyFill();
      return;
    case ids::kReset:
      if (code == BN_CLICKED) {
        settings_ = facts_.initial;
        if (settings_.interpolation == 0) settings_.interpolation = kBicubic;
        showSettings();
        schedulePreview();
      }
      return;
    default:
      break;
  }
  if (updating_) return;
  if (id == ids::kLensSearch && code == EN_CHANGE) {
    showLenses();
    return;
  }
  if (id == ids::kLensList && code == LBN_SELCHANGE) {
    pickLens();
    return;
  }
  if (code == EN_CHANGE) {
    for (const SliderSpec &s : kSliders) {
      double v = 0.0;
      if (s.id == id && parseNumber(windowText(control), v)) {
        // The value typed is the value played, not the trackbar's step.
        settings_.*s.field = v;
        updating_ = true;
        showSlider(s);
        updating_ = false;
        schedulePreview();
      }
    }
    for (const MarginSpec &m : kMargins) {
      if (m.id == id) {
        BOOL ok = FALSE;
        const UINT v = GetDlgItemInt(hwnd_, id, &ok, FALSE);
        if (ok != FALSE && v <= 100000) {
          settings_.*m.field = static_cast<std::int32_t>(v);
          schedulePreview();
        }
      }
    }
    if (id == ids::kGrid) {
      BOOL ok = FALSE;
      const UINT v = GetDlgItemInt(hwnd_, id, &ok, FALSE);
      gridSpacing_ = ok != FALSE ? static_cast<int>(std::min<UINT>(v, 1000)) : 0;
      InvalidateRect(preview_, nullptr, FALSE);
    }
  } else if (code == CBN_SELCHANGE) {
    const auto index = SendMessageW(control, CB_GETCURSEL, 0, 0);
    if (index < 0) return;
    const auto i = static_cast<std::size_t>(index);
    if (id == ids::kOrientation && i < kOrientations.size()) {
      settings_.orientation = kOrientations[i].code;
      schedulePreview();
    } else if (id == ids::kMethod && i < kMethods.size()) {
      settings_.interpolation = kMethods[i].code;
      schedulePreview();
    } else if (id == ids::kView && i < kViews.size()) {
      view_ = static_cast<View>(i);
      schedulePreview();  // the pictures' sizes follow the view
    }
  }
}

LRESULT Dialog::handle(UINT message, WPARAM wp, LPARAM lp) {
  switch (message) {
    case WM_COMMAND:
      onCommand(LOWORD(wp), HIWORD(wp), reinterpret_cast<HWND>(lp));
      return 0;
    case WM_HSCROLL:
      if (lp != 0) onSlider(reinterpret_cast<HWND>(lp));
      return 0;
    case WM_NEXTDLGCTL: {
      // IsDialogMessage moves the focus through this (Tab, mnemonics), as a
      // dialog box procedure would answer it.
      HWND next = LOWORD(lp) != 0 ? reinterpret_cast<HWND>(wp)
                                  : GetNextDlgTabItem(hwnd_, GetFocus(), wp != 0 ? TRUE : FALSE);
      if (next != nullptr) {
        SetFocus(next);
        if ((SendMessageW(next, WM_GETDLGCODE, 0, 0) & DLGC_HASSETSEL) != 0) {
          SendMessageW(next, EM_SETSEL, 0, -1);
        }
      }
      return 0;
    }
    case DM_GETDEFID:
      // IsDialogMessage asks this for Enter.
      return MAKELRESULT(IDOK, DC_HASDEFID);
    case WM_TIMER:
      if (wp == kPreviewTimer) computePreviews();
      return 0;
    case WM_SIZE:
      layout();
      schedulePreview();
      return 0;
    case WM_GETMINMAXINFO: {
      auto *info = reinterpret_cast<MINMAXINFO *>(lp);
      info->ptMinTrackSize.x = px(760);
      info->ptMinTrackSize.y = px(560);
      return 0;
    }
    case WM_DPICHANGED: {
      dpi_ = HIWORD(wp);
      setFont();
      const auto *suggested = reinterpret_cast<const RECT *>(lp);
      SetWindowPos(hwnd_, nullptr, suggested->left, suggested->top,
                   suggested->right - suggested->left, suggested->bottom - suggested->top,
                   SWP_NOZORDER | SWP_NOACTIVATE);
      layout();
      return 0;
    }
    case WM_CLOSE:
      finish(DialogResult::Cancelled);
      return 0;
    default:
      return DefWindowProcW(hwnd_, message, wp, lp);
  }
}

LRESULT CALLBACK Dialog::windowProc(HWND w, UINT message, WPARAM wp, LPARAM lp) {
  if (message == WM_NCCREATE) {
    auto *dialog = static_cast<Dialog *>(reinterpret_cast<CREATESTRUCTW *>(lp)->lpCreateParams);
    dialog->hwnd_ = w;
    SetWindowLongPtrW(w, GWLP_USERDATA, reinterpret_cast<LONG_PTR>(dialog));
  }
  auto *dialog = reinterpret_cast<Dialog *>(GetWindowLongPtrW(w, GWLP_USERDATA));
  if (dialog == nullptr || dialog->hwnd_ == nullptr) return DefWindowProcW(w, message, wp, lp);
  // No exception may cross the system's frames.
  try {
    return dialog->handle(message, wp, lp);
  } catch (...) {
    dialog->finish(DialogResult::Cancelled);
    return 0;
  }
}

LRESULT CALLBACK Dialog::previewProc(HWND w, UINT message, WPARAM wp, LPARAM lp) {
  auto *dialog = reinterpret_cast<Dialog *>(GetWindowLongPtrW(w, GWLP_USERDATA));
  if (dialog == nullptr) return DefWindowProcW(w, message, wp, lp);
  RECT client{};
  GetClientRect(w, &client);
  switch (message) {
    case WM_PAINT: {
      PAINTSTRUCT paint{};
      HDC dc = BeginPaint(w, &paint);
      dialog->paintPreview(dc, client);
      EndPaint(w, &paint);
      return 0;
    }
    case WM_PRINTCLIENT:
      dialog->paintPreview(reinterpret_cast<HDC>(wp), client);
      return 0;
    case WM_ERASEBKGND:
      return 1;
    case WM_LBUTTONDOWN:
    case WM_MOUSEMOVE:
      if (dialog->view_ == View::Split && (message == WM_LBUTTONDOWN || dialog->dragging_)) {
        if (message == WM_LBUTTONDOWN) {
          dialog->dragging_ = true;
          SetCapture(w);
        }
        const double canvasAspect =
            dialog->corrected_.height > 0
                ? static_cast<double>(dialog->corrected_.width) / dialog->corrected_.height
                : 1.0;
        const RECT r = fit(client, canvasAspect);
        const int x = static_cast<short>(LOWORD(lp));
        dialog->split_ = std::clamp(
            static_cast<double>(x - r.left) / std::max<LONG>(r.right - r.left, 1), 0.0, 1.0);
        InvalidateRect(w, nullptr, FALSE);
      }
      return 0;
    case WM_LBUTTONUP:
      if (dialog->dragging_) {
        dialog->dragging_ = false;
        ReleaseCapture();
      }
      return 0;
    case WM_SETCURSOR:
      if (dialog->view_ == View::Split) {
        SetCursor(LoadCursorA(nullptr, IDC_SIZEWE));
        return TRUE;
      }
      return DefWindowProcW(w, message, wp, lp);
    default:
      return DefWindowProcW(w, message, wp, lp);
  }
}

DialogOutcome Dialog::run() {
  INITCOMMONCONTROLSEX controls{sizeof(INITCOMMONCONTROLSEX), ICC_BAR_CLASSES};
  InitCommonControlsEx(&controls);
  const HINSTANCE module = thisModule();
  WNDCLASSEXW cls{};
  cls.cbSize = sizeof cls;
  cls.lpfnWndProc = &Dialog::windowProc;
  cls.hInstance = module;
  cls.hCursor = LoadCursorA(nullptr, IDC_ARROW);
  cls.hbrBackground = GetSysColorBrush(COLOR_BTNFACE);
  cls.lpszClassName = ids::kWindowClass;
  RegisterClassExW(&cls);  // already registered by an earlier dialog: fine
  WNDCLASSEXW preview{};
  preview.cbSize = sizeof preview;
  preview.lpfnWndProc = &Dialog::previewProc;
  preview.hInstance = module;
  preview.hCursor = LoadCursorA(nullptr, IDC_ARROW);
  preview.lpszClassName = kPreviewClass;
  RegisterClassExW(&preview);

  if (suites_.uiHooks != nullptr) {
    owner_ = reinterpret_cast<HWND>(suites_.uiHooks->MainAppWindow());
    if (owner_ != nullptr && IsWindow(owner_) == FALSE) owner_ = nullptr;
    if (owner_ != nullptr) owner_ = GetAncestor(owner_, GA_ROOT);
  }
  hwnd_ = nullptr;
  HWND w = CreateWindowExW(WS_EX_DLGMODALFRAME | WS_EX_CONTROLPARENT, ids::kWindowClass,
                           L"Ortavel Lens Correction",
                           WS_POPUP | WS_CAPTION | WS_SYSMENU | WS_THICKFRAME | WS_CLIPCHILDREN,
                           CW_USEDEFAULT, CW_USEDEFAULT, 100, 100, owner_, nullptr, module, this);
  if (w == nullptr) return {};  // no window system: the step goes on without
  // Laid out at the window's own DPI, centred on the owner (or its monitor)
  // and kept on that monitor's work area.
  dpi_ = dpiOf(hwnd_);
  create();
  setFont();
  showSettings();
  RECT around{};
  HMONITOR monitor =
      MonitorFromWindow(owner_ != nullptr ? owner_ : hwnd_, MONITOR_DEFAULTTOPRIMARY);
  MONITORINFO info{};
  info.cbSize = sizeof info;
  GetMonitorInfoW(monitor, &info);
  if (owner_ != nullptr) {
    GetWindowRect(owner_, &around);
  } else {
    around = info.rcWork;
  }
  RECT frame{0, 0, px(1000), px(640)};
  AdjustWindowRectEx(&frame, static_cast<DWORD>(GetWindowLongPtrW(hwnd_, GWL_STYLE)), FALSE,
                     static_cast<DWORD>(GetWindowLongPtrW(hwnd_, GWL_EXSTYLE)));
  const RECT &work = info.rcWork;
  const int fw = std::min<int>(frame.right - frame.left, work.right - work.left);
  const int fh = std::min<int>(frame.bottom - frame.top, work.bottom - work.top);
  int x = (around.left + around.right - fw) / 2;
  int y = (around.top + around.bottom - fh) / 2;
  x = std::clamp<int>(x, work.left, std::max<int>(work.left, work.right - fw));
  y = std::clamp<int>(y, work.top, std::max<int>(work.top, work.bottom - fh));
  SetWindowPos(hwnd_, nullptr, x, y, fw, fh, SWP_NOZORDER | SWP_NOACTIVATE);
  layout();

  // Modal: the owner takes no input while the dialog is up.
  const bool ownerWasEnabled = owner_ != nullptr && IsWindowEnabled(owner_) != FALSE;
  if (ownerWasEnabled) EnableWindow(owner_, FALSE);
  ShowWindow(hwnd_, SW_SHOW);
  SetFocus(GetDlgItem(hwnd_, ids::kK1));
  SendDlgItemMessageW(hwnd_, ids::kK1, EM_SETSEL, 0, -1);
  computePreviews();

  MSG msg{};
  bool quit = false;
  while (!done_) {
    const BOOL got = GetMessageW(&msg, nullptr, 0, 0);
    if (got == 0 || got == -1) {
      quit = got == 0;
      result_ = DialogResult::Cancelled;
      break;
    }
    // Tab, the mnemonics, Enter and Esc.
    if (IsDialogMessageW(hwnd_, &msg) == FALSE) {
      TranslateMessage(&msg);
      DispatchMessageW(&msg);
    }
  }
  KillTimer(hwnd_, kPreviewTimer);
  // The owner is enabled before the dialog goes, so that it is activated
  // rather than some other application's window.
  if (ownerWasEnabled) EnableWindow(owner_, TRUE);
  DestroyWindow(hwnd_);
  hwnd_ = nullptr;
  if (font_ != nullptr) DeleteObject(font_);
  font_ = nullptr;
  if (quit) PostQuitMessage(static_cast<int>(msg.wParam));
  DialogOutcome outcome;
  outcome.result = result_;
  outcome.settings = settings_;
  return outcome;
}

}  // namespace

bool dialogAvailable() {
  return true;
}

DialogOutcome runDialog(const Suites &suites, const DialogFacts &facts) {
  Dialog dialog(suites, facts);
  return dialog.run();
}

}  // namespace ortavel::automation
