#include "AsoKit/types.h"

namespace asokit {

const RankObservation* RankStatus::observation() const {
  const auto* measured = std::get_if<Measured>(&value);
  return measured ? &measured->observation : nullptr;
}

const std::string* RankStatus::failure() const {
  const auto* failed = std::get_if<Failed>(&value);
  return failed ? &failed->description : nullptr;
}

}  // namespace asokit
