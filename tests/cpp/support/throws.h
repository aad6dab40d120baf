// The message of the exception of class E that a piece of code throws.
#pragma once

#include <exception>
#include <functional>
#include <string>

namespace test_support {

// What `body` throws as an E, or "<no exception>"; an exception of another
// class passes on and fails the test.
template <typename E = std::exception>
std::string messageOf(const std::function<void()>& body) {
  try {
    body();
  } catch (const E& e) {
    return e.what();
  }
  return "<no exception>";
}

}  // namespace test_support
