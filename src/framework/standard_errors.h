// The standard library's failures with the texts the script sees, whatever
// this C++ library calls them ("std::bad_alloc", "std::bad_cast").
#pragma once

#include <new>
#include <typeinfo>

namespace qor {

class bad_alloc : public std::bad_alloc {
 public:
  const char* what() const noexcept override { return "bad allocation"; }
};

class bad_cast : public std::bad_cast {
 public:
  const char* what() const noexcept override { return "bad cast"; }
};

}  // namespace qor
