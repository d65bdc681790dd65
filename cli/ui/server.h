// The editor's local web server: listens on 127.0.0.1 only, on a thread of
// its own, and lets a request reach the routes only when it carries the
// session's token, names this server in its Host header and, when it has an
// Origin, comes from this server's own page. Bodies above kMaxRequestBytes
// are refused as they are read, whatever their transfer encoding; slow or
// idle clients are kept from the request handlers (connection_gate.h).
#pragma once

#include <memory>
#include <string>

namespace ortavel::cli::ui {

class UiSession;

class UiServer {
 public:
  UiServer(UiSession &session, std::string token);
  // Stops the server and waits for its thread.
  ~UiServer();
  UiServer(const UiServer &) = delete;
  UiServer &operator=(const UiServer &) = delete;

  // Binds 127.0.0.1:port (0: a free port the system picks) and starts
  // serving. Returns the port. Throws CliError (failure) when the port
  // cannot be had.
  int start(int port);
  // Stops serving; requests in progress are finished first.
  void stop();

  int port() const;
  const std::string &token() const;
  // The page's address, token included.
  std::string url() const;

 private:
  struct Impl;
  std::unique_ptr<Impl> impl_;
};

}  // namespace ortavel::cli::ui
