#include "app/gui/tray.h"

#include <QApplication>
#include <QMenu>
#include <QSystemTrayIcon>

#include "app/gui/app_services.h"
#include "app/gui/gui_text.h"
#include "app/gui/icons.h"
#include "app/measure/run_notification.h"

namespace tovra::gui {

shell::RunGlance glanceOf(AppServices& services) {
  auto& runner = services.runner();
  shell::RunGlance glance;
  if (const auto& live = runner.live()) {
    glance.live = true;
    glance.completedRequests = live->completedRequests;
    glance.plannedRequests = static_cast<std::int64_t>(live->plan.size());
  }
  glance.cooldownSecondsLeft = runner.cooldownSecondsLeft();
  return glance;
}

Tray::Tray(AppServices& services, QAction& measureNow, QObject* parent) : QObject(parent), services_(services) {
  menu_ = new QMenu;
  menu_->setAccessibleName(QStringLiteral("Tovra"));
  summary_ = menu_->addAction(QString());
  summary_->setEnabled(false);
  report_ = menu_->addAction(QString());
  report_->setEnabled(false);
  menu_->addSeparator();
  menu_->addAction(&measureNow);
  stop_ = menu_->addAction(symbolIcon("stop"), QStringLiteral("Stop"));
  connect(stop_, &QAction::triggered, this, [this] { services_.runner().stop(); });
  menu_->addSeparator();
  connect(menu_->addAction(QStringLiteral("Open Tovra")), &QAction::triggered, this, &Tray::openRequested);
  connect(menu_->addAction(QStringLiteral("Quit")), &QAction::triggered, qApp, &QApplication::quit);
  if (QSystemTrayIcon::isSystemTrayAvailable()) {
    icon_ = new QSystemTrayIcon(this);
    icon_->setContextMenu(menu_);
    connect(icon_, &QSystemTrayIcon::activated, this, [this](QSystemTrayIcon::ActivationReason reason) {
      if (reason == QSystemTrayIcon::Trigger || reason == QSystemTrayIcon::DoubleClick) {
        emit openRequested();
      }
    });
  }
  auto& runSignals = services.runnerSignals();
  connect(&runSignals, &RunnerSignals::changed, this, &Tray::render);
  connect(&runSignals, &RunnerSignals::progressed, this, &Tray::render);
  connect(&runSignals, &RunnerSignals::reported, this, &Tray::render);
  render();
  if (icon_) {
    icon_->show();
  }
}

Tray::~Tray() {
  delete menu_;
}

bool Tray::isShown() const {
  return icon_ && icon_->isVisible();
}

QString Tray::toolTip() const {
  return qs(shell::trayLabel(glance_));
}

void Tray::render() {
  glance_ = glanceOf(services_);
  const auto line = shell::runLine(glance_);
  summary_->setText(line ? QString::fromStdString(*line) : qs(shell::trayLabel(glance_)));
  const auto& report = services_.runner().report();
  report_->setVisible(report.has_value());
  if (report) {
    report_->setText(QString::fromStdString(measure::notificationBody(*report)));
  }
  stop_->setEnabled(glance_.live);
  if (icon_) {
    icon_->setIcon(symbolIcon(shell::traySymbol(glance_)));
    icon_->setToolTip(toolTip());
  }
}

}  // namespace tovra::gui
