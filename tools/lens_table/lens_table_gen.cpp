// Writes the lens table (profiles/lens_table_data.h records) from the lens
// database the library loads on this machine: the same data, the same order
// and the same single-precision numbers the command works with.
//
//   ortavel-lens-table-gen OUTPUT.cpp
//
// The output is written to a temporary file next to OUTPUT and renamed over
// it, so an interrupted build never leaves half a table.
#include <lensfun/lensfun.h>

#include <cstdint>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <iostream>
#include <map>
#include <sstream>
#include <string>
#include <vector>

namespace {

// The pool of texts; offset 0 is "no text".
class Pool {
 public:
  Pool() { bytes_.assign(2, '\0'); }
  // A multi-language string with its translations, as the library stores it.
  std::uint32_t addMl(const char *s) {
    if (s == nullptr) return 0;
    std::string raw = s;
    raw += '\0';
    for (const char *p = s + raw.size(); *p != 0;) {
      const std::string lang = p;
      p += lang.size() + 1;
      const std::string text = p;
      p += text.size() + 1;
      raw += lang;
      raw += '\0';
      raw += text;
      raw += '\0';
    }
    raw += '\0';
    return add(raw);
  }
  std::uint32_t addPlain(const char *s) {
    if (s == nullptr) return 0;
    return add(std::string(s) + '\0' + '\0');
  }
  const std::string &bytes() const { return bytes_; }

 private:
  std::uint32_t add(const std::string &raw) {
    const auto found = seen_.find(raw);
    if (found != seen_.end()) return found->second;
    const auto at = static_cast<std::uint32_t>(bytes_.size());
    bytes_ += raw;
    seen_.emplace(raw, at);
    return at;
  }
  std::string bytes_;
  std::map<std::string, std::uint32_t> seen_;
};

// Exact: hexadecimal floating literals carry every bit.
std::string flt(float v) {
  char b[64];
  std::snprintf(b, sizeof b, "%af", static_cast<double>(v));
  return b;
}

std::string stringLiteral(const std::string &bytes) {
  std::string out = "\"";
  int column = 0;
  for (const char ch : bytes) {
    const auto c = static_cast<unsigned char>(ch);
    char b[8];
    if (c == '"' || c == '\\') {
      std::snprintf(b, sizeof b, "\\%c", c);
    } else if (c >= 0x20 && c < 0x7f && c != '?') {
      b[0] = static_cast<char>(c);
      b[1] = 0;
    } else {
      std::snprintf(b, sizeof b, "\\%03o", c);  // three digits: never joins the next
    }
    out += b;
    column += static_cast<int>(std::char_traits<char>::length(b));
    if (column > 90) {
      out += "\"\n    \"";
      column = 0;
    }
  }
  return out + "\"";
}

struct Database {
  lfDatabase *db = lf_db_new();
  ~Database() { lf_db_destroy(db); }
};

}  // namespace

int main(int argc, char **argv) {
  if (argc != 2) {
    std::cerr << "usage: ortavel-lens-table-gen OUTPUT.cpp\n";
    return 2;
  }
  Database d;
  if (d.db == nullptr || lf_db_load(d.db) != LF_NO_ERROR) {
    std::cerr << "ortavel-lens-table-gen: cannot load the lens database (install the Debian "
                 "package liblensfun-data-v1)\n";
    return 1;
  }

  Pool pool;
  std::vector<std::uint32_t> refs;
  std::ostringstream mounts, cameras, lenses, calibrations;
  std::size_t mountCount = 0, cameraCount = 0, lensCount = 0, calibrationCount = 0;

  for (auto *const *m = d.db->GetMounts(); m != nullptr && *m != nullptr; ++m, ++mountCount) {
    const auto first = refs.size();
    for (char **c = (*m)->Compat; c != nullptr && *c != nullptr; ++c)
      refs.push_back(pool.addPlain(*c));
    mounts << "    {" << pool.addMl((*m)->Name) << ", " << first << ", " << refs.size() - first
           << "},\n";
  }
  for (auto *const *c = d.db->GetCameras(); c != nullptr && *c != nullptr; ++c, ++cameraCount) {
    cameras << "    {" << pool.addMl((*c)->Maker) << ", " << pool.addMl((*c)->Model) << ", "
            << pool.addMl((*c)->Variant) << ", " << pool.addPlain((*c)->Mount) << ", "
            << flt((*c)->CropFactor) << "},\n";
  }
  for (auto *const *l = d.db->GetLenses(); l != nullptr && *l != nullptr; ++l, ++lensCount) {
    const lfLens &lens = **l;
    const auto firstMount = refs.size();
    for (char **m = lens.Mounts; m != nullptr && *m != nullptr; ++m)
      refs.push_back(pool.addPlain(*m));
    const auto firstCalibration = calibrationCount;
    for (auto **c = lens.CalibDistortion; c != nullptr && *c != nullptr; ++c, ++calibrationCount) {
      calibrations << "    {" << static_cast<int>((*c)->Model) << ", " << flt((*c)->Focal) << ", {"
                   << flt((*c)->Terms[0]) << ", " << flt((*c)->Terms[1]) << ", "
                   << flt((*c)->Terms[2]) << "}},\n";
    }
    lenses << "    {" << pool.addMl(lens.Maker) << ", " << pool.addMl(lens.Model) << ", "
           << flt(lens.MinFocal) << ", " << flt(lens.MaxFocal) << ", " << flt(lens.MinAperture)
           << ", " << flt(lens.MaxAperture) << ", " << firstMount << ", "
           << refs.size() - firstMount << ", " << flt(lens.CenterX) << ", " << flt(lens.CenterY)
           << ", " << flt(lens.CropFactor) << ", " << flt(lens.AspectRatio) << ", "
           << static_cast<int>(lens.Type) << ", " << firstCalibration << ", "
           << calibrationCount - firstCalibration << "},\n";
  }

  std::ostringstream out;
  out << "// Generated by ortavel-lens-table-gen from the lensfun database; do not edit.\n"
         "// The data: lensfun's database, CC BY-SA 3.0 (see THIRD_PARTY_NOTICES.md).\n"
         "#include \"profiles/lens_table_data.h\"\n\n"
         "namespace ortavel::profiles::lensdata {\n\n";
  out << "const char kSource[] = \"lensfun " << LF_VERSION_MAJOR << '.' << LF_VERSION_MINOR << '.'
      << LF_VERSION_MICRO << " database: " << cameraCount << " cameras, " << lensCount
      << " lenses\";\n\n";
  out << "const char kStrings[] =\n    " << stringLiteral(pool.bytes()) << ";\n\n";
  out << "const std::uint32_t kMountRefs[] = {";
  for (const auto r : refs) out << r << ", ";
  out << "0};\n\n";
  out << "const Mount kMounts[] = {\n" << mounts.str() << "};\n";
  out << "const std::size_t kMountCount = " << mountCount << ";\n\n";
  out << "const Camera kCameras[] = {\n" << cameras.str() << "};\n";
  out << "const std::size_t kCameraCount = " << cameraCount << ";\n\n";
  out << "const Lens kLenses[] = {\n" << lenses.str() << "};\n";
  out << "const std::size_t kLensCount = " << lensCount << ";\n\n";
  out << "const Calibration kCalibrations[] = {\n"
      << calibrations.str() << "    {0, 0, {0, 0, 0}}};\n\n";
  out << "}  // namespace ortavel::profiles::lensdata\n";

  const std::filesystem::path target = argv[1];
  const std::filesystem::path temp = target.string() + ".tmp";
  std::error_code ec;
  if (target.has_parent_path()) std::filesystem::create_directories(target.parent_path(), ec);
  {
    std::ofstream f(temp, std::ios::binary | std::ios::trunc);
    f << out.str();
    if (!f.flush()) {
      std::cerr << "ortavel-lens-table-gen: cannot write " << temp << "\n";
      return 1;
    }
  }
  std::filesystem::rename(temp, target, ec);
  if (ec) {
    std::cerr << "ortavel-lens-table-gen: cannot write " << target << ": " << ec.message() << "\n";
    return 1;
  }
  return 0;
}
