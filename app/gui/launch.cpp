#include "app/gui/launch.h"

#include <QCoreApplication>
#include <QRegularExpression>
#include <QSettings>

#include "app/gui/app_services.h"
#include "app/store/file_operations.h"

namespace tovra::gui {

namespace {

store::LocalTimeFormat localTimeFormat() {
  return store::LocalTimeFormat(userCalendar().zoneName());
}

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
                                            const std::function<void(AppServices::Parts&)>& makeClient,
                                            measure::TovraNotifier::CenterFactory makeCenter) {
  AppServices::Parts parts;
  parts.dataDir = defaultDataDir();
  if (qa) {
    parts.settings = std::make_unique<QtSettingsStore>(isolatedSettings());
    try {
      parts.store = store::Store::inMemory();
    } catch (const std::exception& error) {
      throw FatalLaunch{std::string(kQaStoreFailed) + error.what()};
    }
  } else {
    parts.settings = std::make_unique<QtSettingsStore>(std::make_unique<QSettings>());
    store::SystemFileOperations files;
    asokit::SystemWallClock wall;
    const store::StoreBootstrap bootstrap(parts.dataDir, files, wall, localTimeFormat(),
                                          store::StoreBootstrap::diskContainer());
    auto result = bootstrap.open();
    parts.notice = std::move(result.notice);
    parts.store = std::move(result.container);
    if (!parts.store) {
      try {
        parts.store = store::inMemoryFallback();
      } catch (const std::exception& error) {
        throw FatalLaunch{error.what()};
      }
    }
  }
  makeClient(parts);
  parts.makeCenter = std::move(makeCenter);
  return std::make_unique<AppServices>(std::move(parts));
}

}  // namespace tovra::gui
