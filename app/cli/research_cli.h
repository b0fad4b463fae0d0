#pragma once

#include <functional>
#include <nlohmann/json.hpp>

#include "app/research/autocomplete_reach.h"
#include "app/research/keyword_difficulty.h"
#include "app/research/keyword_signals.h"
#include "app/research/request_gate.h"
#include "app/research/signals_check.h"

// What the research commands (discover, signals, hints, check) share: whether the store may be asked now, the hold
// after a refusal, and the JSON forms of the research values.
namespace tovra::cli {

class Context;

// A run anywhere, then the client's hold (shared by every Tovra process).
research::RequestGate requestGate(Context& context);
// What a refusal does: the 900 s hold every process keeps, unless one already counts down.
std::function<void()> holdOnRefusal(Context& context);

nlohmann::json toJson(const std::optional<research::KeywordDifficulty>& difficulty);
nlohmann::json toJson(const research::AutocompleteReach& reach);
nlohmann::json toJson(const research::KeywordSignals& signals);
nlohmann::json toJson(const research::SignalsCheck::Summary& summary);
nlohmann::json toJson(const research::SignalsCheck::ProbeStep& step);

}  // namespace tovra::cli
