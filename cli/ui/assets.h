// The page's files (HTML, CSS, JavaScript), built into the command from
// cli/ui/web/ at build time, and the content type each is served with.
#pragma once

#include <span>
#include <string_view>

namespace ortavel::cli::ui {

struct EmbeddedFile {
  std::string_view name;   // path under cli/ui/web/, e.g. "app.js"
  std::string_view bytes;  // the file's contents
};

// Every built-in file (defined in the generated source).
std::span<const EmbeddedFile> embeddedFiles();

// The file named `name`, or null.
const EmbeddedFile *findEmbedded(std::string_view name);

// "text/html; charset=utf-8" and so on, by the name's extension;
// "application/octet-stream" for one it does not know.
std::string_view contentTypeFor(std::string_view name);

}  // namespace ortavel::cli::ui
