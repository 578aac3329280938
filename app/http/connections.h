/* The library's server with what it leaves open at its sockets: a request as a whole has a size and a time, what wasn't read of one is
 * never taken for the next, connections are counted, files go out by sendfile, and all of them end when the server does. */
#ifndef CADENZ_APP_CONNECTIONS_H
#define CADENZ_APP_CONNECTIONS_H

#include <httplib.h>
#include <poll.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <condition_variable>
#include <mutex>
#include <set>

namespace app::http {

constexpr int seconds_idle = 15;
constexpr size_t requests_of_connection = 1000;

class connection final : public httplib::Stream {
 public:
  explicit connection(int socket);

  /** Whether a request begins within the time. */
  bool await_request(std::chrono::seconds patience);
  /** The head has been read: its body has this length. */
  void expect_body(uint64_t length) { body_end_ = taken_ + std::min(length, UINT64_MAX - taken_); }
  /** Something of the request hasn't been read. */
  bool unread() const { return taken_ < body_end_; }
  /** Lets the other side read the answer before what it still sends makes the system drop it. */
  void drain();

  /** The connection that the calling thread serves. */
  static connection* current();
  /** What `write` is given next stands for the bytes of this file from the offset on, until it is called with -1. */
  void lend_file(int descriptor, uint64_t offset) { file_ = descriptor, file_offset_ = static_cast<off_t>(offset); }

  bool is_readable() const override { return begin_ < end_ || ready(POLLIN, 0); }
  bool is_writable() const override;
  ssize_t read(char* to, size_t size) override;
  ssize_t write(const char* from, size_t size) override;
  void get_remote_ip_and_port(std::string& ip, int& port) const override;
  void get_local_ip_and_port(std::string& ip, int& port) const override;
  socket_t socket() const override { return socket_; }

 private:
  using clock = std::chrono::steady_clock;
  bool ready(short events, int milliseconds) const;
  int milliseconds_left() const;

  const int socket_;
  char buffer_[4096];
  size_t begin_ = 0, end_ = 0;
  uint64_t taken_ = 0, body_end_ = 0;  // bytes of this request
  clock::time_point deadline_;
  int file_ = -1;
  off_t file_offset_ = 0;
};

class connection_server final : public httplib::Server {
 public:
  /** After an address has been taken: lets as many wait for it as may come at once, where the library lets five. */
  void widen_queue() { ::listen(svr_sock_, SOMAXCONN); }
  /** No further request; streams are cut after a second. */
  void stop_all();
  bool stopping() const { return stopping_; }

 private:
  bool process_and_close_socket(socket_t socket) override;
  void serve(connection& to);
  bool enter(int socket);
  void leave(int socket);
  std::chrono::seconds patience();
  void shut_all(int how);

  std::mutex mutex_;
  std::condition_variable left_;
  std::set<int> open_;
  std::atomic<bool> stopping_ = false;
};

}  // namespace app::http

#endif
