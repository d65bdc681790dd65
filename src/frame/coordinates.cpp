// Rectangle and size accessors. A host with big-document support gets the
// 32-bit fields (PluginMain has told it we use them); any other gets the
// record's 16-bit ones.
#include <cstdint>

#include "frame/globals.h"
#include "frame/host_services.h"

namespace {

BigDocumentStruct *Big32() {
  BigDocumentStruct *big = gFilterRecord->bigDocumentData;
  return big != nullptr && big->PluginUsing32BitCoordinates != 0 ? big : nullptr;
}

VRect Widen(const Rect &r) {
  return VRect{r.top, r.left, r.bottom, r.right};
}
VPoint Widen(const Point &p) {
  return VPoint{p.v, p.h};
}

// Keeps the low 16 bits: 32768 becomes -32768.
Rect Narrow(const VRect &r) {
  return Rect{static_cast<int16_t>(r.top), static_cast<int16_t>(r.left),
              static_cast<int16_t>(r.bottom), static_cast<int16_t>(r.right)};
}

}  // namespace

extern "C" VPoint GetImageSize(void) {
  if (BigDocumentStruct *big = Big32()) return big->imageSize32;
  return Widen(gFilterRecord->imageSize);
}

extern "C" VRect GetFilterRect(void) {
  if (BigDocumentStruct *big = Big32()) return big->filterRect32;
  return Widen(gFilterRecord->filterRect);
}

extern "C" VRect GetInRect(void) {
  if (BigDocumentStruct *big = Big32()) return big->inRect32;
  return Widen(gFilterRecord->inRect);
}

extern "C" VRect GetOutRect(void) {
  if (BigDocumentStruct *big = Big32()) return big->outRect32;
  return Widen(gFilterRecord->outRect);
}

extern "C" VRect GetMaskRect(void) {
  if (BigDocumentStruct *big = Big32()) return big->maskRect32;
  return Widen(gFilterRecord->maskRect);
}

extern "C" VPoint GetFloatCoord(void) {
  if (BigDocumentStruct *big = Big32()) return big->floatCoord32;
  return Widen(gFilterRecord->floatCoord);
}

extern "C" VPoint GetWholeSize(void) {
  if (BigDocumentStruct *big = Big32()) return big->wholeSize32;
  return Widen(gFilterRecord->wholeSize);
}

extern "C" void SetInRect(VRect r) {
  if (BigDocumentStruct *big = Big32()) {
    big->inRect32 = r;
  } else {
    gFilterRecord->inRect = Narrow(r);
  }
}

extern "C" void SetOutRect(VRect r) {
  if (BigDocumentStruct *big = Big32()) {
    big->outRect32 = r;
  } else {
    gFilterRecord->outRect = Narrow(r);
  }
}

extern "C" void SetMaskRect(VRect r) {
  if (BigDocumentStruct *big = Big32()) {
    big->maskRect32 = r;
  } else {
    gFilterRecord->maskRect = Narrow(r);
  }
}
