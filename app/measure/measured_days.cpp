#include "app/measure/measured_days.h"

#include <fmt/format.h>

#include <algorithm>

#include "app/measure/measure_texts.h"

namespace tovra::measure {

std::vector<MeasuredDay> measuredDays(store::Store& store) {
  std::vector<MeasuredDay> days;
  for (auto& tally : store::readRunTallies(store)) {
    // A halt is what the user most needs to see, so it names the ending even when a stop came too.
    const auto ending = tally.run.halted    ? RunReport::Ending::halted
                        : tally.run.stopped ? RunReport::Ending::stopped
                                            : RunReport::Ending::finished;
    days.push_back(MeasuredDay{std::move(tally), ending});
  }
  return days;
}

std::string requestsText(std::int64_t requests) {
  return fmt::format("{} {}", requests, requests == 1 ? "request" : "requests");
}

std::string tallyText(const store::RunTally& tally) {
  auto text = fmt::format("{} ranked{}{} outside{}{} failed", tally.ranked, texts::kJoin, tally.outside, texts::kJoin,
                          tally.failed);
  if (tally.skipped > 0) {
    text += fmt::format("{}{} skipped", texts::kJoin, tally.skipped);
  }
  return text;
}

std::string archiveSummary(const std::vector<MeasuredDay>& days) {
  if (days.empty()) {
    return std::string(archiveText::kNoRunsYet);
  }
  const auto halted = std::count_if(days.begin(), days.end(),
                                    [](const MeasuredDay& day) { return day.ending == RunReport::Ending::halted; });
  auto text = fmt::format("{} {}", days.size(), days.size() == 1 ? "run" : "runs");
  if (halted > 0) {
    text += fmt::format("{}{} halted", texts::kJoin, halted);
  }
  return text;
}

}  // namespace tovra::measure
