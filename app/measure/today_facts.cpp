#include "app/measure/today_facts.h"

#include <algorithm>

#include "app/measure/today_queue.h"

namespace tovra::measure {

std::vector<asokit::WallTime> spanDays(const asokit::Calendar& calendar, asokit::WallTime lastDay, int count) {
  std::vector<asokit::WallTime> days;
  days.reserve(static_cast<std::size_t>(std::max(count, 0)));
  for (int back = count - 1; back >= 0; --back) {
    days.push_back(calendar.addDays(lastDay, -back));
  }
  return days;
}

std::vector<DaySlot> daySlots(const asokit::RankHistory& history, const std::vector<asokit::WallTime>& days) {
  std::vector<DaySlot> slots(days.size());
  // Both lists run oldest first, so one walk matches them.
  std::size_t at = 0;
  for (const auto& point : history.points()) {
    while (at < days.size() && days[at] < point.day) {
      ++at;
    }
    if (at == days.size()) {
      break;
    }
    if (days[at] == point.day) {
      slots[at] = point.rank ? DaySlot{DaySlot::Kind::ranked, *point.rank} : DaySlot{DaySlot::Kind::outside, 0};
    }
  }
  return slots;
}

MonthChange monthChange(const std::vector<DaySlot>& slots) {
  if (slots.size() < 2 || slots.front().kind == DaySlot::Kind::missing || slots.back().kind == DaySlot::Kind::missing) {
    return {MonthChange::Kind::missingDay, 0};
  }
  if (slots.front().kind == DaySlot::Kind::outside || slots.back().kind == DaySlot::Kind::outside) {
    return {MonthChange::Kind::unranked, 0};
  }
  return {MonthChange::Kind::moved, slots.front().rank - slots.back().rank};
}

std::string monthChangeText(const MonthChange& change) {
  switch (change.kind) {
    case MonthChange::Kind::missingDay:
      return "—";
    case MonthChange::Kind::unranked:
      return "not ranked";
    case MonthChange::Kind::moved:
      break;
  }
  if (change.places > 0) {
    return "up " + std::to_string(change.places);
  }
  if (change.places < 0) {
    return "down " + std::to_string(-change.places);
  }
  return "no change";
}

std::string bestRankText(std::optional<std::int64_t> best) {
  return best ? "#" + std::to_string(*best) : "never ranked";
}

std::string spanSummary(const std::vector<DaySlot>& slots) {
  std::size_t read = 0;
  std::optional<std::int64_t> best;
  for (const auto& slot : slots) {
    read += slot.kind == DaySlot::Kind::missing ? 0 : 1;
    if (slot.kind == DaySlot::Kind::ranked && (!best || slot.rank < *best)) {
      best = slot.rank;
    }
  }
  std::string text = std::to_string(read) + " of " + std::to_string(slots.size()) + " days read";
  if (best) {
    text += " · best #" + std::to_string(*best);
  }
  if (!slots.empty()) {
    const auto& last = slots.back();
    text += last.kind == DaySlot::Kind::ranked    ? " · latest #" + std::to_string(last.rank)
            : last.kind == DaySlot::Kind::outside ? std::string(" · latest outside the results")
                                                  : std::string(" · no reading on the last day");
  }
  return text;
}

void addBestRank(TodayRow& row, const BestRanks& best) {
  const auto found = best.find(row.id);
  if (found == best.end()) {
    return;
  }
  row.bestRank = found->second;
  for (const auto& point : row.history.points()) {
    if (point.rank && (!row.bestRank || *point.rank < *row.bestRank)) {
      row.bestRank = point.rank;
    }
  }
  row.bestRankRead = true;
}

void addRowFacts(TodayQueue& queue, const std::vector<asokit::WallTime>& days, const BestRanks& best) {
  for (auto* list : {&queue.pending, &queue.reviewed, &queue.held}) {
    for (auto& row : *list) {
      row.sparkline = daySlots(row.history, days);
      row.monthChange = monthChange(row.sparkline);
      addBestRank(row, best);
    }
  }
}

namespace today_texts {

std::string groupHeading(std::string_view group, std::size_t count) {
  return std::string(group) + " (" + std::to_string(count) + ")";
}

}  // namespace today_texts

}  // namespace tovra::measure
