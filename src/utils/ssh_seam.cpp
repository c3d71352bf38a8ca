#include "utils/ssh_seam.h"

#include <arpa/inet.h>
#include <fcntl.h>

namespace ORVA::MESH::SDK::Seam {

SshCalls& Ssh() noexcept {
  static SshCalls calls{
      ::libssh2_init,
      [] { return ::libssh2_session_init_ex(nullptr, nullptr, nullptr, nullptr); },
      [](int fd, int cmd, int arg) { return ::fcntl(fd, cmd, arg); },
      ::poll,
      ::getsockopt,
      ::inet_ntop,
      [](LIBSSH2_SESSION* session) {
        // A 2 MiB window and 32 KiB packets: room for a whole 8192-byte read several times over.
        return ::libssh2_channel_open_ex(session, "session", sizeof("session") - 1, 2097152,
                                         32768, nullptr, 0);
      },
      [](LIBSSH2_CHANNEL* channel, const char* command, unsigned int length) {
        return ::libssh2_channel_process_startup(channel, "exec", sizeof("exec") - 1, command,
                                                 length);
      },
      [](LIBSSH2_CHANNEL* channel, char* buffer, size_t length) {
        return ::libssh2_channel_read_ex(channel, 0, buffer, length);
      },
      [](LIBSSH2_CHANNEL* channel, const char* buffer, size_t length) {
        return ::libssh2_channel_write_ex(channel, 0, buffer, length);
      },
  };
  return calls;
}

}  // namespace ORVA::MESH::SDK::Seam
