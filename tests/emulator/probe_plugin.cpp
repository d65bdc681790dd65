// A minimal filter module for the emulator's tests. PluginMain hands every
// call to a script the test installs with probe_set_script; without one it
// is a plain inverting filter that walks the host's output tiles with
// advanceState, and on the about selector shows an alert through the host's
// hook.
#include <dlfcn.h>

#include <cstdint>
#include <cstring>

#include "host/photoshop_api.h"

namespace {

using Script = void (*)(int16 selector, void *block, intptr_t *data, int16 *result);
Script gScript = nullptr;

void request(FilterRecord *fr, const VRect &in, const VRect &out) {
  if (fr->bigDocumentData != nullptr) {
    fr->bigDocumentData->inRect32 = in;
    fr->bigDocumentData->outRect32 = out;
  } else {
    fr->inRect = Rect{static_cast<int16>(in.top), static_cast<int16>(in.left),
                      static_cast<int16>(in.bottom), static_cast<int16>(in.right)};
    fr->outRect = Rect{static_cast<int16>(out.top), static_cast<int16>(out.left),
                       static_cast<int16>(out.bottom), static_cast<int16>(out.right)};
  }
}

void invert(FilterRecord *fr, int16 *result) {
  if (fr->bigDocumentData != nullptr) fr->bigDocumentData->PluginUsing32BitCoordinates = 1;
  const int32 w = fr->bigDocumentData ? fr->bigDocumentData->imageSize32.h : fr->imageSize.h;
  const int32 h = fr->bigDocumentData ? fr->bigDocumentData->imageSize32.v : fr->imageSize.v;
  const int32 tw = fr->outTileWidth, th = fr->outTileHeight;
  if (tw <= 0 || th <= 0) {
    *result = filterBadParameters;
    return;
  }
  fr->inLoPlane = fr->outLoPlane = 0;
  fr->inHiPlane = fr->outHiPlane = static_cast<int16>(fr->planes - 1);
  const int32 bps = fr->depth / 8;
  for (int32 top = 0; top < h; top += th) {
    for (int32 left = 0; left < w; left += tw) {
      const VRect r{top, left, top + th < h ? top + th : h, left + tw < w ? left + tw : w};
      request(fr, r, r);
      if ((*result = fr->advanceState()) != noErr) return;
      const int32 bytes = (r.right - r.left) * fr->planes * bps;
      for (int32 y = 0; y < r.bottom - r.top; ++y) {
        const auto *src = static_cast<const uint8 *>(fr->inData) + y * fr->inRowBytes;
        auto *dst = static_cast<uint8 *>(fr->outData) + y * fr->outRowBytes;
        for (int32 i = 0; i < bytes; ++i) dst[i] = static_cast<uint8>(255 - src[i]);
      }
      if (fr->abortProc()) {
        *result = userCanceledErr;
        return;
      }
    }
  }
  request(fr, VRect{0, 0, 0, 0}, VRect{0, 0, 0, 0});
}

}  // namespace

extern "C" __attribute__((visibility("default"))) void probe_set_script(Script script) {
  gScript = script;
}

extern "C" __attribute__((visibility("default"))) void PluginMain(int16 selector, void *block,
                                                                  intptr_t *data, int16 *result) {
  if (gScript != nullptr) {
    gScript(selector, block, data, result);
    return;
  }
  if (selector == filterSelectorAbout) {
    using Alert = void (*)(const char *, const char *);
    auto alert = reinterpret_cast<Alert>(dlsym(RTLD_DEFAULT, "ortavel_host_show_alert"));
    if (alert != nullptr) alert("About Probe", "probe module");
    return;
  }
  if (selector == filterSelectorStart) invert(static_cast<FilterRecord *>(block), result);
}
