#include "tools/fakestore/faults.h"

namespace tovra::fakestore {
namespace {

bool matches(const Fault& fault, const RequestFacts& facts) {
  if (fault.endpoint && *fault.endpoint != facts.endpoint) {
    return false;
  }
  if (fault.term && *fault.term != facts.term) {
    return false;
  }
  return !fault.country || fault.country == facts.country;
}

}  // namespace

FaultBook::FaultBook(const Scenario& scenario)
    : scenario_(scenario), matched_(scenario.faults.size(), 0), fired_(scenario.faults.size(), 0) {}

Verdict FaultBook::judge(const RequestFacts& facts) {
  const std::lock_guard lock(mutex_);
  Verdict verdict;
  verdict.number = ++served_;
  if (const auto& storm = scenario_.storm;
      storm && verdict.number > storm->afterRequests &&
      (!storm->length || verdict.number <= storm->afterRequests + *storm->length)) {
    verdict.storm = true;
    return verdict;
  }
  for (std::size_t i = 0; i < scenario_.faults.size(); ++i) {
    const Fault& fault = scenario_.faults[i];
    if (!matches(fault, facts)) {
      continue;
    }
    if (++matched_[i] <= fault.skip || (fault.times && fired_[i] >= *fault.times)) {
      continue;
    }
    ++fired_[i];
    verdict.fault = i;
    return verdict;
  }
  return verdict;
}

}  // namespace tovra::fakestore
