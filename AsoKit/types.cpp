#include "AsoKit/types.h"

#include "AsoKit/lookup.h"

namespace asokit {

const RankObservation* RankStatus::observation() const {
  const auto* measured = std::get_if<Measured>(&value);
  return measured ? &measured->observation : nullptr;
}

const std::string* RankStatus::failure() const {
  const auto* failed = std::get_if<Failed>(&value);
  return failed ? &failed->description : nullptr;
}

std::optional<std::string> AppInfo::iconURL() const {
  return artworkUrl512 ? lookup::iconUrl(*artworkUrl512) : std::nullopt;
}

}  // namespace asokit
