#include "app/measure/run_plan.h"

#include <set>
#include <utility>

namespace tovra::measure {

void StopFlag::raise() {
  std::lock_guard lock(mutex_);
  raised_ = true;
}

bool StopFlag::isRaised() const {
  std::lock_guard lock(mutex_);
  return raised_;
}

std::vector<RequestTarget> planFor(const std::vector<RunEntry>& entries) {
  std::vector<RequestTarget> plan;
  std::set<std::pair<std::string, std::string>> planned;
  for (const auto& entry : entries) {
    if (planned.emplace(entry.query.country, entry.query.keyword).second) {
      plan.push_back({entry.query.country, entry.query.keyword});
    }
  }
  return plan;
}

}  // namespace tovra::measure
