#pragma once

namespace tessaron {

/// One function object of several, for `std::visit`: the overload that fits is called.
template <typename... Functions>
struct Overloaded : Functions... {
  using Functions::operator()...;
};
template <typename... Functions>
Overloaded(Functions...) -> Overloaded<Functions...>;  // clang 14 does not deduce it by itself

}  // namespace tessaron
