// Loading a filter module the way a Windows host does: the module is mapped
// with LoadLibraryW, its PiPL resource (type "PiPL"; Windows matches resource
// type names without regard to case, and resource compilers store them in
// capitals) says whether it is a
// filter and which function is its x64 entry point, and only that name is
// looked up. Its terminology (type "AETE", the id the PiPL gives) is read
// for describe().
#include <windows.h>

#include "emulator/fourcc.h"
#include "emulator/plugin.h"

namespace hostemu {
namespace {

std::string systemMessage(DWORD code) {
  wchar_t *text = nullptr;
  const DWORD n = FormatMessageW(
      FORMAT_MESSAGE_ALLOCATE_BUFFER | FORMAT_MESSAGE_FROM_SYSTEM | FORMAT_MESSAGE_IGNORE_INSERTS,
      nullptr, code, 0, reinterpret_cast<wchar_t *>(&text), 0, nullptr);
  std::string out = "error " + std::to_string(code);
  if (n > 0 && text != nullptr) {
    std::wstring w(text, n);
    while (!w.empty() && (w.back() == L'\n' || w.back() == L'\r' || w.back() == L' ')) w.pop_back();
    const int bytes = WideCharToMultiByte(CP_UTF8, 0, w.c_str(), -1, nullptr, 0, nullptr, nullptr);
    if (bytes > 1) {
      std::string narrow(static_cast<std::size_t>(bytes), '\0');
      WideCharToMultiByte(CP_UTF8, 0, w.c_str(), -1, narrow.data(), bytes, nullptr, nullptr);
      narrow.pop_back();
      out += ": " + narrow;
    }
  }
  if (text != nullptr) LocalFree(text);
  return out;
}

// The bytes of one resource, or an empty span when there is none.
std::span<const std::uint8_t> resourceBytes(HMODULE module, const wchar_t *name,
                                            const wchar_t *type) {
  HRSRC found = FindResourceW(module, name, type);
  if (found == nullptr) return {};
  HGLOBAL loaded = LoadResource(module, found);
  const void *bytes = loaded != nullptr ? LockResource(loaded) : nullptr;
  if (bytes == nullptr) return {};
  return {static_cast<const std::uint8_t *>(bytes), SizeofResource(module, found)};
}

// The first PiPL the module holds (a module may describe several plug-ins;
// ours describes one).
BOOL CALLBACK firstName(HMODULE, LPCWSTR, LPWSTR name, LONG_PTR found) {
  auto *id = reinterpret_cast<std::wstring *>(found);
  // An integer id is passed as a pointer-sized number below 0x10000.
  *id = IS_INTRESOURCE(name)
            ? L"#" + std::to_wstring(static_cast<unsigned>(reinterpret_cast<ULONG_PTR>(name)))
            : std::wstring(name);
  return FALSE;  // stop at the first
}

}  // namespace

void Plugin::Closer::operator()(void *h) const {
  if (h != nullptr) FreeLibrary(static_cast<HMODULE>(h));
}

Plugin::Plugin(const std::filesystem::path &path, ModuleKind kind)
    : path_(path), handles_(std::make_unique<HandleStore>()), kind_(kind) {
  const std::string shown = path.string();
  HMODULE module = LoadLibraryW(path.wstring().c_str());
  if (module == nullptr) {
    throw PluginLoadError("cannot load the plug-in module " + shown + ": " +
                          systemMessage(GetLastError()) +
                          " (check the path and that it is a 64-bit Windows DLL)");
  }
  module_.reset(module);

  std::wstring id;
  EnumResourceNamesW(module, L"PiPL", firstName, reinterpret_cast<LONG_PTR>(&id));
  if (id.empty()) {
    throw PluginLoadError("the module " + shown +
                          " has no PiPL resource, so a host does not list it as a plug-in");
  }
  const auto bytes = resourceBytes(module, id.c_str(), L"PiPL");
  try {
    pipl_ = parsePipl(bytes);
  } catch (const PiplError &e) {
    throw PluginLoadError("the PiPL of " + shown + " is damaged: " + e.what());
  }
  resolveEntry("");

  if (pipl_->terminology) {
    const auto terms = resourceBytes(
        module, MAKEINTRESOURCEW(static_cast<WORD>(pipl_->terminology->resourceId)), L"AETE");
    if (!terms.empty()) {
      try {
        aete_ = parseAete(terms);
      } catch (const PiplError &e) {
        throw PluginLoadError("the terminology of " + shown + " is damaged: " + e.what());
      }
    }
  }
}

Plugin::~Plugin() = default;

void *Plugin::symbol(const std::string &name) const {
  return reinterpret_cast<void *>(
      GetProcAddress(static_cast<HMODULE>(module_.get()), name.c_str()));
}

}  // namespace hostemu
