#pragma once

#include <string_view>

#include "app/store/bootstrap.h"

// The words a launch ends with when it cannot go on. Each is fatal: the process ends after saying it.
namespace tovra::shell::launch_texts {

inline constexpr std::string_view kQaDefaultsFailed = "Onboarding QA defaults suite could not be isolated.";
// Followed by the error's description.
inline constexpr std::string_view kQaStoreFailed = "Onboarding QA in-memory store could not be created: ";
// Followed by the error's description.
using store::kNoStoreAtAll;

}  // namespace tovra::shell::launch_texts
