/* A slow or endless request costs its sender a connection and the server nothing else. */
#include "http/connections.h"

#include <fcntl.h>
#include <netdb.h>
#include <sys/sendfile.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>

namespace app::http {

namespace {

using namespace std::chrono_literals;

constexpr size_t most_connections = 500;
constexpr size_t crowd = 350;  // from here on nobody is waited for long
constexpr std::chrono::seconds idle(seconds_idle);
constexpr auto idle_in_a_crowd = 1s, to_read_a_request = 10s, to_write = 20s, to_finish = 1s;
constexpr size_t largest_request = 128 << 10;  // head and body

thread_local connection* served = nullptr;

using name_of = int (*)(int, sockaddr*, socklen_t*);

void ip_and_port(name_of name, int socket, std::string& ip, int& port) {
  sockaddr_storage address = {};
  socklen_t length = sizeof address;
  char host[NI_MAXHOST], service[NI_MAXSERV];
  auto* generic = reinterpret_cast<sockaddr*>(&address);
  if (name(socket, generic, &length) != 0 ||
      getnameinfo(generic, length, host, sizeof host, service, sizeof service, NI_NUMERICHOST | NI_NUMERICSERV) != 0)
    return;
  ip = host;
  port = std::atoi(service);
}

}  // namespace

// ---- A connection --------------------------------------------------------------------------------------------------

connection::connection(int socket) : socket_(socket) { fcntl(socket, F_SETFL, fcntl(socket, F_GETFL) | O_NONBLOCK); }

connection* connection::current() { return served; }

bool connection::ready(short events, int milliseconds) const {
  pollfd one = {.fd = socket_, .events = events, .revents = 0};
  int result = 0;
  do result = poll(&one, 1, milliseconds);
  while (result < 0 && errno == EINTR);
  return result > 0;
}

int connection::milliseconds_left() const {
  const auto left = std::chrono::duration_cast<std::chrono::milliseconds>(deadline_ - clock::now());
  return static_cast<int>(std::max<int64_t>(left.count(), 0));
}

bool connection::await_request(std::chrono::seconds patience) {
  if (begin_ == end_ && !ready(POLLIN, static_cast<int>(patience / 1ms))) return false;
  taken_ = body_end_ = 0;
  deadline_ = clock::now() + to_read_a_request;
  return true;
}

bool connection::is_writable() const { return ready(POLLOUT, to_write / 1ms); }

ssize_t connection::read(char* to, size_t size) {
  if (taken_ >= largest_request) return -1;
  if (begin_ == end_) {
    if (!ready(POLLIN, milliseconds_left())) return -1;
    const ssize_t got = recv(socket_, buffer_, sizeof buffer_, 0);
    if (got <= 0) return got;
    begin_ = 0;
    end_ = static_cast<size_t>(got);
  }
  const size_t count = std::min(size, end_ - begin_);
  std::copy_n(buffer_ + begin_, count, to);
  begin_ += count;
  taken_ += count;
  return static_cast<ssize_t>(count);
}

ssize_t connection::write(const char* from, size_t size) {
  for (;;) {
    const ssize_t sent =
        file_ >= 0 ? sendfile(socket_, file_, &file_offset_, size) : send(socket_, from, size, MSG_NOSIGNAL);
    if (sent >= 0) return sent == 0 && size > 0 ? -1 : sent;  // 0: the file has become shorter
    if (errno == EINTR) continue;
    if ((errno != EAGAIN && errno != EWOULDBLOCK) || !is_writable()) return -1;
  }
}

void connection::drain() {
  shutdown(socket_, SHUT_WR);
  deadline_ = clock::now() + to_finish;
  for (size_t most = largest_request; most > 0 && ready(POLLIN, milliseconds_left());) {
    const ssize_t got = recv(socket_, buffer_, std::min(sizeof buffer_, most), 0);
    if (got <= 0) return;
    most -= static_cast<size_t>(got);
  }
}

void connection::get_remote_ip_and_port(std::string& ip, int& port) const {
  ip_and_port(getpeername, socket_, ip, port);
}
void connection::get_local_ip_and_port(std::string& ip, int& port) const {
  ip_and_port(getsockname, socket_, ip, port);
}

// ---- All of them ---------------------------------------------------------------------------------------------------

bool connection_server::enter(int socket) {
  const std::lock_guard held(mutex_);
  if (stopping_ || open_.size() >= most_connections) return false;
  open_.insert(socket);
  return true;
}

void connection_server::leave(int socket) {
  const std::lock_guard held(mutex_);
  open_.erase(socket);
  close(socket);  // under the lock, so that nobody shuts the next one of this number
  if (open_.empty()) left_.notify_all();
}

std::chrono::seconds connection_server::patience() {
  const std::lock_guard held(mutex_);
  return open_.size() > crowd ? idle_in_a_crowd : idle;
}

bool connection_server::process_and_close_socket(socket_t socket) {
  if (!enter(socket)) return close(socket), false;
  connection to(socket);
  served = &to;
  serve(to);
  served = nullptr;
  leave(socket);
  return true;
}

void connection_server::serve(connection& to) {
  bool closed = false;
  for (size_t left = requests_of_connection; !closed && left > 0 && !stopping_ && to.await_request(patience());
       --left) {
    const bool done = process_request(to, left == 1, closed, [&](httplib::Request& request) {
      to.expect_body(request.get_header_value<uint64_t>("Content-Length"));
      // One range at most: a player asks for no more, and many small ones make a large answer of a short request.
      if (request.ranges.size() > 1) request.ranges.clear();
      request.headers.erase("Accept-Encoding");  // the library packs with its slowest setting
    });
    if (!done || to.unread()) return to.drain();
  }
}

void connection_server::shut_all(int how) {
  for (const int socket : open_) shutdown(socket, how);
}

void connection_server::stop_all() {
  while (!is_running()) std::this_thread::sleep_for(1ms);  // a stop before the beginning would be forgotten
  stopping_ = true;
  stop();
  std::unique_lock held(mutex_);
  shut_all(SHUT_RD);
  left_.wait_for(held, to_finish, [this] { return open_.empty(); });
  shut_all(SHUT_RDWR);
}

}  // namespace app::http
