#include "orvamesh/base/log.h"

#include <cstdarg>
#include <cstdio>
#include <exception>
#include <atomic>
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

std::atomic<int> gMaxPriority{LOG_INFO};

// Set while this thread is inside the sink: a sink that logs must not wait for itself.
thread_local bool tInSink = false;

}  // namespace

int SetMaxPriority(int priority) { return gMaxPriority.exchange(priority); }

bool Enabled(int priority) noexcept { return priority <= gMaxPriority.load(std::memory_order_relaxed); }

Sink SetSink(Sink sink) {
  std::lock_guard<std::mutex> lock(SinkMutex());
  Sink previous = std::move(CurrentSink());
  CurrentSink() = std::move(sink);
  return previous;
}

void Write(int priority, std::string_view file, int line, const char* format, ...) {
  if (!Enabled(priority)) return;
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
  // inside a collecting sink, and a sink being replaced is never called afterwards. A line the
  // sink itself logs goes straight to syslog instead of waiting for the lock its thread holds.
  if (tInSink) {
    ::syslog(priority, "%s", text.c_str());
    return;
  }
  std::lock_guard<std::mutex> lock(SinkMutex());
  if (CurrentSink()) {
    tInSink = true;
    try {
      CurrentSink()(priority, text);
    } catch (...) {
      // A sink that throws loses its line; the caller's work goes on.
    }
    tInSink = false;
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
