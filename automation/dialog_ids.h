// The dialog's window class and control ids: stable, since tests and
// accessibility tools find the controls by them.
#pragma once

namespace ortavel::automation::dialog_ids {

constexpr const wchar_t *kWindowClass = L"OrtavelLensCorrectionDialog";

// Each slider setting: its edit, and its trackbar at edit + 1.
constexpr int kK1 = 1001;
constexpr int kK2 = 1003;
constexpr int kCenterX = 1005;
constexpr int kCenterY = 1007;
constexpr int kZoom = 1009;
constexpr int kRadiusLimit = 1011;

constexpr int kOrientation = 1020;  // combo boxes
constexpr int kMethod = 1021;
constexpr int kMarginTop = 1022;  // edits
constexpr int kMarginBottom = 1023;
constexpr int kMarginLeft = 1024;
constexpr int kMarginRight = 1025;
constexpr int kView = 1026;  // combo: side by side, split, before, after
constexpr int kGrid = 1027;  // edit: grid spacing in pixels, 0 for none

constexpr int kAuto = 1030;  // buttons; OK and Cancel are IDOK and IDCANCEL
constexpr int kFill = 1031;
constexpr int kReset = 1032;
constexpr int kLensSearch = 1033;  // edit: words of the lens's name
constexpr int kLensList = 1034;    // list box: the matching lenses, shown with the search
                                   // only for cameras of interchangeable lenses

constexpr int kCamera = 1040;  // texts
constexpr int kProfile = 1041;
constexpr int kStatus = 1042;  // "Preview up to date" once the previews are drawn
constexpr int kPreview = 1050;

}  // namespace ortavel::automation::dialog_ids
