#pragma once
// A helper server process that prints "PORT <n>" once it listens (the Python servers in
// tests/support). Started from an argument vector, killed and reaped by the destructor, and
// killed by the kernel too if the test process dies first.
#include <sys/types.h>
#include <string>
#include <vector>

namespace orva::test {

class PortServer {
 public:
  PortServer(const std::vector<std::string>& argv, const std::string& what);
  ~PortServer();
  PortServer(const PortServer&) = delete;
  PortServer& operator=(const PortServer&) = delete;

  int Port() const { return port_; }

 private:
  pid_t pid_ = -1;
  int port_ = 0;
};

}  // namespace orva::test
