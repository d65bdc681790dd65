#include "ui/assets.h"

namespace ortavel::cli::ui {

const EmbeddedFile *findEmbedded(std::string_view name) {
  for (const EmbeddedFile &f : embeddedFiles())
    if (f.name == name) return &f;
  return nullptr;
}

std::string_view contentTypeFor(std::string_view name) {
  struct Type {
    std::string_view extension;
    std::string_view type;
  };
  static constexpr Type kTypes[] = {{".html", "text/html; charset=utf-8"},
                                    {".css", "text/css; charset=utf-8"},
                                    {".js", "text/javascript; charset=utf-8"},
                                    {".svg", "image/svg+xml"},
                                    {".png", "image/png"}};
  for (const Type &t : kTypes) {
    if (name.size() > t.extension.size() &&
        name.substr(name.size() - t.extension.size()) == t.extension)
      return t.type;
  }
  return "application/octet-stream";
}

}  // namespace ortavel::cli::ui
