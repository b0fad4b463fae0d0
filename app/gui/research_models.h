#pragma once

// The research models a desktop page drives. The signals check names its reading `signals`, which Qt
// takes for a keyword, so these headers are read with that keyword set aside.
#pragma push_macro("signals")
#undef signals
#include "app/research/discover_model.h"
#include "app/research/signals_check.h"
#include "app/research/signals_texts.h"

namespace tovra::gui {

// The check's reading so far.
inline const std::optional<research::KeywordSignals>& readingOf(const research::SignalsCheck& check) {
  return check.signals();
}

}  // namespace tovra::gui
#pragma pop_macro("signals")
