#include "app/gui/app_icons.h"

#include <QFile>
#include <QGuiApplication>
#include <QImage>
#include <QPainter>
#include <QPainterPath>
#include <QPalette>

#include "app/shell/icon_cache.h"

namespace tovra::gui {

namespace {

// The store rounds an icon's corners by about a fifth of its side.
constexpr double kCornerShare = 0.225;

QPainterPath roundedSquare(int size) {
  QPainterPath path;
  path.addRoundedRect(QRectF(0.5, 0.5, size - 1.0, size - 1.0), size * kCornerShare, size * kCornerShare);
  return path;
}

}  // namespace

AppIcons::AppIcons(shell::IconCache& cache, QObject* parent) : QObject(parent), cache_(cache) {
  arrivals_ = cache_.arrived().subscribe([this](const std::string&) { emit arrived(); });
}

AppIcons::~AppIcons() = default;

QPixmap AppIcons::placeholder(int size) {
  const auto key = QStringLiteral("placeholder@%1").arg(size);
  if (const auto found = drawn_.constFind(key); found != drawn_.cend()) {
    return *found;
  }
  const qreal ratio = qApp ? qApp->devicePixelRatio() : 1.0;
  QPixmap pixmap(QSize(size, size) * ratio);
  pixmap.setDevicePixelRatio(ratio);
  pixmap.fill(Qt::transparent);
  QPainter painter(&pixmap);
  painter.setRenderHint(QPainter::Antialiasing);
  const auto palette = QGuiApplication::palette();
  painter.setPen(QPen(palette.color(QPalette::Mid), 1.0));
  painter.setBrush(palette.color(QPalette::AlternateBase));
  painter.drawPath(roundedSquare(size));
  painter.end();
  drawn_.insert(key, pixmap);
  return pixmap;
}

QPixmap AppIcons::pixmap(const std::optional<std::string>& artworkUrl, int size) {
  if (!artworkUrl || artworkUrl->empty()) {
    return placeholder(size);
  }
  const auto url = QString::fromStdString(*artworkUrl);
  const auto key = url + QStringLiteral("@%1").arg(size);
  if (const auto found = drawn_.constFind(key); found != drawn_.cend()) {
    return *found;
  }
  if (unreadable_.contains(url)) {
    return placeholder(size);
  }
  const auto file = cache_.cached(*artworkUrl);
  if (!file) {
    cache_.request(*artworkUrl);
    return placeholder(size);
  }
  // Read by content, not by name: the store's artwork addresses say .jpg whatever the bytes are.
  QFile source(QString::fromStdString(file->string()));
  QImage image;
  if (!source.open(QIODevice::ReadOnly) ||
      !image.loadFromData(source.read(static_cast<qint64>(shell::IconCache::kMaxIconBytes)))) {
    unreadable_.insert(url);
    return placeholder(size);
  }
  const qreal ratio = qApp ? qApp->devicePixelRatio() : 1.0;
  QPixmap pixmap(QSize(size, size) * ratio);
  pixmap.setDevicePixelRatio(ratio);
  pixmap.fill(Qt::transparent);
  QPainter painter(&pixmap);
  painter.setRenderHint(QPainter::Antialiasing);
  painter.setRenderHint(QPainter::SmoothPixmapTransform);
  painter.setClipPath(roundedSquare(size));
  painter.drawImage(QRectF(0, 0, size, size), image);
  painter.end();
  drawn_.insert(key, pixmap);
  return pixmap;
}

}  // namespace tovra::gui
