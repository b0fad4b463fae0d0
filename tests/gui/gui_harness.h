#pragma once
// What every desktop test shares: one window over an in-memory or on-disk store, a scripted App Store,
// settings in a temporary folder, and ways to read what a page shows.
#include <QAbstractButton>
#include <QAbstractItemView>
#include <QApplication>
#include <QLabel>
#include <QMessageBox>
#include <QSettings>
#include <QTemporaryDir>
#include <QTest>
#include <QTimer>

#include "app/gui/app_services.h"
#include "app/gui/gui_text.h"
#include "app/gui/main_window.h"
#include "app/gui/qt_settings.h"
#include "app/gui/view_page.h"
#include "measure/fakes.h"
#include "measure/seed.h"

namespace tovra::testing {

// A notification service that answers at once, as the test says.
class FakeCenter final : public measure::NotificationCentering {
 public:
  explicit FakeCenter(std::vector<measure::NotificationContent>* posted) : posted_(posted) {}
  void authorization(AuthorizationFn done) override { done(Authorization::authorized); }
  void requestAuthorization(RequestFn done) override { done(true, std::nullopt); }
  void post(const measure::NotificationContent& content, PostFn done) override {
    posted_->push_back(content);
    done(std::nullopt);
  }

 private:
  std::vector<measure::NotificationContent>* posted_;
};

// One window over an in-memory store, a scripted App Store and settings in a temporary folder.
struct Harness {
  QTemporaryDir folder;
  asokit::SystemMonotonicClock clock;
  measure::testing::ScriptedStore* appStore = nullptr;
  std::vector<measure::NotificationContent> posted;
  std::unique_ptr<gui::AppServices> services;
  std::unique_ptr<gui::MainWindow> window;

  explicit Harness(measure::TovraNotifier::CenterFactory center = {}, bool onDisk = false) {
    gui::AppServices::Parts parts;
    parts.configuration.dataDir = folder.filePath(QStringLiteral("data")).toStdString();
    // The mark of a run and the shared hold stay in this test's folder, away from any real Tovra.
    parts.configuration.stateDir = folder.filePath(QStringLiteral("state")).toStdString();
    parts.store = onDisk ? store::Store::open(folder.filePath(QStringLiteral("default.store")).toStdString())
                         : store::Store::inMemory();
    parts.settings = std::make_unique<gui::QtSettingsStore>(
        std::make_unique<QSettings>(folder.filePath(QStringLiteral("settings.ini")), QSettings::IniFormat));
    parts.seams.makeTransport = [this](asokit::CurlTransportOptions) -> std::unique_ptr<asokit::HTTPTransport> {
      auto transport = std::make_unique<measure::testing::ScriptedStore>(clock);
      appStore = transport.get();
      return transport;
    };
    parts.seams.client.minInterval = std::chrono::nanoseconds{0};
    parts.makeCenter = center ? std::move(center) : [this] { return std::make_unique<FakeCenter>(&posted); };
    services = std::make_unique<gui::AppServices>(std::move(parts));
  }

  gui::MainWindow& open() {
    window = std::make_unique<gui::MainWindow>(*services, true);
    window->show();
    // Shortcuts reach only the active window.
    window->activateWindow();
    if (!QTest::qWaitForWindowActive(window.get())) {
      qWarning("the main window did not become active");
    }
    return *window;
  }

  // Two apps watching the same keyword: one request answers both.
  void track() {
    measure::testing::Seed seed(services->store());
    const auto mine = seed.app("111111", "Lumen");
    const auto rival = seed.app("222222", "Rival");
    seed.keyword(mine, "photo editor", "us");
    seed.keyword(rival, "photo editor", "us");
    appStore->answer("photo editor", {"222222", "111111"});
  }
};

using gui::qs;

inline QStringList rowsOf(const QAbstractItemModel& model) {
  QStringList rows;
  for (int row = 0; row < model.rowCount(); ++row) {
    rows << model.index(row, 0).data(Qt::AccessibleTextRole).toString();
  }
  return rows;
}

// Every text of a page's tree, depth first.
inline QStringList textsOf(const QAbstractItemModel& model, const QModelIndex& parent = {}) {
  QStringList texts;
  for (int row = 0; row < model.rowCount(parent); ++row) {
    for (int column = 0; column < model.columnCount(parent); ++column) {
      texts << model.index(row, column, parent).data().toString();
    }
    texts << textsOf(model, model.index(row, 0, parent));
  }
  return texts;
}

// Answers the next modal message box with the button of the given text, recording what it said.
struct AlertAnswer {
  QString text;
  QString informative;
  QStringList buttons;
  QMessageBox::Icon icon = QMessageBox::NoIcon;

  void clickWhenShown(const QString& button) {
    QTimer::singleShot(0, [this, button] {
      auto* box = qobject_cast<QMessageBox*>(QApplication::activeModalWidget());
      QVERIFY(box);
      text = box->text();
      informative = box->informativeText();
      icon = box->icon();
      for (auto* b : box->buttons()) {
        buttons << b->text();
        if (b->text() == button) {
          b->click();
        }
      }
    });
  }
};

// Everything a page shows: its labels and buttons, and every cell of every list on it, depth first.
inline QStringList textsOnPage(const QWidget& page) {
  QStringList texts;
  for (const auto* label : page.findChildren<QLabel*>()) {
    if (label->isVisibleTo(&page)) {
      texts << label->text();
    }
  }
  for (const auto* button : page.findChildren<QAbstractButton*>()) {
    if (button->isVisibleTo(&page)) {
      texts << button->text();
    }
  }
  for (const auto* view : page.findChildren<QAbstractItemView*>()) {
    if (view->model() && view->isVisibleTo(&page)) {
      texts << textsOf(*view->model());
    }
  }
  return texts;
}

}  // namespace tovra::testing
