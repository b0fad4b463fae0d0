#include "app/gui/launch.h"

#include <QCoreApplication>
#include <QMessageBox>
#include <QRegularExpression>
#include <QSettings>
#include <QTimer>
#include <QWidget>
#include <iostream>

#include "app/gui/gui_text.h"
#include "app/gui/launch_alert_dialog.h"
#include "app/shell/launch_texts.h"

namespace tovra::gui {

namespace {

// The onboarding check's own settings, named after the application's identifier and emptied.
std::unique_ptr<QSettings> isolatedSettings() {
  auto settings =
      std::make_unique<QSettings>(QSettings::IniFormat, QSettings::UserScope, QCoreApplication::organizationName(),
                                  QStringLiteral("org.tovra.Tovra.onboarding-qa"));
  settings->clear();
  settings->sync();
  if (settings->status() != QSettings::NoError || !settings->isWritable() || !settings->allKeys().isEmpty()) {
    throw FatalLaunch{std::string(shell::launch_texts::kQaDefaultsFailed)};
  }
  return settings;
}

}  // namespace

std::optional<OnboardingQA> onboardingFrom(const QStringList& arguments) {
  for (const auto& argument : arguments) {
    if (argument == QLatin1String(kOnboardingArgument)) {
      return OnboardingQA{};
    }
    if (argument.startsWith(QLatin1String(kOnboardingArgument) + QLatin1Char('='))) {
      static const QRegularExpression size(QStringLiteral("=(\\d+)x(\\d+)$"));
      OnboardingQA qa;
      if (const auto match = size.match(argument); match.hasMatch()) {
        qa.windowSize = QSize(match.captured(1).toInt(), match.captured(2).toInt());
      }
      return qa;
    }
  }
  return std::nullopt;
}

std::unique_ptr<AppServices> launchServices(const std::optional<OnboardingQA>& qa,
                                            const shell::EnvironmentLookup& environment,
                                            measure::TovraNotifier::CenterFactory makeCenter) {
  AppServices::Parts parts;
  try {
    parts.configuration = shell::Configuration::fromEnvironment(environment);
  } catch (const shell::ConfigurationError& error) {
    throw FatalLaunch{error.what()};
  }
  parts.seams.warn = [](const std::string& warning) { std::cerr << warning << "\n"; };
  if (qa) {
    parts.settings = std::make_unique<QtSettingsStore>(isolatedSettings());
    try {
      parts.store = store::Store::inMemory();
    } catch (const std::exception& error) {
      throw FatalLaunch{std::string(shell::launch_texts::kQaStoreFailed) + error.what()};
    }
  } else {
    parts.settings = std::make_unique<QtSettingsStore>(std::make_unique<QSettings>());
  }
  parts.makeCenter = std::move(makeCenter);
  parts.makeIconTransport = [](asokit::CurlTransportOptions options) { return asokit::makeCurlTransport(options); };
  try {
    return std::make_unique<AppServices>(std::move(parts));
  } catch (const std::runtime_error& error) {
    // Only the fallback store in memory can fail here, with its own fatal words.
    throw FatalLaunch{error.what()};
  }
}

void presentFatalLaunch(const FatalLaunch& fatal) {
  std::cerr << fatal.message << "\n";
  QMessageBox box(QMessageBox::Critical, QCoreApplication::applicationName(), qs(fatal.message), QMessageBox::Close);
  box.setAccessibleName(box.text());
  box.exec();
}

void presentMainWindow(QWidget& window, const std::optional<store::StoreOpenNotice>& notice,
                       std::function<void()> quit) {
  window.show();
  window.raise();
  window.activateWindow();
  if (!notice) {
    return;
  }
  const auto alert = store::StoreLaunchAlert::from(*notice);
  QTimer::singleShot(0, &window, [&window, alert, quit = std::move(quit)] {
    if (presentLaunchAlert(&window, alert) == LaunchAlertChoice::quit && quit) {
      quit();
    }
  });
}

}  // namespace tovra::gui
