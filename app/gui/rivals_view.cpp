#include "app/gui/rivals_view.h"

#include <QComboBox>
#include <QFrame>
#include <QHBoxLayout>
#include <QLabel>
#include <QListView>
#include <QPushButton>
#include <QScrollArea>
#include <QSplitter>
#include <QStandardItemModel>
#include <QTreeView>
#include <QVBoxLayout>
#include <algorithm>

#include "app/gui/app_services.h"
#include "app/gui/archive_parts.h"
#include "app/gui/gui_text.h"
#include "app/gui/rank_chart_view.h"
#include "app/measure/rank_chart.h"
#include "app/research/app_facts_model.h"
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
namespace text = research::rivalsText;

constexpr int kNameColumnWidth = 140;

QString markOf(const research::BoardRow& row) {
  if (row.mine) {
    return qs(text::kYours);
  }
  return row.tracked ? qs(text::kTracked) : kEmDash;
}

QLabel* wrappingLabel(QWidget* parent) {
  auto* label = new QLabel(parent);
  label->setWordWrap(true);
  label->setTextInteractionFlags(Qt::TextSelectableByMouse | Qt::TextSelectableByKeyboard);
  return label;
}

void setLabel(QLabel* label, const QString& text) {
  label->setText(text);
  label->setAccessibleName(text);
}

}  // namespace

RivalsView::RivalsView(AppServices& services, QWidget* parent) : ViewPage(qs(text::kHeading), services, parent) {
  keywordModel_ = new QStandardItemModel(this);
  boardModel_ = new QStandardItemModel(this);
  overtakeModel_ = new QStandardItemModel(this);
  standingModel_ = new QStandardItemModel(this);

  auto* left = new QWidget(this);
  auto* leftColumn = new QVBoxLayout(left);
  leftColumn->setContentsMargins(0, 0, 0, 0);
  leftColumn->addWidget(sectionLabel(qs(text::kKeywords), left));
  keywords_ = listView(keywordModel_, qs(text::kKeywords), left);
  leftColumn->addWidget(keywords_);

  auto* right = new QWidget(this);
  auto* rightColumn = new QVBoxLayout(right);
  rightColumn->setContentsMargins(0, 0, 0, 0);
  auto* pick = new QHBoxLayout;
  auto* searchLabel = new QLabel(qs(text::kSavedSearch), right);
  searches_ = new QComboBox(right);
  searches_->setAccessibleName(qs(text::kSavedSearch));
  searchLabel->setBuddy(searches_);
  pick->addWidget(searchLabel);
  pick->addWidget(searches_, 1);
  rightColumn->addLayout(pick);

  auto* middle = new QSplitter(Qt::Horizontal, right);
  auto* boardBox = new QWidget(middle);
  auto* boardColumn = new QVBoxLayout(boardBox);
  boardColumn->setContentsMargins(0, 0, 0, 0);
  boardColumn->addWidget(sectionLabel(qs(text::kBoard), boardBox));
  board_ = tableView(boardModel_, qs(text::kBoard), boardBox);
  boardColumn->addWidget(board_);
  // The side stacks three panes in a splitter, so that a short window shrinks them rather than grow.
  auto* side = new QSplitter(Qt::Vertical, middle);
  overtakes_ = listView(overtakeModel_, qs(text::kOvertakes), side);
  addPane(side, qs(text::kOvertakes), overtakes_);
  standings_ = listView(standingModel_, qs(text::kStandings), side);
  addPane(side, qs(text::kStandings), standings_);
  details_ = new QFrame(side);
  details_->setObjectName(QStringLiteral("rivalDetails"));
  details_->setAccessibleName(qs(text::kDetails));
  details_->setStyleSheet(QStringLiteral("#rivalDetails { background: palette(alternate-base); border-radius: 6px; }"));
  auto* detailsColumn = new QVBoxLayout(details_);
  detailsTitle_ = sectionLabel(qs(text::kDetails), details_);
  detailsLines_ = wrappingLabel(details_);
  factsStatus_ = wrappingLabel(details_);
  factsStatus_->setForegroundRole(QPalette::PlaceholderText);
  lookUp_ = new QPushButton(qs(research::factsText::kLookUp), details_);
  lookUp_->setAccessibleName(qs(research::factsText::kLookUp));
  lookUp_->setEnabled(false);
  auto* status = new QHBoxLayout;
  status->addWidget(factsStatus_, 1);
  status->addWidget(lookUp_, 0, Qt::AlignTop);
  detailsColumn->addWidget(detailsTitle_);
  detailsColumn->addWidget(detailsLines_);
  detailsColumn->addLayout(status);
  // The facts scroll inside their pane when the window is short.
  auto* detailsScroll = new QScrollArea(side);
  detailsScroll->setWidget(details_);
  detailsScroll->setWidgetResizable(true);
  detailsScroll->setFrameShape(QFrame::NoFrame);
  detailsScroll->setMinimumHeight(48);
  detailsScroll->setAccessibleName(qs(text::kDetails));
  side->addWidget(detailsScroll);
  middle->addWidget(boardBox);
  middle->addWidget(side);
  middle->setStretchFactor(0, 3);
  middle->setStretchFactor(1, 2);
  auto* stacked = new QSplitter(Qt::Vertical, right);
  stacked->addWidget(middle);
  auto* compareBox = new QWidget(stacked);
  auto* compareColumn = new QVBoxLayout(compareBox);
  compareColumn->setContentsMargins(0, 0, 0, 0);
  compareHeading_ = sectionLabel(qs(text::kSideBySide), compareBox);
  compareColumn->addWidget(compareHeading_);
  chart_ = new RankChartView(compareBox);
  chart_->setAccessibleName(qs(text::kSideBySide));
  compareColumn->addWidget(chart_, 1);
  stacked->addWidget(compareBox);
  stacked->setStretchFactor(0, 3);
  stacked->setStretchFactor(1, 2);
  stacked->setSizes({330, 260});
  rightColumn->addWidget(stacked, 1);

  auto* split = splitPair(Qt::Horizontal, left, right, {1, 4}, {260, 900}, this);
  split->setChildrenCollapsible(false);
  body()->addWidget(split, 1);

  setTabOrder(keywords_, searches_);
  setTabOrder(searches_, board_);
  setTabOrder(board_, overtakes_);
  setTabOrder(overtakes_, standings_);
  setTabOrder(standings_, lookUp_);
  setTabOrder(lookUp_, chart_);

  connect(keywords_->selectionModel(), &QItemSelectionModel::currentChanged, this,
          [this](const QModelIndex&) { showCurrentKeyword(); });
  connect(searches_, &QComboBox::currentIndexChanged, this, &RivalsView::showSearch);
  // Return or a double click on a row opens its facts, as a row of any desktop list does.
  connect(board_, &QTreeView::activated, this, [this](const QModelIndex& index) { openRow(index.row()); });
  connect(board_->selectionModel(), &QItemSelectionModel::currentRowChanged, this,
          [this](const QModelIndex& index) { openRow(index.row()); });
  connect(lookUp_, &QPushButton::clicked, this, [this] {
    if (opened_ && shown_ && facts_) {
      facts_->lookUp(opened_->entry.appStoreId, shown_->country);
    }
  });
}

RivalsView::~RivalsView() = default;

void RivalsView::refill() {
  keywordList_ = research::rivalKeywords(services().store());
  const auto wanted = shown_;
  const QSignalBlocker quiet(keywords_->selectionModel());
  keywordModel_->clear();
  int current = keywordList_.empty() ? -1 : 0;
  for (std::size_t i = 0; i < keywordList_.size(); ++i) {
    const auto& keyword = keywordList_[i];
    keywordModel_->appendRow(cell(qs(research::rivalKeywordLabel(keyword))));
    if (wanted && wanted->keyword == keyword.keyword && wanted->country == keyword.country) {
      current = static_cast<int>(i);
    }
  }
  setSummary(keywordList_.empty() ? qs(text::kNoKeywords) : qs(text::kPickKeyword));
  if (current >= 0) {
    keywords_->setCurrentIndex(keywordModel_->index(current, 0));
  }
  showCurrentKeyword();
}

void RivalsView::showCurrentKeyword() {
  const auto index = keywords_->currentIndex();
  const QSignalBlocker quiet(searches_);
  searches_->clear();
  opened_.reset();
  if (facts_) {
    facts_->reset();
  }
  if (!index.isValid() || index.row() >= static_cast<int>(keywordList_.size())) {
    shown_.reset();
    boardData_ = {};
    showSearch(-1);
    chart_->draw({}, services().core().localTime(), qs(text::kPickKeyword));
    return;
  }
  shown_ = keywordList_[static_cast<std::size_t>(index.row())];
  auto& store = services().store();
  auto& localTime = services().core().localTime();
  boardData_ = research::readRivalsBoard(store, shown_->keyword, shown_->country);
  for (const auto& search : boardData_.searches) {
    searches_->addItem(qs(research::savedSearchLabel(search.ladder, localTime.minute(search.ladder.fetchedAt))));
  }
  searches_->setEnabled(!boardData_.searches.empty());
  showSearch(boardData_.searches.empty() ? -1 : 0);

  std::vector<RankChartView::Series> series;
  for (auto& compared : measure::compareOnKeyword(store, shown_->keyword, shown_->country, services().calendar())) {
    series.push_back({qs(compared.label), std::move(compared.chart)});
  }
  chart_->draw(series, localTime, qs(series.empty() ? text::kNoTrackedApp : measure::chartText::kNoReadings));
}

void RivalsView::showSearch(int index) {
  boardModel_->clear();
  overtakeModel_->clear();
  standingModel_->clear();
  opened_.reset();
  renderFacts();
  if (index < 0 || index >= static_cast<int>(boardData_.searches.size())) {
    if (shown_) {
      overtakeModel_->appendRow(cell(qs(text::kNoSavedSearch)));
    }
    return;
  }
  const auto& search = boardData_.searches[static_cast<std::size_t>(index)];
  boardModel_->setHorizontalHeaderLabels(headers(text::kBoardColumns));
  for (const auto& row : search.rows) {
    QList<QStandardItem*> cells{cell(QString::number(row.entry.position)),
                                cell(qs(research::movementText(row, search.hasPrevious))),
                                cell(qs(row.entry.name)),
                                cell(row.entry.developer.empty() ? kEmDash : qs(row.entry.developer)),
                                cell(qs(research::ratingText(row.entry))),
                                cell(markOf(row))};
    if (row.tracked) {
      for (auto* item : cells) {
        auto font = item->font();
        font.setBold(true);
        item->setFont(font);
      }
    }
    nameRow(cells);
    boardModel_->appendRow(cells);
  }
  // Position, move and rating are short and read whole; the names take what is left, elided past a
  // width (hovering shows them whole).
  for (const int column : {0, 1, 2, 3, 4}) {
    board_->resizeColumnToContents(column);
  }
  for (const int column : {2, 3}) {
    board_->setColumnWidth(column, std::min(board_->columnWidth(column), kNameColumnWidth));
  }
  if (!search.hasPrevious) {
    overtakeModel_->appendRow(cell(qs(text::kFirstSearch)));
  } else if (search.overtakes.empty()) {
    overtakeModel_->appendRow(cell(qs(text::kNoOvertakes)));
  }
  for (const auto& overtake : search.overtakes) {
    overtakeModel_->appendRow(cell(qs(research::overtakeText(overtake))));
  }
  for (const auto& standing : search.standings) {
    standingModel_->appendRow(cell(qs(research::standingText(standing, search.ladder.resultCount))));
  }
}

void RivalsView::openRow(int row) {
  const int index = searches_->currentIndex();
  if (index < 0 || index >= static_cast<int>(boardData_.searches.size())) {
    return;
  }
  const auto& search = boardData_.searches[static_cast<std::size_t>(index)];
  if (row < 0 || row >= static_cast<int>(search.rows.size())) {
    return;
  }
  if (opened_ && opened_->entry.appStoreId == search.rows[static_cast<std::size_t>(row)].entry.appStoreId) {
    return;
  }
  opened_ = search.rows[static_cast<std::size_t>(row)];
  if (!facts_) {
    facts_ = std::make_unique<research::AppFactsModel>(research::clientFactsLookup(services().core().client()),
                                                       services().store(), services().wall(), services().queue());
    facts_->setOnForbidden([this] { services().core().holdAfterRefusal(); });
    factsChanged_ = facts_->changes().subscribe([this] { renderFacts(); });
  }
  facts_->reset();
}

void RivalsView::renderFacts() {
  if (!opened_) {
    setLabel(detailsTitle_, qs(text::kDetails));
    setLabel(detailsLines_, qs(text::kPickRow));
    setLabel(factsStatus_, QString());
    lookUp_->setEnabled(false);
    return;
  }
  const auto& entry = opened_->entry;
  const int index = searches_->currentIndex();
  const auto resultCount = index >= 0 && index < static_cast<int>(boardData_.searches.size())
                               ? boardData_.searches[static_cast<std::size_t>(index)].ladder.resultCount
                               : 0;
  setLabel(detailsTitle_, qs(entry.name));
  QStringList lines{qs(entry.developer.empty() ? std::string("—") : entry.developer),
                    qs(research::positionLine(*opened_, resultCount)), qs(research::ratingText(entry))};
  const bool looking = facts_ && facts_->state() == research::AppFactsModel::State::lookingUp;
  if (facts_ && facts_->appStoreId() == entry.appStoreId) {
    for (const auto& line : facts_->factLines(services().core().localTime())) {
      lines << qs(line);
    }
  }
  setLabel(detailsLines_, lines.join(QLatin1Char('\n')));
  setLabel(factsStatus_, facts_ ? qs(facts_->statusLine()) : qs(research::factsText::kFromSavedSearch));
  lookUp_->setEnabled(!looking);
}

ViewPage* makeRivalsView(AppServices& services, QWidget* parent) {
  return new RivalsView(services, parent);
}

}  // namespace tovra::gui
