#pragma once

namespace asokit {

// A visitor made of lambdas, one for each alternative of a std::variant.
template <class... Ts>
struct Overloaded : Ts... {
  using Ts::operator()...;
};
template <class... Ts>
Overloaded(Ts...) -> Overloaded<Ts...>;

}  // namespace asokit
