#pragma once

#include <QObject>

#include "app/shell/run_glance.h"

class QAction;
class QMenu;
class QSystemTrayIcon;

namespace tovra::gui {

class AppServices;

// The tray icon: idle or measuring, and a menu with the run's summary, Measure now, Stop, Open Tovra and
// Quit. Desktops without a tray get none, and the application works without it.
class Tray final : public QObject {
  Q_OBJECT
 public:
  Tray(AppServices& services, QAction& measureNow, QObject* parent);
  ~Tray() override;

  bool isShown() const;
  const shell::RunGlance& glance() const { return glance_; }
  QString toolTip() const;
  QMenu* menu() const { return menu_; }
  void render();

 signals:
  void openRequested();

 private:
  AppServices& services_;
  shell::RunGlance glance_;
  QMenu* menu_;
  QAction* summary_;
  QAction* report_;
  QAction* stop_;
  QSystemTrayIcon* icon_ = nullptr;
};

// The run at a glance, from the runner.
shell::RunGlance glanceOf(AppServices& services);

}  // namespace tovra::gui
