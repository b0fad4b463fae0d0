#include "app/gui/app_icons.h"

#include <QGuiApplication>
#include <QPainter>
#include <QPainterPath>
#include <QPalette>

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

AppIcons::AppIcons(QObject* parent) : QObject(parent) {}

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
  const auto key = QString::fromStdString(*artworkUrl) + QStringLiteral("@%1").arg(size);
  if (const auto found = drawn_.constFind(key); found != drawn_.cend()) {
    return *found;
  }
  return placeholder(size);
}

}  // namespace tovra::gui
