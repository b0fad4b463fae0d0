#include "app/gui/qt_settings.h"

namespace tovra::gui {

namespace {

QString keyOf(std::string_view key) {
  return QString::fromUtf8(key.data(), static_cast<qsizetype>(key.size()));
}

}  // namespace

QtSettingsStore::QtSettingsStore(std::unique_ptr<QSettings> settings) : settings_(std::move(settings)) {}

std::optional<bool> QtSettingsStore::boolValue(std::string_view key) const {
  const auto value = settings_->value(keyOf(key));
  if (!value.isValid()) {
    return std::nullopt;
  }
  return value.toBool();
}

void QtSettingsStore::setBool(std::string_view key, bool value) {
  settings_->setValue(keyOf(key), value);
  settings_->sync();
}

}  // namespace tovra::gui
