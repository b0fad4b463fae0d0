#pragma once

#include <QSettings>
#include <memory>

#include "app/measure/tovra_notifier.h"

namespace tovra::gui {

inline constexpr const char* kGettingStartedDismissedKey = "gettingStarted.dismissed";
inline constexpr const char* kGeometryKey = "mainWindow.geometry";
inline constexpr const char* kLastPageKey = "mainWindow.page";

// The user's settings that outlive the process, under the same keys the core names.
class QtSettingsStore final : public measure::SettingsStore {
 public:
  explicit QtSettingsStore(std::unique_ptr<QSettings> settings);
  std::optional<bool> boolValue(std::string_view key) const override;
  void setBool(std::string_view key, bool value) override;
  QSettings& qsettings() { return *settings_; }

 private:
  std::unique_ptr<QSettings> settings_;
};

}  // namespace tovra::gui
