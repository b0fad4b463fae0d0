// Today on a generated store of 2,000 keywords × 400 days, offscreen: how long the window takes to show
// Today's rows, a scripted scroll through the whole list one page per frame, and switching between the
// four pages, each frame painted at once. The baseline in the same run is a plain tree of the same rows,
// texts only, scrolled the same way. Goals: rows within 1 s, a median frame under 16 ms.
#include <QApplication>
#include <QScrollBar>
#include <QSettings>
#include <QStandardItemModel>
#include <QTreeView>
#include <algorithm>
#include <chrono>
#include <cstdio>
#include <filesystem>
#include <vector>

#include "app/gui/app_services.h"
#include "app/gui/gui_text.h"
#include "app/gui/icons.h"
#include "app/gui/main_window.h"
#include "app/gui/qt_settings.h"
#include "app/gui/today_model.h"
#include "app/gui/today_view.h"
#include "app/store/store.h"
#include "bench/large_store.h"

namespace {

namespace fs = std::filesystem;
using Clock = std::chrono::steady_clock;

double msSince(Clock::time_point start) {
  return std::chrono::duration<double, std::milli>(Clock::now() - start).count();
}

double median(std::vector<double> values) {
  if (values.empty()) {
    return 0;
  }
  std::nth_element(values.begin(), values.begin() + static_cast<long>(values.size() / 2), values.end());
  return values[values.size() / 2];
}

// Scrolls from the top to the bottom one page per frame, painting each frame before the next; the time
// of every frame.
std::vector<double> scrollFrames(QTreeView& view) {
  auto* bar = view.verticalScrollBar();
  bar->setValue(0);
  QApplication::processEvents();
  std::vector<double> frames;
  for (int value = 0; value <= bar->maximum(); value += std::max(bar->pageStep(), 1)) {
    const auto start = Clock::now();
    bar->setValue(value);
    view.viewport()->repaint();
    frames.push_back(msSince(start));
  }
  return frames;
}

}  // namespace

int main(int argc, char* argv[]) {
  qputenv("QT_QPA_PLATFORM", "offscreen");
  QApplication app(argc, argv);
  tovra::gui::initIcons();
  char pattern[] = "/tmp/tovra-bench-today-XXXXXX";
  const fs::path folder = ::mkdtemp(pattern);
  const auto data = folder / "data";
  fs::create_directories(data);
  tovra::bench::generateLargeStore(data / "default.store");

  tovra::gui::AppServices::Parts parts;
  parts.configuration.dataDir = data.string();
  parts.configuration.stateDir = (folder / "state").string();
  parts.store = tovra::store::Store::open(data / "default.store");
  parts.settings = std::make_unique<tovra::gui::QtSettingsStore>(
      std::make_unique<QSettings>(QString::fromStdString((folder / "settings.ini").string()), QSettings::IniFormat));
  tovra::gui::AppServices services(std::move(parts));

  const auto opening = Clock::now();
  tovra::gui::MainWindow window(services, false);
  window.show();
  QApplication::processEvents();
  window.repaint();
  const double shown = msSince(opening);
  auto* today = qobject_cast<tovra::gui::TodayPage*>(window.pageWidget(tovra::gui::MainWindow::Page::today));
  if (!today) {
    std::fprintf(stderr, "Today is not the today page\n");
    return 1;
  }
  auto& view = *today->view();
  int rows = 0;
  for (int group = 0; group < view.model()->rowCount(); ++group) {
    rows += view.model()->rowCount(view.model()->index(group, 0));
  }

  // The best ranks fill in after the rows, a few keywords per turn of the event loop.
  const auto bestUnread = [&] {
    const auto& model = *view.model();
    for (int group = 0; group < model.rowCount(); ++group) {
      const auto heading = model.index(group, 0);
      for (int row = 0; row < model.rowCount(heading); ++row) {
        if (model.index(row, tovra::gui::TodayModel::bestColumn, heading).data() == tovra::gui::kEmDash &&
            model.index(row, 0, heading).data(tovra::gui::TodayModel::rowIdRole).isValid()) {
          return true;
        }
      }
    }
    return false;
  };
  std::vector<double> fillTurns;
  while (bestUnread()) {
    const auto turn = Clock::now();
    QApplication::processEvents();
    fillTurns.push_back(msSince(turn));
  }
  const double filled = msSince(opening);

  const auto refreshing = Clock::now();
  today->reload();
  const double refresh = msSince(refreshing);
  while (bestUnread()) {
    QApplication::processEvents();
  }

  // The baseline: the same rows as plain texts in a tree of the same size.
  QStandardItemModel plain;
  plain.setColumnCount(tovra::gui::TodayModel::columnCount_);
  auto* group = new QStandardItem(QStringLiteral("rows"));
  for (int row = 0; row < rows; ++row) {
    QList<QStandardItem*> cells;
    for (int column = 0; column < tovra::gui::TodayModel::columnCount_; ++column) {
      cells << new QStandardItem(QStringLiteral("cell %1").arg(row));
    }
    group->appendRow(cells);
  }
  plain.appendRow(group);
  QTreeView baseline;
  baseline.setModel(&plain);
  baseline.setUniformRowHeights(true);
  baseline.resize(view.size());
  baseline.expandAll();
  baseline.show();
  QApplication::processEvents();

  // Alternating rounds, so both meet the same load of the machine.
  std::vector<double> ours;
  std::vector<double> theirs;
  for (int round = 0; round < 3; ++round) {
    const auto a = scrollFrames(view);
    ours.insert(ours.end(), a.begin(), a.end());
    const auto b = scrollFrames(baseline);
    theirs.insert(theirs.end(), b.begin(), b.end());
  }
  baseline.hide();

  using Page = tovra::gui::MainWindow::Page;
  const Page pages[] = {Page::today, Page::apps, Page::discover, Page::archive};
  std::vector<double> firstSwitches;
  std::vector<double> switches;
  for (int round = 0; round < 6; ++round) {
    for (const auto page : pages) {
      const auto start = Clock::now();
      window.showPage(page);
      QApplication::processEvents();
      window.repaint();
      (round == 0 ? firstSwitches : switches).push_back(msSince(start));
    }
  }
  fs::remove_all(folder);

  std::printf("Today rows: %d\n", rows);
  std::printf("window to Today's rows painted:   %8.1f ms (goal < 1000 ms; bench_gui_startup times the process)\n",
              shown);
  std::printf(
      "every best rank shown:             %8.1f ms from the window's start, in %zu turns, median %.1f ms, "
      "longest %.1f ms\n",
      filled, fillTurns.size(), median(fillTurns),
      fillTurns.empty() ? 0.0 : *std::max_element(fillTurns.begin(), fillTurns.end()));
  std::printf("Today re-read of the store:       %8.1f ms\n", refresh);
  std::printf("scroll, Today, median frame:      %8.2f ms over %zu frames (goal < 16 ms)\n", median(ours), ours.size());
  std::printf("scroll, plain tree, median frame: %8.2f ms\n", median(theirs));
  std::printf("ratio to the plain tree: %.2f\n", median(ours) / std::max(median(theirs), 1e-6));
  std::printf("page switch, first visit, median: %8.2f ms (max %.1f ms)\n", median(firstSwitches),
              *std::max_element(firstSwitches.begin(), firstSwitches.end()));
  std::printf("page switch, later, median:       %8.2f ms (goal < 16 ms)\n", median(switches));
  return 0;
}
