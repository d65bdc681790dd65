// The automation step's dialog in the Windows host, driven as a user would
// through window messages from a second thread while "Do It" runs on the
// main one:
//   1. OK: the dialog, owned by the host's window and centred on it, takes
//      Auto (when the lens table has a profile), k1 typed into its edit, Fill,
//      the split view, and Enter; the picture it leaves must equal, byte for byte, a silent
//      replay of the descriptor it recorded, and that descriptor must hold the
//      k1 typed;
//   2. keyboard: Tab from the k1 edit reaches k1's trackbar, Alt+Z the zoom
//      edit;
//   3. Cancel (Esc) after a change: -128 and the picture as it was; before
//      it, k1's edit shows what the dialog opened with (0 on a menu
//      invocation, the recorded k1 on a replay with the dialog on), the
//      trackbar writes the edit, and Reset brings the opening value back.
// Screenshots of the dialog go to OUTDIR as BMP files.
//   ortavel-dialog-test FILTER STEP EXIF OUTDIR TAG
#include <windows.h>
// windows.h first: the common controls' header needs its types.
#include <commctrl.h>

#include <atomic>
#include <cmath>
#include <cstdio>
#include <fstream>
#include <iostream>
#include <iterator>
#include <string>
#include <thread>
#include <vector>

#include "automation/dialog_ids.h"
#include "emulator/automation/automation_host.h"
#include "emulator/document.h"
#include "emulator/plugin.h"

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
hostemu::Document makeDocument(const std::vector<std::uint8_t> &exif) {
  hostemu::Document doc;
  doc.width = 320;
  doc.height = 240;
  doc.planes.resize(3);
  for (std::size_t p = 0; p < 3; ++p) {
    auto &s = doc.planes[p].samples;
    s.resize(doc.planeBytes());
    for (int y = 0; y < doc.height; ++y) {
      for (int x = 0; x < doc.width; ++x) {
        const bool line = x % 20 == 0 || y % 20 == 0;
        const int v = line ? 255 : static_cast<int>((x * (p + 1) + y * (3 - p)) % 200);
        s[static_cast<std::size_t>(y) * 320 + static_cast<std::size_t>(x)] =
            static_cast<std::uint8_t>(v);
      }
    }
  }
  doc.exif = exif;
  return doc;
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

void pressOk(HWND mainWindow, const std::string &out, const std::string &tag) {
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

}  // namespace

int main(int argc, char **argv) {
  if (argc != 6) {
    std::cerr << "usage: ortavel-dialog-test FILTER STEP EXIF OUTDIR TAG\n";
    return 2;
  }
  const std::string out = argv[4];
  const std::string tag = argv[5];
  makeDpiAware();
  WNDCLASSW cls{};
  cls.lpfnWndProc = hostWindowProc;
  cls.hInstance = GetModuleHandleW(nullptr);
  cls.hbrBackground = GetSysColorBrush(COLOR_APPWORKSPACE);
  cls.lpszClassName = L"OrtavelTestHostWindow";
  RegisterClassW(&cls);
  HWND mainWindow = CreateWindowW(cls.lpszClassName, L"Ortavel test host", WS_OVERLAPPEDWINDOW, 40,
                                  30, 2200, 1500, nullptr, nullptr, cls.hInstance, nullptr);
  if (mainWindow == nullptr) {
    std::cerr << "dialog-test: no window can be made (is there a display?)\n";
    return 2;
  }
  ShowWindow(mainWindow, SW_SHOW);

  try {
    hostemu::Plugin filter(argv[1]);
    hostemu::Plugin step(argv[2], hostemu::ModuleKind::Automation);
    const hostemu::Document original = makeDocument(readFile(argv[3]));

    // 1. OK, through the dialog.
    hostemu::Document chosen = original;
    hostemu::AutomationOptions menu;
    menu.playInfo = 1;
    menu.mainWindow = reinterpret_cast<std::intptr_t>(mainWindow);
    hostemu::DoItResult ok;
    {
      hostemu::AutomationHost host(step, {&filter}, chosen, menu);
      host.start();
      std::thread user([&] { pressOk(mainWindow, out, tag); });
      ok = host.doIt(nullptr);
      closeIfOpen();
      user.join();
      host.stop();
    }
    if (ok.result != 0) fail("OK: Do It answered " + std::to_string(ok.result));
    if (samePicture(chosen, original)) fail("OK: the picture was not corrected");
    if (!ok.descriptor) {
      fail("OK: nothing was recorded");
    } else {
      const auto *k1 = ok.descriptor->find(0x70614B31);  // "paK1"
      if (k1 == nullptr || k1->number != -0.05) fail("OK: the recorded k1 is not the -0.05 typed");
      const auto *zoom = ok.descriptor->find(0x73636146);  // "scaF"
      if (zoom == nullptr || zoom->number == 1.0) fail("OK: the zoom Fill chose was not recorded");

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
  } catch (const std::exception &e) {
    fail(e.what());
  }
  DestroyWindow(mainWindow);
  if (failures != 0) return 1;
  std::cout << "dialog-test " << tag << ": passed\n";
  return 0;
}
