#pragma once

#include <QHash>
#include <QObject>
#include <QPixmap>
#include <QSet>
#include <optional>
#include <string>

#include "app/base/observable.h"

namespace tovra::shell {
class IconCache;
}

namespace tovra::gui {

// The apps' icons as every view draws them. An icon is asked for by the app's artwork address; until its
// image is on hand (and when there is none, or it cannot be read) a neutral placeholder stands in, never
// an error. Main thread only.
class AppIcons final : public QObject {
  Q_OBJECT
 public:
  explicit AppIcons(shell::IconCache& cache, QObject* parent = nullptr);
  ~AppIcons() override;

  // The icon at `size` logical pixels, square with the store's rounded corners.
  QPixmap pixmap(const std::optional<std::string>& artworkUrl, int size);
  // The neutral stand-in at `size` logical pixels.
  QPixmap placeholder(int size);

 signals:
  // An icon asked for earlier can now be drawn; views repaint.
  void arrived();

 private:
  shell::IconCache& cache_;
  base::Subscription arrivals_;
  QHash<QString, QPixmap> drawn_;
  // Files on disk that are not an image a view can draw: the placeholder stands in for good.
  QSet<QString> unreadable_;
};

}  // namespace tovra::gui
