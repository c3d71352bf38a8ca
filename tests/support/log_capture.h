#pragma once
// Collects the library's log lines for the lifetime of the object (and keeps them out of the
// machine's syslog). One LogCapture at a time.
#include <mutex>
#include <string>
#include <vector>

#include "orvamesh/base/log.h"

namespace orva::test {

struct LogLine {
  int priority;
  std::string text;
};

class LogCapture {
 public:
  LogCapture();
  ~LogCapture();  // not copyable: it owns a mutex

  std::vector<LogLine> Lines() const;
  std::vector<std::string> Texts() const;
  std::vector<LogLine> Matching(const std::string& needle) const;
  bool Contains(const std::string& needle) const { return !Matching(needle).empty(); }
  void Clear();

 private:
  mutable std::mutex mutex_;
  std::vector<LogLine> lines_;
  ORVA::MESH::SDK::Log::Sink previous_;
  int previousMax_ = LOG_INFO;
};

}  // namespace orva::test
