#include "app/gui/launch.h"

#include <QCoreApplication>
#include <QRegularExpression>
#include <QSettings>
#include <iostream>

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
    throw FatalLaunch{kQaDefaultsFailed};
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
      throw FatalLaunch{std::string(kQaStoreFailed) + error.what()};
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

}  // namespace tovra::gui
