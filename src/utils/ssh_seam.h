#pragma once
// A seam over the libssh2 and socket calls of SSHWrapper whose failures a real server cannot be
// made to produce (libssh2_init, session allocation, fcntl, getsockopt, a channel refused after
// log-in, a write error mid-copy). SSHWrapper calls them through Ssh(); tests swap single
// entries with ScopedSshOverride. Not installed.
#include <libssh2.h>
#include <poll.h>
#include <sys/socket.h>
#include <sys/types.h>

#include "platform/seam.h"

namespace ORVA::MESH::SDK::Seam {

struct SshCalls {
  int (*init)(int flags);
  LIBSSH2_SESSION* (*session_init)();
  int (*fcntl)(int fd, int cmd, int arg);
  int (*poll)(struct pollfd* fds, nfds_t nfds, int timeout);
  int (*getsockopt)(int fd, int level, int name, void* value, socklen_t* length);
  const char* (*inet_ntop)(int family, const void* src, char* dst, socklen_t size);
  LIBSSH2_CHANNEL* (*channel_open)(LIBSSH2_SESSION* session);
  int (*channel_exec)(LIBSSH2_CHANNEL* channel, const char* command, unsigned int length);
  ssize_t (*channel_read)(LIBSSH2_CHANNEL* channel, char* buffer, size_t length);
  ssize_t (*channel_write)(LIBSSH2_CHANNEL* channel, const char* buffer, size_t length);
};

// The calls in force; the real ones unless a test overrode some.
SshCalls& Ssh() noexcept;

using ScopedSshOverride = ::orva::platform::ScopedOverride<SshCalls, &Ssh>;

}  // namespace ORVA::MESH::SDK::Seam
