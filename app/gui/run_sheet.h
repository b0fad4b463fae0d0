#pragma once

#include <QDialog>

class QLabel;
class QListWidget;
class QProgressBar;
class QPushButton;

namespace tovra::gui {

class AppServices;

// The run as the user follows it: the plan and its pacing, then live progress with what was asked so
// far and Stop, then the report, or the hold with its live countdown. It only reads the runner.
class RunSheet final : public QDialog {
  Q_OBJECT
 public:
  RunSheet(AppServices& services, QWidget* parent);

  // Fills the plan lines from the run that just started.
  void showPlan();
  void render();

  QLabel* planLabel() const { return plan_; }
  QLabel* statusLabel() const { return status_; }
  QListWidget* askedList() const { return asked_; }
  QPushButton* stopButton() const { return stop_; }
  QLabel* reportLabel() const { return report_; }

 private:
  AppServices& services_;
  QLabel* plan_;
  QLabel* status_;
  QProgressBar* progress_;
  QLabel* askedHeading_;
  QListWidget* asked_;
  QLabel* report_;
  QPushButton* stop_;
  QPushButton* close_;
};

}  // namespace tovra::gui
