#include "app/gui/archive_view.h"

#include <QHeaderView>
#include <QLabel>
#include <QListView>
#include <QSplitter>
#include <QStandardItemModel>
#include <QTreeView>
#include <QVBoxLayout>

#include "app/gui/app_services.h"
#include "app/gui/archive_parts.h"
#include "app/gui/gui_text.h"
#include "app/gui/rank_chart_view.h"
#include "app/measure/keyword_history.h"
#include "app/measure/measured_days.h"
#include "app/measure/rank_chart.h"
#include "app/measure/today_queue.h"
#include "app/store/store.h"

namespace tovra::gui {
namespace {

using parts::addPane;
using parts::cell;
using parts::headers;
using parts::listView;
using parts::nameRow;
using parts::sectionLabel;
using parts::splitPair;
using parts::tableView;

constexpr int kQueryRole = Qt::UserRole + 1;

}  // namespace

ArchiveView::ArchiveView(AppServices& services, QWidget* parent)
    : ViewPage(qs(measure::archiveText::kHeading), services, parent) {
  keywordModel_ = new QStandardItemModel(this);
  dayModel_ = new QStandardItemModel(this);
  readingModel_ = new QStandardItemModel(this);
  releaseModel_ = new QStandardItemModel(this);

  // Splitters rather than fixed columns: a short window shrinks the panes instead of growing.
  auto* left = new QSplitter(Qt::Vertical, this);
  keywords_ = listView(keywordModel_, qs(measure::archiveText::kKeywords), left);
  addPane(left, qs(measure::archiveText::kKeywords), keywords_);
  days_ = tableView(dayModel_, qs(measure::archiveText::kMeasuredDays), left);
  addPane(left, qs(measure::archiveText::kMeasuredDays), days_);
  left->setStretchFactor(0, 2);
  left->setStretchFactor(1, 3);

  auto* right = new QWidget(this);
  auto* rightColumn = new QVBoxLayout(right);
  rightColumn->setContentsMargins(0, 0, 0, 0);
  headline_ = new QLabel(right);
  headline_->setWordWrap(true);
  auto font = headline_->font();
  font.setBold(true);
  headline_->setFont(font);
  dayRuns_ = new QLabel(right);
  dayRuns_->setWordWrap(true);
  dayRuns_->setForegroundRole(QPalette::PlaceholderText);
  chart_ = new RankChartView(right);
  readings_ = tableView(readingModel_, qs(measure::archiveText::kReadings), right);
  releases_ = listView(releaseModel_, qs(measure::archiveText::kReleases), right);
  auto* lists = new QSplitter(Qt::Horizontal, right);
  addPane(lists, qs(measure::archiveText::kReadings), readings_);
  addPane(lists, qs(measure::archiveText::kReleases), releases_);
  lists->setStretchFactor(0, 3);
  lists->setStretchFactor(1, 2);
  // The chart gets the room first: the lists scroll, a squeezed chart cannot show its axes.
  auto* stacked = splitPair(Qt::Vertical, chart_, lists, {3, 2}, {420, 220}, right);
  rightColumn->addWidget(headline_);
  rightColumn->addWidget(dayRuns_);
  rightColumn->addWidget(stacked, 1);

  auto* split = splitPair(Qt::Horizontal, left, right, {2, 5}, {330, 800}, this);
  split->setChildrenCollapsible(false);
  body()->addWidget(split, 1);

  setTabOrder(keywords_, chart_);
  setTabOrder(chart_, readings_);
  setTabOrder(readings_, releases_);
  setTabOrder(releases_, days_);
  connect(keywords_->selectionModel(), &QItemSelectionModel::currentChanged, this,
          [this](const QModelIndex&) { showCurrentKeyword(); });
}

void ArchiveView::refill() {
  fillDays();
  fillKeywords();
}

void ArchiveView::fillDays() {
  auto& localTime = services().core().localTime();
  const auto days = measure::measuredDays(services().store());
  dayModel_->clear();
  dayModel_->setHorizontalHeaderLabels(headers(measure::archiveText::kDayColumns));
  for (const auto& day : days) {
    const auto& run = day.tally.run;
    const QString ending =
        run.finishedAt ? qs(measure::endingName(day.ending)) : qs(measure::archiveText::kStillRunning);
    QList<QStandardItem*> row{cell(qs(localTime.minute(run.startedAt))),
                              cell(qs(measure::requestsText(run.requestCount))),
                              cell(qs(measure::tallyText(day.tally))), cell(ending)};
    nameRow(row);
    dayModel_->appendRow(row);
  }
  for (int column = 0; column < 3; ++column) {
    days_->resizeColumnToContents(column);
  }
  setSummary(qs(measure::archiveSummary(days)));
}

void ArchiveView::fillKeywords() {
  auto& store = services().store();
  const auto wanted = shown_;
  const QSignalBlocker quiet(keywords_->selectionModel());
  keywordModel_->clear();
  for (const auto& app : store.apps().all()) {
    const auto localizations = store.localizations().ofApp(app.rowId);
    for (const auto& query : store.queries().ofApp(app.rowId)) {
      auto* item = cell(qs(measure::lineLabel(measure::appLabel(query, app, localizations), query)));
      item->setData(QVariant::fromValue<qint64>(query.rowId.value), kQueryRole);
      keywordModel_->appendRow(item);
    }
  }
  shown_.reset();
  if (keywordModel_->rowCount() == 0) {
    showNoKeyword(qs(measure::chartText::kPickKeyword));
    return;
  }
  if (!wanted || !showKeyword(*wanted)) {
    // The first keyword with a reading opens first: an empty chart says nothing of what the page shows.
    int first = 0;
    const auto observations = store.observations();
    for (int row = 0; row < keywordModel_->rowCount(); ++row) {
      const store::RecordId<store::TrackedQuery> query{keywordModel_->index(row, 0).data(kQueryRole).toLongLong()};
      if (observations.latestOf(query)) {
        first = row;
        break;
      }
    }
    keywords_->setCurrentIndex(keywordModel_->index(first, 0));
    showCurrentKeyword();
  }
}

bool ArchiveView::showKeyword(store::RecordId<store::TrackedQuery> query) {
  for (int row = 0; row < keywordModel_->rowCount(); ++row) {
    const auto index = keywordModel_->index(row, 0);
    if (index.data(kQueryRole).toLongLong() == query.value) {
      keywords_->setCurrentIndex(index);
      showCurrentKeyword();
      return true;
    }
  }
  return false;
}

void ArchiveView::showNoKeyword(const QString& text) {
  headline_->setText(text);
  headline_->setAccessibleName(text);
  dayRuns_->clear();
  dayRuns_->setAccessibleName(QString());
  readingModel_->clear();
  releaseModel_->clear();
  chart_->draw({}, services().core().localTime(), text);
}

void ArchiveView::showCurrentKeyword() {
  const auto index = keywords_->currentIndex();
  if (!index.isValid()) {
    shown_.reset();
    showNoKeyword(qs(measure::chartText::kPickKeyword));
    return;
  }
  const store::RecordId<store::TrackedQuery> id{index.data(kQueryRole).toLongLong()};
  auto& store = services().store();
  const auto query = store.queries().find(id);
  const auto app = query && query->app ? store.apps().find(*query->app) : std::nullopt;
  if (!query || !app) {
    shown_.reset();
    showNoKeyword(qs(measure::chartText::kPickKeyword));
    return;
  }
  shown_ = id;
  auto& localTime = services().core().localTime();
  const auto& calendar = services().calendar();
  const auto history = measure::keywordHistory(store, *app, *query, calendar);
  const auto releases = store::Releases(store).ofApp(app->appStoreId);
  const auto chart = measure::rankChart(history.dayRuns, releases, calendar);

  const auto headline = qs(measure::historyHeadline(history));
  headline_->setText(headline);
  headline_->setAccessibleName(headline);
  // The whole list of day runs can be long; the line counts them and the tooltip lists them.
  const auto runs = history.readings.empty()
                        ? qs(measure::chartText::kNoReadings)
                        : qs(measure::chartSummary(chart, history.readings.size(), history.dayRuns.size())) +
                              QStringLiteral(" · ") + qs(measure::chartText::kGapNote);
  dayRuns_->setText(runs);
  dayRuns_->setAccessibleName(runs);
  dayRuns_->setToolTip(history.readings.empty() ? QString() : qs(measure::dayRunsLine(history, localTime)));
  chart_->draw({{qs(history.label), chart}}, localTime, qs(measure::chartText::kNoReadings));

  readingModel_->clear();
  readingModel_->setHorizontalHeaderLabels(headers(measure::archiveText::kReadingColumns));
  for (auto reading = history.readings.rbegin(); reading != history.readings.rend(); ++reading) {
    const auto& observation = reading->observation;
    QList<QStandardItem*> row{cell(qs(localTime.date(reading->day))),
                              cell(qs(measure::rankText(observation.rank, observation.resultCount))),
                              cell(QString::number(observation.resultCount)), cell(qs(observation.source))};
    nameRow(row);
    readingModel_->appendRow(row);
  }
  for (int column = 0; column < 3; ++column) {
    readings_->resizeColumnToContents(column);
  }

  releaseModel_->clear();
  for (auto release = releases.rbegin(); release != releases.rend(); ++release) {
    releaseModel_->appendRow(cell(qs(measure::releaseLabel(*release, localTime.date(release->releasedAt)))));
  }
  if (releases.empty()) {
    releaseModel_->appendRow(cell(qs(measure::archiveText::kNoReleases)));
  }
}

ViewPage* makeArchiveView(AppServices& services, QWidget* parent) {
  return new ArchiveView(services, parent);
}

}  // namespace tovra::gui
