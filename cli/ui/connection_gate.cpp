#include "ui/connection_gate.h"

#include <arpa/inet.h>
#include <fcntl.h>
#include <netinet/in.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cctype>
#include <charconv>
#include <cstring>
#include <nlohmann/json.hpp>

namespace ortavel::cli::ui {
namespace {

using Clock = std::chrono::steady_clock;

std::string address(const sockaddr_storage &a, int &port) {
  std::array<char, INET6_ADDRSTRLEN> text{};
  if (a.ss_family == AF_INET) {
    const auto &in = reinterpret_cast<const sockaddr_in &>(a);
    ::inet_ntop(AF_INET, &in.sin_addr, text.data(), text.size());
    port = ntohs(in.sin_port);
  } else if (a.ss_family == AF_INET6) {
    const auto &in = reinterpret_cast<const sockaddr_in6 &>(a);
    ::inet_ntop(AF_INET6, &in.sin6_addr, text.data(), text.size());
    port = ntohs(in.sin6_port);
  } else {
    port = 0;
  }
  return text.data();
}

std::string peerOf(int fd, int &port) {
  sockaddr_storage a{};
  socklen_t len = sizeof a;
  if (::getpeername(fd, reinterpret_cast<sockaddr *>(&a), &len) != 0) {
    port = 0;
    return {};
  }
  return address(a, port);
}

int millisUntil(Clock::time_point t) {
  const auto left = std::chrono::duration_cast<std::chrono::milliseconds>(t - Clock::now());
  return static_cast<int>(std::clamp<std::int64_t>(left.count(), 0, 60'000));
}

bool equalsIgnoringCase(std::string_view a, std::string_view b) {
  return a.size() == b.size() && std::equal(a.begin(), a.end(), b.begin(), [](char x, char y) {
           return std::tolower(static_cast<unsigned char>(x)) ==
                  std::tolower(static_cast<unsigned char>(y));
         });
}

}  // namespace

std::size_t headLength(const std::string &bytes) {
  for (std::size_t at = bytes.find('\n'); at != std::string::npos; at = bytes.find('\n', at + 1)) {
    if (at + 1 < bytes.size() && bytes[at + 1] == '\n') return at + 2;
    if (at + 2 < bytes.size() && bytes[at + 1] == '\r' && bytes[at + 2] == '\n') return at + 3;
  }
  return 0;
}

std::optional<std::size_t> declaredLength(const std::string &head) {
  std::size_t line = head.find('\n');
  while (line != std::string::npos && line + 1 < head.size()) {
    const std::size_t start = line + 1;
    line = head.find('\n', start);
    const std::string_view text(head.data() + start,
                                (line == std::string::npos ? head.size() : line) - start);
    const std::size_t colon = text.find(':');
    if (colon == std::string_view::npos) continue;
    if (!equalsIgnoringCase(text.substr(0, colon), "content-length")) continue;
    std::string_view value = text.substr(colon + 1);
    while (!value.empty() && (value.front() == ' ' || value.front() == '\t'))
      value.remove_prefix(1);
    while (!value.empty() && (value.back() == ' ' || value.back() == '\r' || value.back() == '\t'))
      value.remove_suffix(1);
    std::size_t n = 0;
    const auto r = std::from_chars(value.data(), value.data() + value.size(), n);
    if (value.empty() || r.ec != std::errc() || r.ptr != value.data() + value.size())
      return std::nullopt;
    return n;
  }
  return std::nullopt;
}

void sendCanned(int fd, int status, const char *reason, const std::string &message) {
  const std::string body = nlohmann::json{{"error", message}}.dump();
  const std::string text =
      "HTTP/1.1 " + std::to_string(status) + " " + reason +
      "\r\nContent-Type: application/json\r\nContent-Length: " + std::to_string(body.size()) +
      "\r\nConnection: close\r\nCache-Control: no-store\r\n"
      "X-Content-Type-Options: nosniff\r\n\r\n" +
      body;
  // Small enough for any socket buffer: never waits.
  [[maybe_unused]] const ssize_t n =
      ::send(fd, text.data(), text.size(), MSG_NOSIGNAL | MSG_DONTWAIT);
}

void closeGently(int fd) {
  ::shutdown(fd, SHUT_WR);
  const Clock::time_point until = Clock::now() + std::chrono::milliseconds(500);
  std::array<char, 4096> sink{};
  std::size_t drained = 0;
  while (drained < 256 * 1024) {
    pollfd p{fd, POLLIN, 0};
    if (::poll(&p, 1, millisUntil(until)) <= 0) break;
    const ssize_t n = ::recv(fd, sink.data(), sink.size(), 0);
    if (n <= 0) break;
    drained += static_cast<std::size_t>(n);
  }
  ::close(fd);
}

// ---- GuardedStream ----------------------------------------------------------

GuardedStream::GuardedStream(int fd, std::string buffered, Clock::time_point deadline,
                             std::size_t maxBytes)
    : fd_(fd), buf_(std::move(buffered)), deadline_(deadline), maxBytes_(maxBytes) {}

bool GuardedStream::waitFor(short events, Clock::time_point until) const {
  pollfd p{fd_, events, 0};
  for (;;) {
    const int r = ::poll(&p, 1, millisUntil(until));
    if (r > 0) return (p.revents & (events | POLLHUP | POLLERR)) != 0;
    if (r == 0 || errno != EINTR) return false;
  }
}

bool GuardedStream::is_readable() const {
  return !failed_ && (pos_ < buf_.size() || waitFor(POLLIN, deadline_));
}

bool GuardedStream::is_writable() const {
  return dropWrites_ || waitFor(POLLOUT, Clock::now() + std::chrono::seconds(kBodySeconds));
}

ssize_t GuardedStream::read(char *ptr, std::size_t size) {
  if (failed_) return -1;
  if (pos_ == buf_.size()) {
    buf_.clear();
    pos_ = 0;
    if (received_ >= maxBytes_) {
      failed_ = true;
      sendCanned(fd_, 413, "Payload Too Large", "the request body is too large");
      dropWrites_ = true;
      return -1;
    }
    if (!waitFor(POLLIN, deadline_)) {
      failed_ = true;
      return -1;
    }
    std::array<char, 4096> chunk{};
    const std::size_t want = std::min(chunk.size(), maxBytes_ - received_);
    const ssize_t n = ::recv(fd_, chunk.data(), want, 0);
    if (n <= 0) {
      failed_ = true;
      return -1;
    }
    received_ += static_cast<std::size_t>(n);
    buf_.assign(chunk.data(), static_cast<std::size_t>(n));
  }
  const std::size_t n = std::min(size, buf_.size() - pos_);
  std::memcpy(ptr, buf_.data() + pos_, n);
  pos_ += n;
  return static_cast<ssize_t>(n);
}

ssize_t GuardedStream::write(const char *ptr, std::size_t size) {
  if (dropWrites_) return static_cast<ssize_t>(size);
  if (!waitFor(POLLOUT, Clock::now() + std::chrono::seconds(kBodySeconds))) return -1;
  return ::send(fd_, ptr, size, MSG_NOSIGNAL);
}

void GuardedStream::get_remote_ip_and_port(std::string &ip, int &port) const {
  ip = peerOf(fd_, port);
}

void GuardedStream::get_local_ip_and_port(std::string &ip, int &port) const {
  sockaddr_storage a{};
  socklen_t len = sizeof a;
  if (::getsockname(fd_, reinterpret_cast<sockaddr *>(&a), &len) != 0) {
    ip.clear();
    port = 0;
    return;
  }
  ip = address(a, port);
}

std::string GuardedStream::takeBuffered() {
  std::string rest = buf_.substr(pos_);
  buf_.clear();
  pos_ = 0;
  return rest;
}

// ---- ConnectionGate ---------------------------------------------------------

ConnectionGate::ConnectionGate(Serve serve, std::size_t maxBodyBytes)
    : serve_(std::move(serve)),
      maxBodyBytes_(maxBodyBytes),
      handlers_(std::make_unique<httplib::ThreadPool>(kHandlerThreads)) {
  int fds[2] = {-1, -1};
  if (::pipe2(fds, O_CLOEXEC | O_NONBLOCK) != 0) throw std::runtime_error("cannot make a pipe");
  wakeRead_ = fds[0];
  wakeWrite_ = fds[1];
  thread_ = std::thread([this] { loop(); });
}

ConnectionGate::~ConnectionGate() {
  stop();
  ::close(wakeRead_);
  ::close(wakeWrite_);
}

void ConnectionGate::wake() {
  const char b = 1;
  [[maybe_unused]] const ssize_t n = ::write(wakeWrite_, &b, 1);
}

void ConnectionGate::stop() {
  {
    std::lock_guard lock(mutex_);
    if (stopping_) return;
    stopping_ = true;
  }
  wake();
  if (thread_.joinable()) thread_.join();
  {
    std::lock_guard lock(mutex_);
    for (Connection &c : waiting_) close(c);
    waiting_.clear();
  }
  // Requests in progress finish; their connections close on return.
  handlers_->shutdown();
}

void ConnectionGate::close(Connection &c) {
  if (c.fd < 0) return;
  ::close(c.fd);
  c.fd = -1;
  if (const auto it = perClient_.find(c.peer); it != perClient_.end() && --it->second == 0)
    perClient_.erase(it);
  --open_;
}

void ConnectionGate::admit(int fd) {
  int port = 0;
  Connection c;
  c.fd = fd;
  c.peer = peerOf(fd, port);
  c.deadline = Clock::now() + std::chrono::seconds(kIdleSeconds);
  std::lock_guard lock(mutex_);
  std::size_t &mine = perClient_[c.peer];
  if (stopping_ || mine >= kMaxConnectionsPerClient || open_ >= kMaxConnections) {
    if (mine == 0) perClient_.erase(c.peer);
    sendCanned(fd, 503, "Service Unavailable",
               "too many connections from this address; close some and try again");
    ::close(fd);
    return;
  }
  ++mine;
  ++open_;
  waiting_.push_back(std::move(c));
  wake();
}

void ConnectionGate::readmit(Connection c) {
  std::lock_guard lock(mutex_);
  if (stopping_) {
    close(c);
    return;
  }
  c.started = false;
  c.deadline = Clock::now() + std::chrono::seconds(kIdleSeconds);
  if (auto waiting = settle(std::move(c))) waiting_.push_back(std::move(*waiting));
  wake();
}

std::optional<Connection> ConnectionGate::settle(Connection c) {
  if (!c.buffered.empty() && !c.started) {
    c.started = true;
    c.deadline = Clock::now() + std::chrono::seconds(kHeadSeconds);
  }
  const std::size_t head = headLength(c.buffered);
  if (head == 0) {
    if (c.buffered.size() > kMaxHeadBytes) {
      sendCanned(c.fd, 431, "Request Header Fields Too Large", "the request head is too large");
      close(c);
      return std::nullopt;
    }
    return c;
  }
  // A body of declared length within the limit is waited for here too, so
  // that a slow sender holds no handler; anything else is the handler's to
  // read (or refuse) under its own deadline.
  const auto length = declaredLength(c.buffered.substr(0, head));
  if (length && *length <= maxBodyBytes_ && c.buffered.size() < head + *length) return c;
  handlers_->enqueue([this, conn = std::make_shared<Connection>(std::move(c))] {
    const std::string peer = conn->peer;
    std::optional<Connection> kept = serve_(std::move(*conn));
    if (kept) {
      readmit(std::move(*kept));
      return;
    }
    std::lock_guard lock(mutex_);
    if (const auto it = perClient_.find(peer); it != perClient_.end() && --it->second == 0)
      perClient_.erase(it);
    --open_;
  });
  return std::nullopt;
}

void ConnectionGate::loop() {
  std::vector<pollfd> polled;
  for (;;) {
    int timeout = kIdleSeconds * 1000;
    {
      std::lock_guard lock(mutex_);
      if (stopping_) return;
      polled.assign(1, pollfd{wakeRead_, POLLIN, 0});
      for (const Connection &c : waiting_) {
        polled.push_back(pollfd{c.fd, POLLIN, 0});
        timeout = std::min(timeout, millisUntil(c.deadline));
      }
    }
    const int ready = ::poll(polled.data(), polled.size(), timeout);
    if (ready < 0 && errno != EINTR) return;
    if (polled[0].revents != 0) {
      std::array<char, 64> drain{};
      while (::read(wakeRead_, drain.data(), drain.size()) > 0) {
      }
    }
    std::lock_guard lock(mutex_);
    if (stopping_) return;
    std::vector<Connection> still;
    std::vector<Connection> moved;
    moved.swap(waiting_);
    const Clock::time_point now = Clock::now();
    for (Connection &c : moved) {
      const auto p = std::find_if(polled.begin() + 1, polled.end(),
                                  [&](const pollfd &q) { return q.fd == c.fd; });
      const bool readable = p != polled.end() && p->revents != 0;
      if (readable) {
        std::array<char, 4096> chunk{};
        const ssize_t n = ::recv(c.fd, chunk.data(), chunk.size(), MSG_DONTWAIT);
        if (n == 0 || (n < 0 && errno != EAGAIN && errno != EWOULDBLOCK && errno != EINTR)) {
          close(c);
          continue;
        }
        if (n > 0) {
          c.buffered.append(chunk.data(), static_cast<std::size_t>(n));
          if (auto waiting = settle(std::move(c))) still.push_back(std::move(*waiting));
          continue;
        }
      }
      if (now >= c.deadline) {
        if (c.started) sendCanned(c.fd, 408, "Request Timeout", "the request came too slowly");
        close(c);
        continue;
      }
      still.push_back(std::move(c));
    }
    // Connections readmitted by handlers meanwhile are in waiting_ already.
    for (Connection &c : still) waiting_.push_back(std::move(c));
  }
}

}  // namespace ortavel::cli::ui
