#pragma once

#include <nlohmann/json.hpp>

#include "AsoKit/types.h"

// JSON forms of the client's values under their own field names; an absent optional is null, never
// left out.
namespace asokit {

void to_json(nlohmann::json& j, const RankQuery& v);
void to_json(nlohmann::json& j, const TopApp& v);
void to_json(nlohmann::json& j, const RankObservation& v);
void to_json(nlohmann::json& j, const RankStatus& v);
void to_json(nlohmann::json& j, const RankResult& v);
void to_json(nlohmann::json& j, const RankProgress& v);
void to_json(nlohmann::json& j, const BatchOutcome& v);
void to_json(nlohmann::json& j, const RankedApp& v);
void to_json(nlohmann::json& j, const SearchOutcome& v);
void to_json(nlohmann::json& j, const AppInfo& v);
void from_json(const nlohmann::json& j, AppInfo& v);
void to_json(nlohmann::json& j, const HintTerm& v);
void to_json(nlohmann::json& j, const HintsOutcome& v);

}  // namespace asokit
