#include "app/gui/today_view.h"

#include <QLabel>
#include <QStandardItemModel>

#include "app/gui/app_services.h"
#include "app/gui/gui_text.h"
#include "app/gui/records_page.h"
#include "app/measure/measure_texts.h"
#include "app/measure/today_board.h"

namespace tovra::gui {

namespace {

namespace texts = measure::texts;

void fillToday(AppServices& services, RecordsPage& page) {
  measure::TodayBoard board(services.store(), services.calendar(), services.wall());
  board.refresh();
  const auto& queue = board.queue();
  auto& model = *page.model();
  model.setHorizontalHeaderLabels({QStringLiteral("Keyword"), QStringLiteral("Country"), QStringLiteral("App"),
                                   QStringLiteral("Rank"), QStringLiteral("Change"), QStringLiteral("Measured")});
  const auto rows = [&](const QString& heading, const std::vector<measure::TodayRow>& list) {
    auto* parent = page.group(heading, list.size());
    for (const auto& row : list) {
      RecordsPage::addRow(
          *parent, {QString::fromStdString(row.keyword), countryCode(row.country), QString::fromStdString(row.appLabel),
                    QString::fromStdString(measure::rankText(row.rank, row.resultCount)),
                    QString::fromStdString(measure::changeText(row.change)), localMinute(row.measuredAt)});
    }
  };
  rows(QStringLiteral("Pending"), queue.pending);
  rows(QStringLiteral("Reviewed"), queue.reviewed);
  rows(QStringLiteral("Held"), queue.held);
  if (!queue.notMeasured.empty()) {
    auto* parent = page.group(QStringLiteral("Not measured in the last run"), queue.notMeasured.size());
    for (const auto& row : queue.notMeasured) {
      RecordsPage::addRow(
          *parent, {QString::fromStdString(row.keyword), countryCode(row.country), QString::fromStdString(row.appLabel),
                    kEmDash, QString::fromStdString(row.reason), QString()});
    }
  }
  const auto waiting = [&](std::string_view heading, const std::vector<measure::WaitingRow>& list) {
    if (list.empty()) {
      return;
    }
    auto* parent = page.group(qs(heading), list.size());
    for (const auto& row : list) {
      RecordsPage::addRow(*parent, {QString::fromStdString(row.keyword), countryCode(row.country),
                                    QString::fromStdString(row.appLabel), kEmDash, qs(heading), QString()});
    }
  };
  waiting(measure::kNotMeasuredYet, queue.notMeasuredYet);
  waiting(measure::kPaused, queue.paused);

  std::string line = measure::summaryLine(queue);
  const auto& runner = services.runner();
  const bool measurable = !services.store().queries().measurable().empty();
  const bool canStart = !runner.isLive() && !runner.cooldownSecondsLeft();
  const auto offer = measure::measureOffer(measurable, canStart, queue.finishedAt);
  if (offer.kind == measure::MeasureOffer::Kind::due) {
    line += "\n" + texts::lastMeasured(*offer.lastFinishedAt, services.wall().now(), services.calendar());
  }
  page.setSummary(QString::fromStdString(line));
}

}  // namespace

ViewPage* makeTodayView(AppServices& services, QWidget* parent) {
  return new RecordsPage(QStringLiteral("Today"), services, fillToday, parent);
}

}  // namespace tovra::gui
