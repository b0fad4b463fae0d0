#include "app/research/thread_affinity.h"

#include <cassert>

namespace tovra::research {

void ThreadAffinity::check() const {
  assert(std::this_thread::get_id() == owner_);
}

}  // namespace tovra::research
