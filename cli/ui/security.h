// The checks that keep the editor's local server to its one user and its one
// photo: the random token every request carries, the Host and Origin headers
// (a page on another site that resolves its own name to 127.0.0.1 sends its
// own name as Host), and the places the page may write to.
#pragma once

#include <cstddef>
#include <filesystem>
#include <string>
#include <string_view>

namespace ortavel::cli::ui {

// Largest request body the server reads, in bytes: settings and a path.
constexpr std::size_t kMaxRequestBytes = 64 * 1024;
// Longest output path the page may name.
constexpr std::size_t kMaxPathLength = 4096;

// 32 random bytes from the system's generator, as 64 lower-case hex digits.
std::string makeToken();

// Compares in time independent of where the texts first differ.
bool tokenMatches(std::string_view given, std::string_view expected);

// The Host header of a request to this server: "127.0.0.1:PORT" or
// "localhost:PORT", nothing else.
bool hostAllowed(std::string_view host, int port);

// An Origin header, when the browser sends one: this server's own origin
// ("http://127.0.0.1:PORT" or "http://localhost:PORT").
bool originAllowed(std::string_view origin, int port);

// Where the page asks to write, resolved: a relative path is taken from the
// photo's folder. Throws CliError (usage) with a message for the page when
// the text is empty or too long, its folder does not exist, it names the
// photo itself, or it exists and is not a regular file.
struct OutputTarget {
  std::filesystem::path path;
  bool exists = false;  // a regular file is there: replace only when confirmed
};
OutputTarget resolveOutput(const std::string &text, const std::filesystem::path &photo);

}  // namespace ortavel::cli::ui
