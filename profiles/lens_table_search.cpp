#include "profiles/lens_table_search.h"

#include <cfloat>
#include <charconv>
#include <climits>
#include <cstdint>
#include <cstring>
#include <string_view>

#include "profiles/lens_table_data.h"

namespace ortavel::profiles::table {
namespace {

using lensdata::kStrings;

const char *text(std::uint32_t offset) {
  return offset == 0 ? nullptr : kStrings + offset;
}

// --- Unicode, as far as the database's names and EXIF texts need it --------

// One code point of UTF-8 text; a stray byte stands for itself.
char32_t nextChar(const char *&s) {
  const auto c = static_cast<unsigned char>(*s);
  int extra = c >= 0xf0 ? 3 : c >= 0xe0 ? 2 : c >= 0xc0 ? 1 : 0;
  char32_t cp = extra == 0 ? c : c & (0x3f >> extra);
  ++s;
  while (extra-- > 0 && (static_cast<unsigned char>(*s) & 0xc0) == 0x80)
    cp = (cp << 6) | (static_cast<unsigned char>(*s++) & 0x3f);
  return cp;
}

bool isUnicodeSpace(char32_t c) {
  return c == '\t' || c == '\n' || c == '\r' || c == '\f' || c == ' ' || c == 0xa0 || c == 0x1680 ||
         (c >= 0x2000 && c <= 0x200a) || c == 0x2028 || c == 0x2029 || c == 0x202f || c == 0x205f ||
         c == 0x3000;
}

// Small letters for the Latin alphabets (ASCII, Latin-1, Latin Extended-A).
char32_t toLower(char32_t c) {
  if (c >= 'A' && c <= 'Z') return c + 32;
  if (c >= 0xc0 && c <= 0xde && c != 0xd7) return c + 32;
  if (c >= 0x100 && c <= 0x137 && c % 2 == 0) return c + 1;
  if (c >= 0x139 && c <= 0x148 && c % 2 == 1) return c + 1;
  if (c >= 0x14a && c <= 0x177 && c % 2 == 0) return c + 1;
  if (c == 0x178) return 0xff;
  if (c >= 0x179 && c <= 0x17e && c % 2 == 1) return c + 1;
  return c;
}

void appendUtf8(std::string &out, char32_t c) {
  if (c < 0x80) {
    out += static_cast<char>(c);
  } else if (c < 0x800) {
    out += static_cast<char>(0xc0 | (c >> 6));
    out += static_cast<char>(0x80 | (c & 0x3f));
  } else if (c < 0x10000) {
    out += static_cast<char>(0xe0 | (c >> 12));
    out += static_cast<char>(0x80 | ((c >> 6) & 0x3f));
    out += static_cast<char>(0x80 | (c & 0x3f));
  } else {
    out += static_cast<char>(0xf0 | (c >> 18));
    out += static_cast<char>(0x80 | ((c >> 12) & 0x3f));
    out += static_cast<char>(0x80 | ((c >> 6) & 0x3f));
    out += static_cast<char>(0x80 | (c & 0x3f));
  }
}

// Case folding for word matching: small letters, "ss" for the sharp s.
std::string caseFold(std::string_view word) {
  std::string out;
  const std::string w(word);
  for (const char *p = w.c_str(); *p != 0;) {
    const char32_t c = nextChar(p);
    if (c == 0xdf)
      out += "ss";
    else if (c == 0xb5)
      appendUtf8(out, 0x3bc);
    else
      appendUtf8(out, toLower(c));
  }
  return out;
}

// --- The library's name comparison -------------------------------------------

// Case ignored, leading spaces ignored, runs of spaces as one, trailing
// spaces ignored; an empty text is no text, and no text sorts first.
int compareNames(const char *s1, const char *s2) {
  if (s1 != nullptr && *s1 == 0) s1 = nullptr;
  if (s2 != nullptr && *s2 == 0) s2 = nullptr;
  if (s1 == nullptr) return s2 == nullptr ? 0 : -1;
  if (s2 == nullptr) return 1;

  auto skipSpaces = [](const char *&s) {
    for (;;) {
      const char *p = s;
      if (*p == 0 || !isUnicodeSpace(nextChar(p))) return;
      s = p;
    }
  };
  bool begin = true;
  // The next character, a run of spaces as one, leading spaces skipped.
  auto nextFolded = [&](const char *&s) {
    char32_t c = 0;
    do {
      c = nextChar(s);
      if (isUnicodeSpace(c)) {
        c = ' ';
        skipSpaces(s);
      }
    } while (begin && c == ' ');
    return toLower(c);
  };
  for (;;) {
    const char32_t c1 = nextFolded(s1);
    const char32_t c2 = nextFolded(s2);
    begin = false;
    if (c1 == c2) {
      if (c1 == 0) return 0;
      continue;
    }
    if (c2 == 0 && c1 == ' ') {
      skipSpaces(s1);
      return *s1 != 0 ? 1 : 0;
    }
    if (c1 == 0 && c2 == ' ') {
      skipSpaces(s2);
      return *s2 != 0 ? -1 : 0;
    }
    return static_cast<int>(c1) - static_cast<int>(c2);
  }
}

// The next text of a multi-language string after `s` (skipping the language
// tag), or null at its end.
const char *nextText(const char *s) {
  s += std::strlen(s) + 1;
  if (*s == 0) return nullptr;
  s += std::strlen(s) + 1;
  return s;
}

// `s1` against every text of `ml`: 0 when one equals it, else the order
// against the default text.
int compareWithAny(const char *s1, const char *ml) {
  if (s1 == nullptr) return ml == nullptr ? 0 : -1;
  if (ml == nullptr) return 1;
  int first = 0;
  for (const char *t = ml; t != nullptr && *t != 0; t = nextText(t)) {
    const int r = compareNames(s1, t);
    if (r == 0) return 0;
    if (t == ml) first = r;
  }
  return first;
}

// Inserts into a list kept in order by `cmp` where the library's binary
// insertion puts it: after an equal element the search happens to meet.
template <typename T, typename Cmp>
void insertSorted(std::vector<T> &v, const T &item, Cmp cmp) {
  int m = 0, l = 0, r = static_cast<int>(v.size()) - 1;
  bool found = false;
  while (l <= r) {
    m = (l + r) / 2;
    const int c = cmp(v[static_cast<std::size_t>(m)], item);
    if (c == 0) {
      ++m;
      found = true;
      break;
    }
    if (c < 0)
      l = m + 1;
    else
      r = m - 1;
  }
  if (!found && r == m) ++m;
  v.insert(v.begin() + m, item);
}

// --- Word matching -----------------------------------------------------------

bool asciiSpace(unsigned char c) {
  return c == ' ' || (c >= '\t' && c <= '\r');
}
bool asciiDigit(unsigned char c) {
  return c >= '0' && c <= '9';
}
bool asciiPunct(unsigned char c) {
  return (c >= 33 && c <= 47) || (c >= 58 && c <= 64) || (c >= 91 && c <= 96) ||
         (c >= 123 && c <= 126);
}

// Words: runs of digits (with points), of punctuation or of other
// characters; lone punctuation and a lone "f" are dropped ("+" and "*" kept).
std::vector<std::string> splitWords(const char *str) {
  std::vector<std::string> out;
  if (str == nullptr) return out;
  auto u = [](const char *p) { return static_cast<unsigned char>(*p); };
  while (*str != 0) {
    while (*str != 0 && asciiSpace(u(str))) ++str;
    if (*str == 0) break;
    const char *word = str++;
    if (asciiDigit(u(word))) {
      while (*str != 0 && (asciiDigit(u(str)) || *str == '.')) ++str;
    } else if (asciiPunct(u(word))) {
      while (*str != 0 && asciiPunct(u(str))) ++str;
    } else {
      while (*str != 0 && !asciiSpace(u(str)) && !asciiDigit(u(str)) && !asciiPunct(u(str))) ++str;
    }
    if (str - word == 1 && (asciiPunct(u(word)) || *word == 'f' || *word == 'F') && *word != '*' &&
        *word != '+')
      continue;
    insertSorted(out, caseFold(std::string_view(word, static_cast<std::size_t>(str - word))),
                 [](const std::string &a, const std::string &b) { return a.compare(b); });
  }
  return out;
}

// Every word of the pattern must be in the text; the score is the share of
// words the two have in common, 0..100.
class WordMatch {
 public:
  explicit WordMatch(const char *pattern) : pattern_(splitWords(pattern)) {}

  int compare(const char *match) const {
    const auto words = splitWords(match);
    if (words.empty() || pattern_.empty()) return 0;
    std::size_t mi = 0;
    int score = 0;
    for (const auto &p : pattern_) {
      for (; mi < words.size(); ++mi) {
        const int r = std::strcmp(p.c_str(), words[mi].c_str());
        if (r == 0) {
          ++score;
          break;
        }
        if (r < 0) return 0;
      }
      if (mi >= words.size()) return 0;
      ++mi;
    }
    return score * 200 / static_cast<int>(pattern_.size() + words.size());
  }

  // The best score over the texts of a multi-language string.
  int compareAny(const char *ml) const {
    int best = 0;
    for (const char *t = ml; t != nullptr && *t != 0; t = nextText(t)) {
      const int r = compare(t);
      if (r > best) {
        best = r;
        if (best >= 100) break;
      }
    }
    return best;
  }

 private:
  std::vector<std::string> pattern_;
};

// --- Lens names --------------------------------------------------------------

bool isDigitOrPoint(char c) {
  return asciiDigit(static_cast<unsigned char>(c)) || c == '.';
}
std::size_t runOf(const std::string &s, std::size_t i, bool (*pred)(char)) {
  while (i < s.size() && pred(s[i])) ++i;
  return i;
}
bool isSpaceChar(char c) {
  return asciiSpace(static_cast<unsigned char>(c));
}
bool startsWithNoCase(const std::string &s, std::size_t i, std::string_view what) {
  if (i + what.size() > s.size()) return false;
  for (std::size_t k = 0; k < what.size(); ++k) {
    char c = s[i + k];
    if (c >= 'A' && c <= 'Z') c = static_cast<char>(c + 32);
    if (c != what[k]) return false;
  }
  return true;
}

float parseNumber(const std::string &s, std::size_t from, std::size_t to) {
  double v = 0.0;
  std::from_chars(s.data() + from, s.data() + to, v);
  return static_cast<float>(v);
}

struct Span {
  std::size_t from = 0, to = 0;
  bool set = false;
};

// "[ ]18-55[mm] [f/|f|1/|1:]3.5[-5.6]", at a start of the name or after spaces.
bool focalThenAperture(const std::string &s, std::size_t start, Span &f1, Span &f2, Span &a) {
  std::size_t i = start;
  if (i < s.size() && isSpaceChar(s[i])) {
    i = runOf(s, i, isSpaceChar);
  } else if (i != 0) {
    return false;
  }
  if (i >= s.size() || !asciiDigit(static_cast<unsigned char>(s[i]))) return false;
  f1 = {i, runOf(s, i, isDigitOrPoint), true};
  i = f1.to;
  f2 = {};
  if (i + 1 < s.size() && s[i] == '-' && asciiDigit(static_cast<unsigned char>(s[i + 1]))) {
    f2 = {i + 1, runOf(s, i + 1, isDigitOrPoint), true};
    i = f2.to;
  }
  if (startsWithNoCase(s, i, "mm")) i += 2;
  if (i >= s.size() || !isSpaceChar(s[i])) return false;
  i = runOf(s, i, isSpaceChar);
  // The longest match wins: a prefix when digits follow it.
  for (std::string_view prefix : {"f/", "1/", "1:", "f"}) {
    if (startsWithNoCase(s, i, prefix) && i + prefix.size() < s.size() &&
        isDigitOrPoint(s[i + prefix.size()])) {
      i += prefix.size();
      break;
    }
  }
  if (i >= s.size() || !isDigitOrPoint(s[i])) return false;
  a = {i, runOf(s, i, isDigitOrPoint), true};
  return true;
}

// " 1:3.5[-5.6] 18[-55][mm]", after spaces.
bool ratioThenFocal(const std::string &s, std::size_t start, Span &f1, Span &f2, Span &a) {
  if (start >= s.size() || !isSpaceChar(s[start])) return false;
  std::size_t i = runOf(s, start, isSpaceChar);
  if (!startsWithNoCase(s, i, "1:")) return false;
  i += 2;
  if (i >= s.size() || !isDigitOrPoint(s[i])) return false;
  a = {i, runOf(s, i, isDigitOrPoint), true};
  i = a.to;
  if (i + 1 < s.size() && s[i] == '-' && isDigitOrPoint(s[i + 1]))
    i = runOf(s, i + 1, isDigitOrPoint);
  if (i >= s.size() || !isSpaceChar(s[i])) return false;
  i = runOf(s, i, isSpaceChar);
  if (i >= s.size() || !isDigitOrPoint(s[i])) return false;
  f1 = {i, runOf(s, i, isDigitOrPoint), true};
  i = f1.to;
  f2 = {};
  if (i + 1 < s.size() && s[i] == '-' && isDigitOrPoint(s[i + 1]))
    f2 = {i + 1, runOf(s, i + 1, isDigitOrPoint), true};
  return true;
}

// "2.8[-4] / 50[-70]".
bool apertureSlashFocal(const std::string &s, std::size_t start, Span &f1, Span &f2, Span &a) {
  if (start >= s.size() || !isDigitOrPoint(s[start])) return false;
  a = {start, runOf(s, start, isDigitOrPoint), true};
  std::size_t i = a.to;
  if (i + 1 < s.size() && s[i] == '-' && isDigitOrPoint(s[i + 1]))
    i = runOf(s, i + 1, isDigitOrPoint);
  i = runOf(s, i, isSpaceChar);
  if (i >= s.size() || s[i] != '/') return false;
  i = runOf(s, i + 1, isSpaceChar);
  if (i >= s.size() || !isDigitOrPoint(s[i])) return false;
  f1 = {i, runOf(s, i, isDigitOrPoint), true};
  i = f1.to;
  f2 = {};
  if (i + 1 < s.size() && s[i] == '-' && isDigitOrPoint(s[i + 1]))
    f2 = {i + 1, runOf(s, i + 1, isDigitOrPoint), true};
  return true;
}

// --- The pattern a search compares lenses against ----------------------------

struct Pattern {
  const char *maker = nullptr;
  const char *model = nullptr;
  std::vector<const char *> mounts;
  std::vector<const char *> compatMounts;
  float minFocal = 0.0f, maxFocal = 0.0f, minAperture = 0.0f;
  float cropFactor = 0.0f;
};

int compareNumbers(float a, float b) {
  if (a == 0.0f || b == 0.0f) return 0;
  const float r = a / b;
  return r <= 0.99 || r >= 1.01 ? -1 : 1;
}

int lensScore(const Pattern &p, const lensdata::Lens &m, const WordMatch &words) {
  int score = 0;
  if (p.cropFactor > 0.01 && p.cropFactor < m.cropFactor * 0.96) return 0;
  if (p.cropFactor >= m.cropFactor * 1.41)
    score += 2;
  else if (p.cropFactor >= m.cropFactor * 1.31)
    score += 4;
  else if (p.cropFactor >= m.cropFactor * 1.21)
    score += 6;
  else if (p.cropFactor >= m.cropFactor * 1.11)
    score += 8;
  else if (p.cropFactor >= m.cropFactor * 1.01)
    score += 10;
  else if (p.cropFactor >= m.cropFactor)
    score += 5;
  else if (p.cropFactor >= m.cropFactor * 0.96)
    score += 3;

  // The pattern's maximal aperture and aspect ratio are never known.
  for (const auto &[a, b] : {std::pair{p.minFocal, m.minFocal}, std::pair{p.maxFocal, m.maxFocal},
                             std::pair{p.minAperture, m.minAperture}}) {
    const int c = compareNumbers(a, b);
    if (c < 0) return 0;
    if (c > 0) score += 10;
  }

  if (m.mountCount > 0 && (!p.mounts.empty() || !p.compatMounts.empty())) {
    int found = 0;
    for (const char *pm : p.mounts)
      for (std::uint32_t j = 0; j < m.mountCount && found == 0; ++j)
        if (compareNames(pm, text(lensdata::kMountRefs[m.mounts + j])) == 0) found = 10;
    for (const char *cm : p.compatMounts)
      for (std::uint32_t j = 0; j < m.mountCount && found == 0; ++j)
        if (compareNames(cm, text(lensdata::kMountRefs[m.mounts + j])) == 0) found = 9;
    if (found == 0) return 0;
    score += found;
  }

  if (p.maker != nullptr && m.maker != 0) {
    if (compareWithAny(p.maker, text(m.maker)) != 0) return 0;
    score += 10;
  }
  if (p.model != nullptr && m.model != 0) {
    int s = words.compareAny(text(m.model));
    if (s == 0) return 0;
    s = s * 4 / 10;
    score += s == 0 ? 1 : s;
  }
  return score;
}

// The mount named `name` (binary search: the table keeps the library's
// order by name).
const lensdata::Mount *findMount(const char *name) {
  int l = 0, r = static_cast<int>(lensdata::kMountCount) - 1;
  while (l <= r) {
    const int m = (l + r) / 2;
    const int c = compareNames(text(lensdata::kMounts[m].name), name);
    if (c == 0) return &lensdata::kMounts[m];
    if (c < 0)
      l = m + 1;
    else
      r = m - 1;
  }
  return nullptr;
}

std::string allTexts(const char *ml) {
  std::string out;
  for (const char *t = ml; t != nullptr && *t != 0; t = nextText(t)) {
    if (!out.empty()) out += ' ';
    out += t;
  }
  return out;
}

// The English text of a multi-language string, else its default.
std::string englishText(const char *ml) {
  if (ml == nullptr) return {};
  const char *def = ml;
  for (const char *lang = ml + std::strlen(ml) + 1; *lang != 0;) {
    const char *t = lang + std::strlen(lang) + 1;
    if (std::strcmp(lang, "en") == 0) def = t;
    lang = t + std::strlen(t) + 1;
  }
  return def;
}

std::string str(std::uint32_t offset) {
  const char *t = text(offset);
  return t == nullptr ? std::string() : std::string(t);
}

}  // namespace

std::size_t cameraCount() {
  return lensdata::kCameraCount;
}

std::size_t lensCount() {
  return lensdata::kLensCount;
}

std::vector<std::size_t> findCamerasExact(const std::string &maker, const std::string &model) {
  const char *mk = maker.empty() ? nullptr : maker.c_str();
  const char *md = model.empty() ? nullptr : model.c_str();
  auto cmp = [&](std::size_t i) {
    const lensdata::Camera &c = lensdata::kCameras[i];
    if (c.maker != 0 && mk != nullptr) {
      const int r = compareNames(text(c.maker), mk);
      if (r != 0) return r;
    }
    if (c.model != 0 && md != nullptr) return compareNames(text(c.model), md);
    return 0;
  };
  const int n = static_cast<int>(lensdata::kCameraCount);
  int l = 0, r = n - 1, found = -1;
  while (l <= r) {
    const int m = (l + r) / 2;
    const int c = cmp(static_cast<std::size_t>(m));
    if (c == 0) {
      found = m;
      break;
    }
    if (c < 0)
      l = m + 1;
    else
      r = m - 1;
  }
  std::vector<std::size_t> out;
  if (found < 0) return out;
  int first = found, last = found + 1;
  while (first > 0 && cmp(static_cast<std::size_t>(first - 1)) == 0) --first;
  while (last < n && cmp(static_cast<std::size_t>(last)) == 0) ++last;
  for (int i = first; i < last; ++i) out.push_back(static_cast<std::size_t>(i));
  return out;
}

std::vector<std::size_t> findCamerasWords(const std::string &maker, const std::string &model) {
  const char *mk = maker.empty() ? nullptr : maker.c_str();
  const char *md = model.empty() ? nullptr : model.c_str();
  const WordMatch makerWords(mk), modelWords(md);
  std::vector<std::pair<std::size_t, int>> found;
  for (std::size_t i = 0; i < lensdata::kCameraCount; ++i) {
    const lensdata::Camera &c = lensdata::kCameras[i];
    int s1 = 0, s2 = 0;
    if ((mk == nullptr || (s1 = makerWords.compareAny(text(c.maker))) != 0) &&
        (md == nullptr || (s2 = modelWords.compareAny(text(c.model))) != 0)) {
      insertSorted(found, std::pair{i, s1 + s2},
                   [](const auto &a, const auto &b) { return b.second - a.second; });
    }
  }
  std::vector<std::size_t> out;
  out.reserve(found.size());
  for (const auto &f : found) out.push_back(f.first);
  return out;
}

std::vector<std::size_t> findLenses(std::optional<std::size_t> camera,
                                    const std::optional<std::string> &maker,
                                    const std::string &model) {
  Pattern p;
  if (maker && !maker->empty()) p.maker = maker->c_str();
  if (!model.empty()) p.model = model.c_str();
  if (camera) {
    const lensdata::Camera &c = lensdata::kCameras[*camera];
    if (c.mount != 0) p.mounts.push_back(text(c.mount));
    p.cropFactor = c.cropFactor;
  }
  if (p.model != nullptr) {
    const NameParameters n = guessLensParameters(model);
    p.minFocal = n.minFocal;
    p.maxFocal = n.maxFocal;
    p.minAperture = n.minAperture;
  }
  for (const char *mount : p.mounts) {
    const lensdata::Mount *m = findMount(mount);
    if (m == nullptr) continue;
    for (std::uint32_t i = 0; i < m->compatCount; ++i) {
      const char *compat = text(lensdata::kMountRefs[m->compat + i]);
      bool known = false;
      for (const char *have : p.mounts) known = known || compareNames(compat, have) == 0;
      for (const char *have : p.compatMounts) known = known || compareNames(compat, have) == 0;
      if (!known) p.compatMounts.push_back(compat);
    }
  }

  const WordMatch words(p.model);
  std::vector<std::pair<std::size_t, int>> found;
  for (std::size_t i = 0; i < lensdata::kLensCount; ++i) {
    const int score = lensScore(p, lensdata::kLenses[i], words);
    if (score > 0)
      insertSorted(found, std::pair{i, score},
                   [](const auto &a, const auto &b) { return b.second - a.second; });
  }
  std::vector<std::size_t> out;
  out.reserve(found.size());
  for (const auto &f : found) out.push_back(f.first);
  return out;
}

NameParameters guessLensParameters(const std::string &model) {
  NameParameters out;
  for (const char *word : {"adapter", "reducer", "booster", "extender", "converter"})
    if (model.find(word) != std::string::npos) return out;
  using Form = bool (*)(const std::string &, std::size_t, Span &, Span &, Span &);
  for (Form form : {Form(focalThenAperture), Form(ratioThenFocal), Form(apertureSlashFocal)}) {
    for (std::size_t start = 0; start < model.size(); ++start) {
      Span f1, f2, a;
      if (!form(model, start, f1, f2, a)) continue;
      if (f1.set) out.minFocal = parseNumber(model, f1.from, f1.to);
      if (f2.set) out.maxFocal = parseNumber(model, f2.from, f2.to);
      if (a.set) out.minAperture = parseNumber(model, a.from, a.to);
      if (out.maxFocal == 0.0f) out.maxFocal = out.minFocal;
      return out;
    }
  }
  return out;
}

std::optional<Distortion> interpolateDistortion(std::size_t lensIndex, float focal) {
  const lensdata::Lens &lens = lensdata::kLenses[lensIndex];
  const lensdata::Calibration *spline[4] = {nullptr, nullptr, nullptr, nullptr};
  float dist[4] = {-FLT_MAX, -FLT_MAX, FLT_MAX, FLT_MAX};
  std::uint32_t model = 0;
  auto record = [](const lensdata::Calibration &c) {
    Distortion d;
    d.model = static_cast<int>(c.model);
    d.focal = c.focal;
    for (int i = 0; i < 3; ++i) d.terms[i] = c.terms[i];
    return d;
  };
  for (std::uint32_t k = 0; k < lens.calibrationCount; ++k) {
    const lensdata::Calibration &c = lensdata::kCalibrations[lens.calibrations + k];
    if (c.model == 0) continue;
    // Only the first model met counts.
    if (model == 0)
      model = c.model;
    else if (model != c.model)
      continue;
    const float df = focal - c.focal;
    if (df == 0.0f) return record(c);
    // The two nearest calibrations below and the two nearest above.
    if (df < 0) {
      if (df > dist[1]) {
        dist[0] = dist[1];
        spline[0] = spline[1];
        dist[1] = df;
        spline[1] = &c;
      } else if (df > dist[0]) {
        dist[0] = df;
        spline[0] = &c;
      }
    } else {
      if (df < dist[2]) {
        dist[3] = dist[2];
        spline[3] = spline[2];
        dist[2] = df;
        spline[2] = &c;
      } else if (df < dist[3]) {
        dist[3] = df;
        spline[3] = &c;
      }
    }
  }
  if (spline[1] == nullptr || spline[2] == nullptr) {
    if (spline[1] != nullptr) return record(*spline[1]);
    if (spline[2] != nullptr) return record(*spline[2]);
    return std::nullopt;
  }
  // A cubic Hermite spline through the nearest two, its tangents from the
  // next ones out (or the chord where there is none), in single precision.
  // The spline runs through each term times its focal length, divided by the
  // focal length wanted in the end: terms scale roughly with 1/focal.
  Distortion d;
  d.model = static_cast<int>(model);
  d.focal = focal;
  const float t = (focal - spline[1]->focal) / (spline[2]->focal - spline[1]->focal);
  for (int i = 0; i < 3; ++i) {
    const float y1 = spline[0] != nullptr ? spline[0]->terms[i] * spline[0]->focal : FLT_MAX;
    const float y2 = spline[1]->terms[i] * spline[1]->focal;
    const float y3 = spline[2]->terms[i] * spline[2]->focal;
    const float y4 = spline[3] != nullptr ? spline[3]->terms[i] * spline[3]->focal : FLT_MAX;
    const float t2 = t * t;
    const float t3 = t2 * t;
    const float tg2 = y1 == FLT_MAX ? y3 - y2 : static_cast<float>((y3 - y1) * 0.5);
    const float tg3 = y4 == FLT_MAX ? y3 - y2 : static_cast<float>((y4 - y2) * 0.5);
    const float y = (2 * t3 - 3 * t2 + 1) * y2 + (t3 - 2 * t2 + t) * tg2 + (-2 * t3 + 3 * t2) * y3 +
                    (t3 - t2) * tg3;
    d.terms[i] = y / focal;
  }
  return d;
}

CameraInfo cameraInfo(std::size_t camera) {
  const lensdata::Camera &c = lensdata::kCameras[camera];
  CameraInfo out;
  out.maker = str(c.maker);
  out.model = str(c.model);
  out.variant = englishText(text(c.variant));
  out.makerEnglish = englishText(text(c.maker));
  out.mount = str(c.mount);
  out.cropFactor = c.cropFactor;
  return out;
}

LensInfo lensInfo(std::size_t lens) {
  const lensdata::Lens &l = lensdata::kLenses[lens];
  LensInfo out;
  out.maker = str(l.maker);
  out.model = str(l.model);
  for (std::uint32_t j = 0; j < l.mountCount; ++j)
    out.mounts.push_back(str(lensdata::kMountRefs[l.mounts + j]));
  out.minFocal = l.minFocal;
  out.maxFocal = l.maxFocal;
  out.centerX = l.centerX;
  out.centerY = l.centerY;
  out.cropFactor = l.cropFactor;
  out.aspectRatio = l.aspectRatio;
  out.type = static_cast<int>(l.type);
  out.calibrationCount = l.calibrationCount;
  return out;
}

std::string cameraTexts(std::size_t camera) {
  const lensdata::Camera &c = lensdata::kCameras[camera];
  return allTexts(text(c.maker)) + " " + allTexts(text(c.model)) + " " + allTexts(text(c.variant));
}

std::string lensTexts(std::size_t lens) {
  const lensdata::Lens &l = lensdata::kLenses[lens];
  std::string out = allTexts(text(l.maker)) + " " + allTexts(text(l.model));
  for (std::uint32_t j = 0; j < l.mountCount; ++j) {
    out += ' ';
    out += str(lensdata::kMountRefs[l.mounts + j]);
  }
  return out;
}

}  // namespace ortavel::profiles::table
