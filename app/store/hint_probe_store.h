#pragma once

#include <cstdint>
#include <optional>
#include <string_view>
#include <vector>

#include "AsoKit/calendar.h"
#include "AsoKit/types.h"
#include "app/store/repositories.h"

namespace tovra::store {

class Store;

struct KeptProbe {
  SavedProbe saved;
  std::int64_t removedByRetention = 0;  // older probes of the prefix deleted to keep the newest 30
};

// Keeps what the store's search hints answered for a prefix in a country, and finds it again. Prefixes
// compare exactly as typed (blanks and case included), countries trimmed and lower-cased. Main thread
// only.
class HintProbeStore final {
 public:
  explicit HintProbeStore(Store& store) : store_(&store) {}

  // Writes the answer as a probe with its hints in the store's order, then keeps the newest 30 probes
  // of the prefix and country. Throws StoreError when it cannot be saved; the store is then as it was.
  KeptProbe keep(const asokit::HintsOutcome& outcome, WallTime observedAt);

  // The newest probe of the prefix and country observed on the same calendar day as `now` (a probe from
  // 23:59 yesterday is not today's, however close), with its hints.
  std::optional<SavedProbe> fromSameDay(std::string_view prefix, std::string_view country, WallTime now,
                                        const asokit::Calendar& calendar) const;

  // The newest probe of the prefix and country, whatever its day, with its hints.
  std::optional<SavedProbe> newest(std::string_view prefix, std::string_view country) const;

  // The probes of the prefix and country, newest first, without their hints.
  std::vector<HintProbe> probesFor(std::string_view prefix, std::string_view country) const;

 private:
  SavedProbe withHints(const HintProbe& probe) const;

  Store* store_;
};

// The client's answer as the store kept it: terms in the store's order with their priorities.
asokit::HintsOutcome outcomeOf(const SavedProbe& probe);

}  // namespace tovra::store
