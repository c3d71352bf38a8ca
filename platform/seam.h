#pragma once
// The one shape of our test seams: a table of function pointers over C calls whose failures
// cannot be provoked for real, reached through an accessor, and swapped by tests for the
// lifetime of a ScopedOverride. Not installed.
namespace orva::platform {

// Restores the table in force on destruction. Tests only.
template <typename Calls, Calls& (*Current)() noexcept>
class ScopedOverride {
 public:
  ScopedOverride() : saved_(Current()) {}
  ~ScopedOverride() { Current() = saved_; }
  ScopedOverride(const ScopedOverride&) = delete;
  ScopedOverride& operator=(const ScopedOverride&) = delete;
  Calls* operator->() { return &Current(); }

 private:
  Calls saved_;
};

}  // namespace orva::platform
