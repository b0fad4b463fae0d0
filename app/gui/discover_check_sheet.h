#pragma once

#include <QDialog>
#include <atomic>
#include <memory>
#include <optional>
#include <string>

#include "app/base/observable.h"

class QComboBox;
class QLabel;
class QLineEdit;
class QPushButton;

namespace tovra::research {
class KeywordCheckModel;
}

namespace tovra::gui {

class AppServices;

// Check once: measures one keyword for one tracked app with a single store request, without tracking it,
// and offers to track it afterwards. Says why when a run or the store's hold makes a check unavailable.
class DiscoverCheckSheet final : public QDialog {
  Q_OBJECT
 public:
  // Starts with `keyword` in `country`, and with `appStoreId` picked when it is a tracked app.
  DiscoverCheckSheet(AppServices& services, const std::string& keyword, const std::string& country,
                     const std::optional<std::string>& appStoreId, QWidget* parent);
  ~DiscoverCheckSheet() override;

  void check();

 signals:
  void wrote();

 private:
  void sync();
  void track();

  AppServices& services_;
  std::shared_ptr<std::atomic<bool>> refused_;
  std::unique_ptr<research::KeywordCheckModel> model_;
  base::Subscription subscription_;
  QComboBox* app_;
  QLineEdit* keyword_;
  QComboBox* country_;
  QLabel* headline_;
  QLabel* status_;
  QLabel* kept_;
  QPushButton* check_;
  QPushButton* track_;
};

}  // namespace tovra::gui
