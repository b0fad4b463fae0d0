#include "app/gui/gui_text.h"

#include <QDateTime>
#include <chrono>

#include "app/base/keyword_key.h"

namespace tovra::gui {

QString countryCode(const std::string& code) {
  return QString::fromStdString(base::upperCountry(code));
}

QString localMinute(asokit::WallTime time) {
  const auto ms = std::chrono::duration_cast<std::chrono::milliseconds>(time.time_since_epoch()).count();
  return QDateTime::fromMSecsSinceEpoch(ms).toString(QStringLiteral("yyyy-MM-dd HH:mm"));
}

}  // namespace tovra::gui
