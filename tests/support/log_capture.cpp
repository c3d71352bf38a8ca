#include "support/log_capture.h"

namespace orva::test {

LogCapture::LogCapture() {
  // A test sees every line, debug included.
  previousMax_ = ORVA::MESH::SDK::Log::SetMaxPriority(LOG_DEBUG);
  previous_ = ORVA::MESH::SDK::Log::SetSink([this](int priority, const std::string& line) {
    std::lock_guard<std::mutex> lock(mutex_);
    lines_.push_back({priority, line});
  });
}

LogCapture::~LogCapture() {
  ORVA::MESH::SDK::Log::SetSink(std::move(previous_));
  ORVA::MESH::SDK::Log::SetMaxPriority(previousMax_);
}

std::vector<LogLine> LogCapture::Lines() const {
  std::lock_guard<std::mutex> lock(mutex_);
  return lines_;
}

std::vector<std::string> LogCapture::Texts() const {
  std::vector<std::string> texts;
  for (const LogLine& l : Lines()) texts.push_back(l.text);
  return texts;
}

std::vector<LogLine> LogCapture::Matching(const std::string& needle) const {
  std::vector<LogLine> found;
  for (const LogLine& l : Lines()) {
    if (l.text.find(needle) != std::string::npos) found.push_back(l);
  }
  return found;
}

void LogCapture::Clear() {
  std::lock_guard<std::mutex> lock(mutex_);
  lines_.clear();
}

}  // namespace orva::test
