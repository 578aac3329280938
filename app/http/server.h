/* The server: addresses, who asks, and what is kept away. Runs until it is told to stop. */
#ifndef CADENZ_APP_SERVER_H
#define CADENZ_APP_SERVER_H

#include <memory>
#include <string>
#include <vector>

#include "http/api.h"

namespace app::http {

struct server_setup {
  std::string host;                // an address or a name to listen at
  int port;                        // 0: any that is free
  std::vector<std::string> names;  // under which it may be asked, beside addresses and "localhost"
};

class server {
 public:
  server(house& in, server_setup setup);
  ~server();
  server(const server&) = delete;
  server& operator=(const server&) = delete;

  /** Takes the address; gives the URL at which it is reached. */
  std::string bind();
  /** Serves until stop(), which another thread may call. */
  void run();
  void stop();

 private:
  class work;
  std::unique_ptr<work> work_;
};

}  // namespace app::http

#endif
