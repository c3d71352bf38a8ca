#include "orvamesh/base/log.h"

#include <cstdarg>
#include <cstdio>
#include <exception>
#include <mutex>
#include <vector>

namespace ORVA::MESH::SDK::Log {
namespace {

std::mutex& SinkMutex() {
  static std::mutex mutex;
  return mutex;
}

Sink& CurrentSink() {
  static Sink sink;
  return sink;
}

}  // namespace

Sink SetSink(Sink sink) {
  std::lock_guard<std::mutex> lock(SinkMutex());
  Sink previous = std::move(CurrentSink());
  CurrentSink() = std::move(sink);
  return previous;
}

void Write(int priority, std::string_view file, int line, const char* format, ...) {
  char stack[512];
  int prefix = std::snprintf(stack, sizeof stack, "%.*s:%d ", static_cast<int>(file.size()), file.data(), line);
  if (prefix < 0) return;
  std::string text(stack, static_cast<size_t>(prefix) < sizeof stack ? prefix : sizeof stack - 1);

  va_list args;
  va_start(args, format);
  va_list again;
  va_copy(again, args);
  int body = std::vsnprintf(stack, sizeof stack, format, args);
  va_end(args);
  if (body >= 0) {
    if (static_cast<size_t>(body) < sizeof stack) {
      text.append(stack, static_cast<size_t>(body));
    } else {
      std::vector<char> big(static_cast<size_t>(body) + 1);
      std::vsnprintf(big.data(), big.size(), format, again);
      text.append(big.data(), static_cast<size_t>(body));
    }
  }
  va_end(again);

  // The sink is called under the lock so that lines from different threads never interleave
  // inside a collecting sink, and a sink being replaced is never called afterwards.
  std::lock_guard<std::mutex> lock(SinkMutex());
  if (CurrentSink()) {
    CurrentSink()(priority, text);
  } else {
    ::syslog(priority, "%s", text.c_str());
  }
}

void UnhandledInDestructor(std::string_view file, int line) noexcept {
  try {
    std::exception_ptr current = std::current_exception();
    if (!current) return;
    try {
      std::rethrow_exception(current);
    } catch (const std::exception& e) {
      Write(LOG_ERR, file, line, "Unhandled exception in destructor: %s", e.what());
    } catch (...) {
      Write(LOG_ERR, file, line, "Unhandled and unknown exception in destructor");
    }
  } catch (...) {
    // Logging itself failed (out of memory): nothing more can be done in a destructor.
  }
}

}  // namespace ORVA::MESH::SDK::Log
