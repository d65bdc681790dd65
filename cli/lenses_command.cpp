// `ortavel lenses [TEXT]`: the cameras and lenses of the lens database whose
// names hold every word of TEXT, with what a profile lookup uses of them.
#include <algorithm>
#include <cstdio>
#include <string>
#include <vector>

#include "commands.h"
#include "lens_profiles/lens_database.h"

namespace ortavel::cli {
namespace {

std::string number(double v) {
  char b[32];
  std::snprintf(b, sizeof b, "%g", v);
  return b;
}

std::string focalRange(const lfLens *l) {
  if (!(l->MinFocal > 0.0f)) return "?";
  if (!(l->MaxFocal > l->MinFocal)) return number(l->MinFocal) + " mm";
  return number(l->MinFocal) + "-" + number(l->MaxFocal) + " mm";
}

// Rows of cells printed in columns as wide as their widest cell.
void printTable(const std::vector<std::vector<std::string>> &rows) {
  std::vector<std::size_t> width;
  for (const auto &r : rows) {
    width.resize(std::max(width.size(), r.size()), 0);
    for (std::size_t i = 0; i < r.size(); ++i) width[i] = std::max(width[i], r[i].size());
  }
  for (const auto &r : rows) {
    std::string line = " ";
    for (std::size_t i = 0; i < r.size(); ++i) {
      line += " " + r[i];
      if (i + 1 < r.size()) line.append(width[i] - r[i].size() + 2, ' ');
    }
    std::printf("%s\n", line.c_str());
  }
}

}  // namespace

ExitCode runLenses(const CommandLine &cl) {
  std::string text;
  for (const auto &w : cl.files) text += (text.empty() ? "" : " ") + w;
  const LensDatabase &db = LensDatabase::shared();
  auto cameras = db.camerasMatching(text);
  auto lenses = db.lensesMatching(text);
  if (cl.lensNamesOnly) {
    // For shell completion: each name once, nothing else.
    std::vector<std::string> names;
    names.reserve(lenses.size());
    for (const lfLens *l : lenses) names.push_back(lensName(l));
    std::sort(names.begin(), names.end());
    names.erase(std::unique(names.begin(), names.end()), names.end());
    for (const auto &n : names) std::printf("%s\n", n.c_str());
    return ExitCode::kOk;
  }
  if (cameras.empty() && lenses.empty()) {
    std::printf("no camera or lens of the lens database matches \"%s\"\n", text.c_str());
    return ExitCode::kOk;
  }
  if (!cameras.empty()) {
    std::sort(cameras.begin(), cameras.end(), [](const lfCamera *a, const lfCamera *b) {
      return cameraListName(a) < cameraListName(b);
    });
    std::vector<std::vector<std::string>> rows{{"camera", "crop", "mount"}};
    for (const lfCamera *c : cameras) {
      rows.push_back({cameraListName(c), number(c->CropFactor),
                      hasFixedLens(c)       ? std::string("fixed lens")
                      : c->Mount != nullptr ? std::string(c->Mount)
                                            : std::string("?")});
    }
    std::printf("Cameras (%zu), named with --camera \"NAME\" as listed:\n", cameras.size());
    printTable(rows);
  }
  if (!lenses.empty()) {
    std::sort(lenses.begin(), lenses.end(),
              [](const lfLens *a, const lfLens *b) { return lensName(a) < lensName(b); });
    std::vector<std::vector<std::string>> rows{{"lens", "crop", "model", "focal range"}};
    for (const lfLens *l : lenses) {
      rows.push_back({lensName(l), number(l->CropFactor), distortionModels(l), focalRange(l)});
    }
    if (!cameras.empty()) std::printf("\n");
    std::printf("Lenses (%zu), named with --lens-model \"NAME\":\n", lenses.size());
    printTable(rows);
  }
  return ExitCode::kOk;
}

}  // namespace ortavel::cli
