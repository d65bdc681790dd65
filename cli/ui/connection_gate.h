// The editor server's connections, kept from the request handlers until a
// whole request head (and a body of declared length) has arrived. One thread
// polls every open connection, so a client that connects and sends nothing,
// or sends a byte at a time, holds no handler: only complete requests reach
// the handlers' threads, and every phase has a deadline.
//
//   idle (keep-alive or fresh)    closed after kIdleSeconds without a byte
//   request head (+ sized body)   must be complete kHeadSeconds after its first byte
//   body read by a handler        must be complete kBodySeconds after the head
//
// A request's bytes are counted while they are read, whatever their transfer
// encoding: past the limit the server answers 413 and closes, so an endless
// chunked body costs a bounded amount of memory. Each client address may hold
// at most kMaxConnectionsPerClient connections at a time.
#pragma once

#include <httplib.h>
#include <chrono>
#include <cstddef>
#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <thread>
#include <vector>

namespace ortavel::cli::ui {

constexpr int kIdleSeconds = 5;
constexpr int kHeadSeconds = 5;
constexpr int kBodySeconds = 5;
constexpr std::size_t kMaxHeadBytes = 16 * 1024;
constexpr std::size_t kMaxConnectionsPerClient = 64;
constexpr std::size_t kMaxConnections = 512;
constexpr int kHandlerThreads = 8;
constexpr int kMaxRequestsPerConnection = 1000;

// An open connection between requests, with what has been read of the next.
struct Connection {
  int fd = -1;
  std::string peer;      // the client's address
  std::string buffered;  // bytes read ahead of the handler
  std::chrono::steady_clock::time_point deadline;
  bool started = false;  // a byte of the next request has arrived
  int served = 0;
};

// Where a complete request head is in `bytes`: its length, or 0 when it has
// not all arrived. Lines end in CRLF or LF.
std::size_t headLength(const std::string &bytes);
// The Content-Length of a request head; nullopt when it has none or it is
// not a plain number (the handler answers those).
std::optional<std::size_t> declaredLength(const std::string &head);

class ConnectionGate {
 public:
  // `serve` runs on a handler thread with a connection whose next request
  // is complete (or whose body follows); it returns the connection to keep
  // it open (keep-alive) or nullopt once it has closed it.
  using Serve = std::function<std::optional<Connection>(Connection)>;

  ConnectionGate(Serve serve, std::size_t maxBodyBytes);
  ~ConnectionGate();
  ConnectionGate(const ConnectionGate &) = delete;
  ConnectionGate &operator=(const ConnectionGate &) = delete;

  // Takes a freshly accepted socket (refused at once beyond the caps).
  void admit(int fd);
  // Closes every connection, waits for requests in progress.
  void stop();

 private:
  void loop();
  void wake();
  // With the lock held: hands `c` to a handler when its request is complete
  // (nullopt), or gives it back to keep waiting.
  std::optional<Connection> settle(Connection c);
  void readmit(Connection c);
  void close(Connection &c);

  Serve serve_;
  std::size_t maxBodyBytes_;
  std::mutex mutex_;
  std::vector<Connection> waiting_;
  std::map<std::string, std::size_t> perClient_;
  std::size_t open_ = 0;
  bool stopping_ = false;
  int wakeRead_ = -1;
  int wakeWrite_ = -1;
  std::unique_ptr<httplib::ThreadPool> handlers_;
  std::thread thread_;
};

// A handler's view of one request on a connection: the bytes the gate read
// ahead first, then the socket, each read waiting no later than the
// deadline, and at most `maxBytes` from the socket. Past that it answers 413
// itself and fails every further read; what the library writes afterwards
// is dropped.
class GuardedStream : public httplib::Stream {
 public:
  GuardedStream(int fd, std::string buffered, std::chrono::steady_clock::time_point deadline,
                std::size_t maxBytes);

  bool is_readable() const override;
  bool is_writable() const override;
  ssize_t read(char *ptr, std::size_t size) override;
  ssize_t write(const char *ptr, std::size_t size) override;
  void get_remote_ip_and_port(std::string &ip, int &port) const override;
  void get_local_ip_and_port(std::string &ip, int &port) const override;
  int socket() const override { return fd_; }

  bool failed() const { return failed_; }
  // The bytes read past the request (a pipelined next request).
  std::string takeBuffered();

 private:
  bool waitFor(short events, std::chrono::steady_clock::time_point until) const;

  int fd_;
  std::string buf_;
  std::size_t pos_ = 0;
  std::chrono::steady_clock::time_point deadline_;
  std::size_t maxBytes_;
  std::size_t received_ = 0;
  bool failed_ = false;
  bool dropWrites_ = false;
};

// A complete answer written straight to a socket, for the refusals made
// before any handler sees the request.
void sendCanned(int fd, int status, const char *reason, const std::string &message);

// Stops sending, reads and discards what the client still sends for a
// moment (so that the answer is not lost to a reset), then closes.
void closeGently(int fd);

}  // namespace ortavel::cli::ui
