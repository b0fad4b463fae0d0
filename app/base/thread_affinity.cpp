#include "app/base/thread_affinity.h"

#include <cassert>

namespace tovra::base {

void ThreadAffinity::check() const {
  assert(std::this_thread::get_id() == owner_);
}

}  // namespace tovra::base
