#pragma once
// A seam over the file calls whose failures cannot be provoked for real (an flock that
// refuses to unlock). Tests swap entries with ScopedFileCallsOverride. Not installed.
namespace orva::platform {

struct FileCallTable {
  int (*flock)(int, int);
};

FileCallTable& FileCalls() noexcept;

class ScopedFileCallsOverride {
 public:
  ScopedFileCallsOverride() : saved_(FileCalls()) {}
  ~ScopedFileCallsOverride() { FileCalls() = saved_; }
  ScopedFileCallsOverride(const ScopedFileCallsOverride&) = delete;
  ScopedFileCallsOverride& operator=(const ScopedFileCallsOverride&) = delete;
  FileCallTable* operator->() { return &FileCalls(); }

 private:
  FileCallTable saved_;
};

}  // namespace orva::platform
