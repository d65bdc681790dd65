#include "ui/server.h"

#include <httplib.h>
#include <sys/socket.h>
#include <unistd.h>

#include <chrono>
#include <nlohmann/json.hpp>
#include <thread>

#include "exit_codes.h"
#include "ui/connection_gate.h"
#include "ui/routes.h"
#include "ui/security.h"

namespace ortavel::cli::ui {
namespace {

void refuse(httplib::Response &res, int status, const std::string &why) {
  res.status = status;
  res.set_content(nlohmann::json{{"error", why}}.dump(), "application/json");
}

// Runs each accepted connection's first step on the accepting thread: it
// only hands the socket to the gate, which never waits.
class AtOnce : public httplib::TaskQueue {
 public:
  void enqueue(std::function<void()> fn) override { fn(); }
  void shutdown() override {}
};

// The library's server with its connections kept by a ConnectionGate: the
// library parses and answers requests, the gate decides when a connection
// has a request worth a handler's time.
class GuardedHttp : public httplib::Server {
 public:
  GuardedHttp() : gate_([this](Connection c) { return serveOne(std::move(c)); }, kMaxRequestBytes) {
    new_task_queue = [] { return new AtOnce; };
  }
  ~GuardedHttp() override { gate_.stop(); }
  GuardedHttp(const GuardedHttp &) = delete;
  GuardedHttp &operator=(const GuardedHttp &) = delete;

  void stopConnections() { gate_.stop(); }

 private:
  bool process_and_close_socket(int sock) override {
    gate_.admit(sock);
    return true;
  }

  std::optional<Connection> serveOne(Connection c) {
    const bool last = c.served + 1 >= kMaxRequestsPerConnection;
    // Head and body, chunk framing included, with room to spare: the exact
    // body limit is the routes'; this only bounds what a request can cost.
    GuardedStream strm(c.fd, std::move(c.buffered),
                       std::chrono::steady_clock::now() + std::chrono::seconds(kBodySeconds),
                       kMaxHeadBytes + 2 * kMaxRequestBytes);
    bool closed = false;
    const bool answered = process_request(strm, last, closed, nullptr);
    ++c.served;
    if (strm.failed()) {
      closeGently(c.fd);
      return std::nullopt;
    }
    if (!answered || closed || last) {
      ::close(c.fd);
      return std::nullopt;
    }
    c.buffered = strm.takeBuffered();
    return c;
  }

  ConnectionGate gate_;
};

// Linux keeps the last backlog given to listen(); the library's is 5, too
// few for a page that opens several connections at once.
constexpr int kListenBacklog = 128;

}  // namespace

struct UiServer::Impl {
  Impl(UiSession &s, std::string t) : session(s), token(std::move(t)) {}
  UiSession &session;
  std::string token;
  int port = 0;
  int listening = -1;
  GuardedHttp http;
  std::thread thread;
};

UiServer::UiServer(UiSession &session, std::string token)
    : impl_(std::make_unique<Impl>(session, std::move(token))) {
  Impl &m = *impl_;
  // The library's default adds SO_REUSEPORT, with which a second server
  // could bind the same port and take a share of this one's requests: only
  // SO_REUSEADDR here, so that a restart may reuse a port lingering from the
  // last run but never one that is listening.
  m.http.set_socket_options([&m](int sock) {
    int yes = 1;
    ::setsockopt(sock, SOL_SOCKET, SO_REUSEADDR, &yes, sizeof yes);
    m.listening = sock;
  });
  m.http.set_payload_max_length(kMaxRequestBytes);
  m.http.set_read_timeout(kBodySeconds, 0);
  m.http.set_write_timeout(kBodySeconds, 0);
  m.http.set_default_headers({{"Cache-Control", "no-store"},
                              {"X-Content-Type-Options", "nosniff"},
                              {"X-Frame-Options", "DENY"},
                              {"Referrer-Policy", "no-referrer"}});
  m.http.set_pre_routing_handler([&m](const httplib::Request &req, httplib::Response &res) {
    if (!hostAllowed(req.get_header_value("Host"), m.port)) {
      refuse(res, 403,
             "refused: this server answers only requests for 127.0.0.1:" + std::to_string(m.port));
      return httplib::Server::HandlerResponse::Handled;
    }
    if (req.has_header("Origin") && !originAllowed(req.get_header_value("Origin"), m.port)) {
      refuse(res, 403, "refused: the request comes from another site");
      return httplib::Server::HandlerResponse::Handled;
    }
    if (!tokenMatches(req.get_param_value("token"), m.token)) {
      refuse(res, 403, "refused: the request does not carry this session's token");
      return httplib::Server::HandlerResponse::Handled;
    }
    return httplib::Server::HandlerResponse::Unhandled;
  });
  m.http.set_error_handler([](const httplib::Request &, httplib::Response &res) {
    // Routes answer their own errors with a body; this covers the rest
    // (no such route, a body too large, a malformed request).
    if (res.body.empty()) {
      const std::string why = res.status == 404   ? "no such page or request"
                              : res.status == 413 ? "the request body is too large"
                                                  : "bad request";
      refuse(res, res.status, why);
    }
  });
  m.http.set_exception_handler(
      [](const httplib::Request &, httplib::Response &res, const std::exception_ptr &ep) {
        std::string why = "internal error";
        try {
          if (ep) std::rethrow_exception(ep);
        } catch (const std::bad_alloc &) {
          why = "out of memory";
        } catch (const std::exception &e) {
          why = e.what();
        } catch (...) {
        }
        refuse(res, 500, why);
      });
  addRoutes(m.http, session, m.token);
}

UiServer::~UiServer() {
  stop();
}

int UiServer::start(int port) {
  Impl &m = *impl_;
  const char *host = "127.0.0.1";
  if (port == 0) {
    m.port = m.http.bind_to_any_port(host);
    if (m.port <= 0) throw failure("cannot listen on 127.0.0.1");
  } else {
    if (!m.http.bind_to_port(host, port)) {
      throw failure("cannot listen on 127.0.0.1:" + std::to_string(port) +
                    " (in use? try another --port)");
    }
    m.port = port;
  }
  if (m.listening >= 0) ::listen(m.listening, kListenBacklog);
  m.thread = std::thread([&m] { m.http.listen_after_bind(); });
  // stop() only reaches a server that is running: wait until it is.
  for (int i = 0; i < 500 && !m.http.is_running(); ++i) {
    std::this_thread::sleep_for(std::chrono::milliseconds(10));
  }
  return m.port;
}

void UiServer::stop() {
  Impl &m = *impl_;
  if (m.thread.joinable()) {
    m.http.stop();
    m.thread.join();
  }
  m.http.stopConnections();
}

int UiServer::port() const {
  return impl_->port;
}

const std::string &UiServer::token() const {
  return impl_->token;
}

std::string UiServer::url() const {
  return "http://127.0.0.1:" + std::to_string(impl_->port) + "/?token=" + impl_->token;
}

}  // namespace ortavel::cli::ui
