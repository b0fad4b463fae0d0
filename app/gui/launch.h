#pragma once

#include <QSize>
#include <QStringList>
#include <memory>
#include <optional>
#include <string>

#include "app/gui/app_services.h"

namespace tovra::gui {

// The onboarding check's launch configuration: an in-memory store and settings of its own, cleared
// at start, and optionally its own window size ("--onboarding-qa=1280x800").
struct OnboardingQA {
  std::optional<QSize> windowSize;
};

inline constexpr const char* kOnboardingArgument = "--onboarding-qa";
inline constexpr const char* kQaDefaultsFailed = "Onboarding QA defaults suite could not be isolated.";
inline constexpr const char* kQaStoreFailed = "Onboarding QA in-memory store could not be created: ";

// Reads the onboarding configuration from the process arguments; none in normal use.
std::optional<OnboardingQA> onboardingFrom(const QStringList& arguments);

// A launch that cannot go on, with the words the process ends with.
struct FatalLaunch {
  std::string message;
};

// Reads the configuration, opens the settings and the store and builds the services, in the launch's
// order. Throws FatalLaunch.
std::unique_ptr<AppServices> launchServices(const std::optional<OnboardingQA>& qa,
                                            const shell::EnvironmentLookup& environment,
                                            measure::TovraNotifier::CenterFactory makeCenter);

}  // namespace tovra::gui
