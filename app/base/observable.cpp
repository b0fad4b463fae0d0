#include "app/base/observable.h"

namespace tovra::base {

Subscription& Subscription::operator=(Subscription&& other) noexcept {
  if (this != &other) {
    reset();
    end_ = std::exchange(other.end_, {});
  }
  return *this;
}

void Subscription::reset() noexcept {
  if (auto end = std::exchange(end_, {})) {
    end();
  }
}

}  // namespace tovra::base
