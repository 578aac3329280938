// What goes between a scan and a process that listens for it, over a socket that keeps messages whole: the listener sends a byte when it
// is ready; then a byte with the descriptor of a file goes one way, a record the other way, in turns.
#ifndef VELOX_SOUND_WIRE_H
#define VELOX_SOUND_WIRE_H

#include <sys/socket.h>
#include <sys/uio.h>
#include <velox/velox_sound.h>

#include <cstring>

namespace velox::sound {

constexpr int k_socket = 3; /* the listener's end */

struct answer {
  uint32_t last;     /* 1: the process ends now, and is to get no further file */
  velox_sound sound; /* where `why` is empty */
  char why[128];     /* a sentence's end: the file "holds no sound that is understood"; ends with a zero */
};

/** The message that brings a file. */
class file_message {
 public:
  file_message() {
    message_.msg_iov = &data_, message_.msg_iovlen = 1;
    message_.msg_control = control_, message_.msg_controllen = sizeof control_;
  }
  bool send(int socket, int file) {
    cmsghdr* const head = CMSG_FIRSTHDR(&message_);
    head->cmsg_level = SOL_SOCKET, head->cmsg_type = SCM_RIGHTS, head->cmsg_len = CMSG_LEN(sizeof file);
    std::memcpy(CMSG_DATA(head), &file, sizeof file);
    return sendmsg(socket, &message_, MSG_NOSIGNAL) == 1;
  }
  /** The descriptor; -1 when none comes any more. */
  int receive(int socket) {
    if (recvmsg(socket, &message_, 0) <= 0) return -1;
    const cmsghdr* const head = CMSG_FIRSTHDR(&message_);
    int file = -1;
    if (head && head->cmsg_type == SCM_RIGHTS) std::memcpy(&file, CMSG_DATA(head), sizeof file);
    return file;
  }

 private:
  char byte_ = 0;
  iovec data_ = {&byte_, 1};
  alignas(cmsghdr) char control_[CMSG_SPACE(sizeof(int))] = {};
  msghdr message_ = {};
};

}  // namespace velox::sound

#endif
