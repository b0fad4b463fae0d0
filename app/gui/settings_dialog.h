#pragma once

#include <QDialog>

#include "app/base/observable.h"

class QCheckBox;
class QLabel;
class QProgressBar;
class QPushButton;
class QStandardItemModel;
class QTableView;

namespace tovra::gui {

class AppServices;

// The settings: the notification switch with the notifier's state, what the store holds and takes on
// disk, the export, and deleting everything.
class SettingsDialog final : public QDialog {
  Q_OBJECT
 public:
  SettingsDialog(AppServices& services, QWidget* parent);
  ~SettingsDialog() override;

  void render();
  QCheckBox* notificationSwitch() const { return notifications_; }
  QLabel* notificationState() const { return notificationState_; }
  QLabel* storeSummary() const { return summary_; }
  QStandardItemModel* inventory() const { return inventory_; }
  QLabel* exportStatus() const { return exportStatus_; }
  QProgressBar* exportProgress() const { return exportProgress_; }

  // Writes the export to `target` off the GUI thread; the status line says how it went.
  void exportTo(const QString& target);
  bool isExporting() const { return exporting_; }
  // Checks every page, record and index of the store file off the GUI thread; a damaged store is then
  // written no more and is salvaged at the next launch.
  void checkStore();
  QPushButton* checkButton() const { return check_; }
  QLabel* checkStatus() const { return checkStatus_; }

 signals:
  // Everything was deleted: the windows go back to their first screen.
  void storeEmptied();
  void exportFinished();
  void checkFinished();

 private:
  void chooseExportFile();
  void deleteEverything();

  AppServices& services_;
  QCheckBox* notifications_;
  QLabel* notificationState_;
  QLabel* summary_;
  QStandardItemModel* inventory_;
  QTableView* inventoryView_;
  QPushButton* export_;
  QLabel* exportStatus_;
  QProgressBar* exportProgress_;
  QPushButton* deleteAll_;
  QPushButton* check_;
  QLabel* checkStatus_;
  bool exporting_ = false;
  bool checking_ = false;
  base::Subscription notifierChanges_;
};

}  // namespace tovra::gui
