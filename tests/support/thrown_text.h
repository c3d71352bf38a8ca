#pragma once
// The what() of the exception of type E that `call` throws, or "" when it throws nothing.
// Another exception type propagates and fails the test.
#include <functional>
#include <string>

namespace orva::test {

template <typename E>
std::string ThrownText(const std::function<void()>& call) {
  try {
    call();
  } catch (const E& e) {
    return e.what();
  }
  return "";
}

}  // namespace orva::test
