// Modal alerts on Windows: a host that shows alerts itself (the emulator does)
// exports the hook from its program, found through the process's own module;
// any other host gets the system's message box, owned by the host's main
// window so that it stays modal to the host.
#include <windows.h>

#include <string>

#include "frame/platform_alert.h"

namespace {

// UTF-8 to UTF-16; bytes that are not UTF-8 become U+FFFD, not an empty text.
std::wstring Widen(const char *text) {
  if (text == nullptr || *text == '\0') return std::wstring();
  const int length = MultiByteToWideChar(CP_UTF8, 0, text, -1, nullptr, 0);
  if (length <= 0) return std::wstring();
  std::wstring wide(static_cast<size_t>(length), L'\0');
  MultiByteToWideChar(CP_UTF8, 0, text, -1, wide.data(), length);
  wide.resize(static_cast<size_t>(length) - 1);  // the terminator the count included
  return wide;
}

OrtavelHostShowAlert HostHook() {
  // Looked up on every alert: alerts are rare, and GetProcAddress hands back
  // a generic function pointer that must be converted to the hook's type.
  HMODULE program = GetModuleHandleW(nullptr);
  if (program == nullptr) return nullptr;
  return reinterpret_cast<OrtavelHostShowAlert>(
      reinterpret_cast<void *>(GetProcAddress(program, ORTAVEL_HOST_SHOW_ALERT_SYMBOL)));
}

}  // namespace

extern "C" void ShowPlatformAlert(const char *title, const char *text, const PlatformData *owner) {
  if (OrtavelHostShowAlert hook = HostHook()) {
    hook(title, text);
    return;
  }
  HWND window = owner != nullptr ? reinterpret_cast<HWND>(owner->hwnd) : nullptr;
  // A plain alert (no icon, one OK button): the main text is the caption,
  // the explanation the body. Without a window it is modal to the whole task.
  MessageBoxW(window, Widen(text).c_str(), Widen(title).c_str(),
              MB_OK | (window != nullptr ? MB_APPLMODAL : MB_TASKMODAL) | MB_SETFOREGROUND);
}
