#pragma once
// Every line the library writes to the system log goes through Log::Write, which prefixes
// "file:line " and hands the line to the current sink. The default sink is syslog(3); a
// program (or a test) may install its own sink to collect, filter or forward the lines.
#include <syslog.h>

#include <functional>
#include <string>
#include <string_view>

#include "orvamesh/export.h"
#include "orvamesh/base/source_path.h"

namespace ORVA::MESH::SDK::Log {

// Receives the priority (LOG_ERR, LOG_INFO, LOG_DEBUG, ...) and the complete line.
// It may be called from any of the library's threads, one call at a time.
using Sink = std::function<void(int priority, const std::string& line)>;

// Installs a sink and returns the previous one. An empty sink restores syslog(3).
ORVA_EXPORT Sink SetSink(Sink sink);

// Lines of a priority above this one (LOG_DEBUG above LOG_INFO, as syslog counts) are not
// even formatted. LOG_INFO unless a program asks for more; returns the previous value.
ORVA_EXPORT int SetMaxPriority(int priority);
// Whether a line of this priority would be written; guards work done only for a log line
// (packet dumps).
ORVA_EXPORT bool Enabled(int priority) noexcept;

// Writes "<file>:<line> " followed by the printf-formatted text.
ORVA_EXPORT void Write(int priority, std::string_view file, int line, const char* format, ...)
    __attribute__((format(printf, 4, 5)));

// Logs the exception being handled ("Unhandled exception in destructor: <what>", or the
// unknown-exception line). Call it only inside a catch block of a destructor.
ORVA_EXPORT void UnhandledInDestructor(std::string_view file, int line) noexcept;

}  // namespace ORVA::MESH::SDK::Log

#define ORVA_LOG(priority, ...) \
  ::ORVA::MESH::SDK::Log::Write((priority), ORVA_SOURCE_FILE, __LINE__, __VA_ARGS__)
#define ORVA_LOG_ERR(...) ORVA_LOG(LOG_ERR, __VA_ARGS__)
#define ORVA_LOG_INFO(...) ORVA_LOG(LOG_INFO, __VA_ARGS__)
#define ORVA_LOG_DEBUG(...) ORVA_LOG(LOG_DEBUG, __VA_ARGS__)
// For destructors: catch (...) { ORVA_LOG_UNHANDLED_IN_DESTRUCTOR(); }
#define ORVA_LOG_UNHANDLED_IN_DESTRUCTOR() \
  ::ORVA::MESH::SDK::Log::UnhandledInDestructor(ORVA_SOURCE_FILE, __LINE__)
