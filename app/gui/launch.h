#pragma once

#include <QSize>
#include <QStringList>
#include <functional>
#include <memory>
#include <optional>
#include <string>

#include "app/gui/app_services.h"
#include "app/store/launch_alert.h"

class QWidget;

namespace tovra::gui {

// The onboarding check's launch configuration: an in-memory store and settings of its own, cleared
// at start, and optionally its own window size ("--onboarding-qa=1280x800").
struct OnboardingQA {
  std::optional<QSize> windowSize;
};

inline constexpr const char* kOnboardingArgument = "--onboarding-qa";

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

// Says the words a launch ends with in an alert, as well as on the error stream: a launch from the
// desktop has no terminal to read them in.
void presentFatalLaunch(const FatalLaunch& fatal);

// Shows the main window, raises it and makes it active, and only then queues the store's alert over it, so
// the alert never opens over nothing. `quit` runs when the alert says Tovra cannot go on.
void presentMainWindow(QWidget& window, const std::optional<store::StoreOpenNotice>& notice,
                       std::function<void()> quit);

}  // namespace tovra::gui
