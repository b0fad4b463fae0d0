#pragma once

#include <QString>
#include <string>
#include <string_view>

#include "AsoKit/clock.h"

namespace tovra::gui {

// The core's texts are UTF-8; every widget shows them through this one conversion.
inline QString qs(std::string_view view) {
  return QString::fromUtf8(view.data(), static_cast<qsizetype>(view.size()));
}

// An unknown or absent value: never a blank cell, never a made-up number.
inline const QString kEmDash = QString::fromUtf8("—");

// A country code as the desktop shows it, "US".
QString countryCode(const std::string& code);

// "2025-01-14 09:30" in the desktop's local time.
QString localMinute(asokit::WallTime time);

}  // namespace tovra::gui
