#include "app/gui/pages.h"

#include <QDateTime>
#include <QHeaderView>
#include <QLabel>
#include <QStandardItemModel>
#include <QTreeView>
#include <QVBoxLayout>
#include <algorithm>

#include "app/base/keyword_key.h"
#include "app/gui/app_services.h"
#include "app/measure/measure_texts.h"
#include "app/measure/run_report.h"
#include "app/measure/today_board.h"
#include "app/store/footprint.h"
#include "app/store/store_error.h"

namespace tovra::gui {

namespace {

namespace texts = measure::texts;

QString qs(std::string_view view) {
  return QString::fromUtf8(view.data(), static_cast<qsizetype>(view.size()));
}

QString country(const std::string& code) {
  return QString::fromStdString(base::upperCountry(code));
}

// An unknown or absent value shows as an em dash, so no cell is ever blank to the eye or a screen reader.
QStandardItem* cell(const QString& text) {
  auto* item = new QStandardItem(text.isEmpty() ? QString::fromUtf8("—") : text);
  item->setEditable(false);
  return item;
}

// A group of rows under a heading that counts them, as the command line prints it.
QStandardItem* group(QStandardItemModel& model, const QString& heading, std::size_t count) {
  auto* item = cell(heading + QStringLiteral(" (") + QString::number(count) + QStringLiteral(")"));
  auto font = item->font();
  font.setBold(true);
  item->setFont(font);
  item->setSelectable(false);
  model.appendRow(item);
  // The heading spans the row; its other cells carry its words for a screen reader.
  for (int column = 1; column < model.columnCount(); ++column) {
    auto* filler = new QStandardItem;
    filler->setEditable(false);
    filler->setSelectable(false);
    filler->setAccessibleText(item->text());
    model.setItem(item->row(), column, filler);
  }
  return item;
}

void addRow(QStandardItem& parent, const QStringList& texts) {
  QList<QStandardItem*> row;
  for (const auto& text : texts) {
    row.append(cell(text));
  }
  parent.appendRow(row);
}

void fillToday(AppServices& services, RecordsPage& page) {
  measure::TodayBoard board(services.store(), services.calendar(), services.wall());
  board.refresh();
  const auto& queue = board.queue();
  auto& model = *page.model();
  model.setHorizontalHeaderLabels({QStringLiteral("Keyword"), QStringLiteral("Country"), QStringLiteral("App"),
                                   QStringLiteral("Rank"), QStringLiteral("Change"), QStringLiteral("Measured")});
  const auto rows = [&](const QString& heading, const std::vector<measure::TodayRow>& list) {
    auto* parent = group(model, heading, list.size());
    for (const auto& row : list) {
      addRow(*parent, {QString::fromStdString(row.keyword), country(row.country), QString::fromStdString(row.appLabel),
                       QString::fromStdString(measure::rankText(row.rank, row.resultCount)),
                       QString::fromStdString(measure::changeText(row.change)), localMinute(row.measuredAt)});
    }
  };
  rows(QStringLiteral("Pending"), queue.pending);
  rows(QStringLiteral("Reviewed"), queue.reviewed);
  rows(QStringLiteral("Held"), queue.held);
  if (!queue.notMeasured.empty()) {
    auto* parent = group(model, QStringLiteral("Not measured in the last run"), queue.notMeasured.size());
    for (const auto& row : queue.notMeasured) {
      addRow(*parent, {QString::fromStdString(row.keyword), country(row.country), QString::fromStdString(row.appLabel),
                       QString::fromUtf8("—"), QString::fromStdString(row.reason), QString()});
    }
  }
  const auto waiting = [&](std::string_view heading, const std::vector<measure::WaitingRow>& list) {
    if (list.empty()) {
      return;
    }
    auto* parent = group(model, qs(heading), list.size());
    for (const auto& row : list) {
      addRow(*parent, {QString::fromStdString(row.keyword), country(row.country), QString::fromStdString(row.appLabel),
                       QString::fromUtf8("—"), qs(heading), QString()});
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
  page.summary()->setText(QString::fromStdString(line));
}

void fillApps(AppServices& services, RecordsPage& page) {
  auto& store = services.store();
  auto& model = *page.model();
  model.setHorizontalHeaderLabels(
      {QStringLiteral("App or keyword"), QStringLiteral("Country"), QStringLiteral("Developer or state")});
  const auto apps = store.apps().all();
  auto* appsGroup = group(model, QStringLiteral("Apps"), apps.size());
  for (const auto& app : apps) {
    auto* appRow = cell(QString::fromStdString(app.displayName) + (app.isMine ? QStringLiteral(" · mine") : QString()));
    appsGroup->appendRow({appRow, cell(QString()), cell(QString::fromStdString(app.developer))});
    for (const auto& query : store.queries().ofApp(app.rowId)) {
      addRow(*appRow, {QString::fromStdString(query.keyword), country(query.country),
                       query.isPaused ? qs(measure::kPaused) : QString()});
    }
  }
  const auto spaces = store.spaces().all();
  auto* spacesGroup = group(model, QStringLiteral("Research spaces"), spaces.size());
  for (const auto& space : spaces) {
    auto* spaceRow = cell(QString::fromStdString(space.name));
    spacesGroup->appendRow({spaceRow, cell(QString()), cell(qs(texts::kResearchSpaceNotMeasured))});
    for (const auto& query : store.queries().ofSpace(space.rowId)) {
      addRow(*spaceRow, {QString::fromStdString(query.keyword), country(query.country), QString()});
    }
  }
  page.summary()->setText(QString::fromStdString(
      store::storeSummary(store::StoreFootprint::measure(store), store::StoreInventory::count(store))));
}

void fillDiscover(AppServices& services, RecordsPage& page) {
  auto ladders = services.store().ladders().all();
  std::stable_sort(ladders.begin(), ladders.end(),
                   [](const auto& a, const auto& b) { return a.fetchedAt > b.fetchedAt; });
  auto& model = *page.model();
  model.setHorizontalHeaderLabels(
      {QStringLiteral("Keyword"), QStringLiteral("Country"), QStringLiteral("Results"), QStringLiteral("Saved")});
  auto* parent = group(model, QStringLiteral("Saved searches"), ladders.size());
  for (const auto& ladder : ladders) {
    addRow(*parent, {QString::fromStdString(ladder.keyword), country(ladder.country),
                     QString::number(ladder.resultCount), localMinute(ladder.fetchedAt)});
  }
  page.summary()->setText(QString::fromStdString(texts::sourceLine("appstore")));
}

void fillArchive(AppServices& services, RecordsPage& page) {
  auto runs = services.store().runs().all();
  std::stable_sort(runs.begin(), runs.end(), [](const auto& a, const auto& b) { return a.startedAt > b.startedAt; });
  auto& model = *page.model();
  model.setHorizontalHeaderLabels(
      {QStringLiteral("Finished"), QStringLiteral("Keywords"), QStringLiteral("Requests"), QStringLiteral("Ending")});
  auto* parent = group(model, QStringLiteral("Measured days"), runs.size());
  for (const auto& run : runs) {
    const auto ending = run.halted    ? measure::RunReport::Ending::halted
                        : run.stopped ? measure::RunReport::Ending::stopped
                                      : measure::RunReport::Ending::finished;
    addRow(*parent,
           {run.finishedAt ? localMinute(*run.finishedAt) : QString::fromUtf8("—"), QString::number(run.queryCount),
            QString::number(run.requestCount), qs(measure::endingName(ending))});
  }
  page.summary()->setText(QString::fromStdString(measure::texts::keywordCount(services.store().queries().count())));
}

}  // namespace

QString localMinute(asokit::WallTime time) {
  const auto ms = std::chrono::duration_cast<std::chrono::milliseconds>(time.time_since_epoch()).count();
  return QDateTime::fromMSecsSinceEpoch(ms).toString(QStringLiteral("yyyy-MM-dd HH:mm"));
}

RecordsPage::RecordsPage(const QString& heading, AppServices& services, Fill fill, QWidget* parent)
    : QWidget(parent), services_(services), fill_(std::move(fill)) {
  setAccessibleName(heading);
  heading_ = new QLabel(heading, this);
  heading_->setAccessibleName(heading);
  auto font = heading_->font();
  font.setPointSizeF(font.pointSizeF() * 1.6);
  font.setBold(true);
  heading_->setFont(font);
  summary_ = new QLabel(this);
  summary_->setWordWrap(true);
  summary_->setTextInteractionFlags(Qt::TextSelectableByMouse | Qt::TextSelectableByKeyboard);
  model_ = new QStandardItemModel(this);
  view_ = new QTreeView(this);
  view_->setModel(model_);
  view_->setAccessibleName(heading + QStringLiteral(" list"));
  view_->setUniformRowHeights(true);
  view_->setAlternatingRowColors(true);
  view_->setEditTriggers(QAbstractItemView::NoEditTriggers);
  view_->header()->setStretchLastSection(true);
  auto* layout = new QVBoxLayout(this);
  layout->setContentsMargins(20, 16, 20, 16);
  layout->setSpacing(8);
  layout->addWidget(heading_);
  layout->addWidget(summary_);
  layout->addWidget(view_, 1);
}

void RecordsPage::invalidate() {
  stale_ = true;
  if (isVisible()) {
    reload();
  }
}

void RecordsPage::reload() {
  stale_ = false;
  model_->clear();
  try {
    fill_(services_, *this);
  } catch (const store::StoreError& error) {
    summary_->setText(QString::fromUtf8(error.what()));
  }
  view_->expandAll();
  for (int row = 0; row < model_->rowCount(); ++row) {
    view_->setFirstColumnSpanned(row, QModelIndex(), true);
  }
  for (int column = 0; column + 1 < model_->columnCount(); ++column) {
    view_->resizeColumnToContents(column);
    view_->setColumnWidth(column, std::min(view_->columnWidth(column) + 16, 360));
  }
  summary_->setAccessibleName(summary_->text());
}

void RecordsPage::showEvent(QShowEvent* event) {
  QWidget::showEvent(event);
  if (stale_) {
    reload();
  }
}

RecordsPage* makeTodayPage(AppServices& services, QWidget* parent) {
  return new RecordsPage(QStringLiteral("Today"), services, fillToday, parent);
}

RecordsPage* makeAppsPage(AppServices& services, QWidget* parent) {
  return new RecordsPage(QStringLiteral("Apps"), services, fillApps, parent);
}

RecordsPage* makeDiscoverPage(AppServices& services, QWidget* parent) {
  return new RecordsPage(QStringLiteral("Discover"), services, fillDiscover, parent);
}

RecordsPage* makeArchivePage(AppServices& services, QWidget* parent) {
  return new RecordsPage(QStringLiteral("Archive"), services, fillArchive, parent);
}

}  // namespace tovra::gui
