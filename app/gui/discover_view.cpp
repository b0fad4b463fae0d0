#include "app/gui/discover_view.h"

#include <QComboBox>
#include <QHBoxLayout>
#include <QHeaderView>
#include <QLabel>
#include <QLineEdit>
#include <QListView>
#include <QPushButton>
#include <QScrollArea>
#include <QShortcut>
#include <QSplitter>
#include <QStandardItemModel>
#include <QTabWidget>
#include <QTimer>
#include <QTreeView>
#include <algorithm>
#include <set>

#include "app/gui/app_services.h"
#include "app/gui/archive_parts.h"
#include "app/gui/discover_check_sheet.h"
#include "app/gui/discover_hints_panel.h"
#include "app/gui/discover_results.h"
#include "app/gui/discover_signals_panel.h"
#include "app/gui/discover_track_panel.h"
#include "app/gui/gui_text.h"
#include "app/gui/research_models.h"
#include "app/research/discover_texts.h"
#include "app/research/hint_probe_model.h"
#include "app/research/keyword_difficulty.h"
#include "app/research/research_texts.h"
#include "app/research/track_draft.h"
#include "app/store/hint_probe_store.h"
#include "app/store/store.h"
#include "app/store/store_error.h"

namespace tovra::gui {

namespace {

constexpr std::chrono::seconds kWaitWatch{2};

std::set<std::string> trackedIds(store::Store& store) {
  std::set<std::string> ids;
  for (const auto& app : store.apps().all()) {
    ids.insert(app.appStoreId);
  }
  return ids;
}

}  // namespace

DiscoverPage::DiscoverPage(AppServices& services, QWidget* parent)
    : ViewPage(QStringLiteral("Discover"), services, parent),
      probes_(std::make_unique<store::HintProbeStore>(services.store())) {
  namespace label = research::discoverLabel;
  auto& core = services.core();
  model_ = std::make_unique<research::DiscoverModel>(
      [&core](const std::string& term, const std::string& country, std::stop_token stop) {
        return core.client().search(term, country, research::kDiscoverShown, stop);
      },
      services.store(), services.wall(), services.queue());
  model_->setOnForbidden([&core] { core.holdAfterRefusal(); });
  model_->setCountry("us");
  signals_ = std::make_unique<research::SignalsCheck>(
      [&core](const std::string& term, const std::string& country, std::stop_token stop) {
        return core.client().search(term, country, static_cast<std::int64_t>(research::kDifficultySample), stop);
      },
      [&core](const std::string& prefix, const std::string& country, std::stop_token stop) {
        return core.client().hints(prefix, country, stop);
      },
      services.store(), core.requestGate(), services.wall(), services.calendar(), services.queue());
  signals_->setOnForbidden([&core] { core.holdAfterRefusal(); });
  hints_ = std::make_unique<research::HintProbeModel>(
      [&core](const std::string& prefix, const std::string& country, std::stop_token stop) {
        return core.client().hints(prefix, country, stop);
      },
      *probes_, core.requestGate(), services.wall(), services.calendar(), services.queue());
  hints_->setOnForbidden([&core] { core.holdAfterRefusal(); });

  term_ = new QLineEdit(this);
  term_->setPlaceholderText(qs(label::kSearchPlaceholder));
  term_->setAccessibleName(qs(label::kSearchField));
  country_ = makeCountryBox(qs(label::kCountry), "us", this);
  search_ = new QPushButton(qs(label::kSearch), this);
  search_->setAccessibleName(qs(label::kSearch));
  checkOnce_ = new QPushButton(qs(label::kCheckOnce), this);
  checkOnce_->setAccessibleName(qs(label::kCheckOnce));
  auto* bar = new QHBoxLayout;
  bar->addWidget(term_, 1);
  bar->addWidget(country_);
  bar->addWidget(search_);
  bar->addSpacing(12);
  bar->addWidget(checkOnce_);
  body()->addLayout(bar);

  status_ = new QLabel(this);
  status_->setWordWrap(true);
  status_->setTextInteractionFlags(Qt::TextSelectableByMouse);
  body()->addWidget(status_);

  results_ = new DiscoverResultsModel(this);
  list_ = new QListView(this);
  list_->setModel(results_);
  list_->setItemDelegate(new DiscoverResultDelegate(services.icons(), list_));
  list_->setAccessibleName(qs(label::kResults));
  list_->setUniformItemSizes(true);
  list_->setSelectionMode(QAbstractItemView::SingleSelection);
  list_->setEditTriggers(QAbstractItemView::NoEditTriggers);
  // Rows fit the list's width: a name is elided rather than scrolled to.
  list_->setHorizontalScrollBarPolicy(Qt::ScrollBarAlwaysOff);
  list_->setResizeMode(QListView::Adjust);

  tabs_ = new QTabWidget(this);
  tabs_->setAccessibleName(qs(label::kPanels));
  track_ = new DiscoverTrackPanel(services, *model_, tabs_);
  signalsPanel_ = new DiscoverSignalsPanel(services, *signals_, tabs_);
  hintsPanel_ = new DiscoverHintsPanel(services, *hints_, tabs_);
  savedModel_ = new QStandardItemModel(this);
  saved_ = new QTreeView(tabs_);
  saved_->setModel(savedModel_);
  saved_->setAccessibleName(qs(label::kSavedTab));
  saved_->setRootIsDecorated(false);
  saved_->setEditTriggers(QAbstractItemView::NoEditTriggers);
  saved_->setAlternatingRowColors(true);
  // The panels scroll rather than force their height on the window.
  const auto scrolled = [this](QWidget* panel) {
    auto* area = new QScrollArea(tabs_);
    area->setWidget(panel);
    area->setWidgetResizable(true);
    area->setHorizontalScrollBarPolicy(Qt::ScrollBarAlwaysOff);
    area->setFrameShape(QFrame::NoFrame);
    area->setAccessibleName(panel->accessibleName());
    return area;
  };
  tabs_->addTab(scrolled(track_), qs(label::kTrackTab));
  tabs_->addTab(scrolled(signalsPanel_), qs(label::kSignalsTab));
  tabs_->addTab(scrolled(hintsPanel_), qs(label::kHintsTab));
  tabs_->addTab(saved_, qs(label::kSavedTab));

  auto* split = parts::splitPair(Qt::Horizontal, list_, tabs_, {1, 1}, {560, 440}, this);
  split->setAccessibleName(qs(label::kResultsAndPanels));
  split->setChildrenCollapsible(false);
  body()->addWidget(split, 1);

  setTabOrder(term_, country_);
  setTabOrder(country_, search_);
  setTabOrder(search_, checkOnce_);
  setTabOrder(checkOnce_, list_);
  setTabOrder(list_, tabs_);

  connect(term_, &QLineEdit::returnPressed, search_, &QPushButton::click);
  connect(search_, &QPushButton::clicked, this, [this] {
    model_->setTerm(term_->text().toStdString());
    model_->setCountry(countryOf(*country_));
    model_->search();
  });
  connect(checkOnce_, &QPushButton::clicked, this, [this] { openCheckOnce()->open(); });
  connect(list_->selectionModel(), &QItemSelectionModel::currentChanged, this, [this] {
    track_->clearResult();
    picked();
  });
  // Return on a result goes on to its draft's keyword field.
  connect(list_, &QListView::activated, this, [this] {
    tabs_->setCurrentIndex(0);
    track_->focusEntry();
  });
  auto* find = new QShortcut(QKeySequence::Find, this);
  connect(find, &QShortcut::activated, this, [this] {
    term_->setFocus(Qt::ShortcutFocusReason);
    term_->selectAll();
  });
  connect(track_, &DiscoverTrackPanel::wrote, this, [this] {
    // The picked app is now tracked: its draft opens again as an already tracked app's.
    showRows();
    picked();
  });
  connect(hintsPanel_, &DiscoverHintsPanel::addToDraft, this, [this](const QString& term) {
    if (draft_) {
      draft_->addCarried(term.toStdString(), store::KeywordProvenance::carriedFromStoreHint);
      tabs_->setCurrentIndex(0);
    }
  });
  connect(&services.icons(), &AppIcons::arrived, list_->viewport(), qOverload<>(&QWidget::update));
  connect(&services.runnerSignals(), &RunnerSignals::changed, this, &DiscoverPage::refreshWaits);
  // A run in another Tovra process tells nothing to this one; while the page shows, it looks now and then.
  waitWatch_ = new QTimer(this);
  waitWatch_->setInterval(kWaitWatch);
  connect(waitWatch_, &QTimer::timeout, this, &DiscoverPage::refreshWaits);
  subscription_ = model_->changes().subscribe([this] { sync(); });
  sync();
}

DiscoverPage::~DiscoverPage() {
  // The panels hold subscriptions to the models; they go first.
  delete tabs_;
  tabs_ = nullptr;
}

void DiscoverPage::showEvent(QShowEvent* event) {
  ViewPage::showEvent(event);
  refreshWaits();
  waitWatch_->start();
}

void DiscoverPage::hideEvent(QHideEvent* event) {
  ViewPage::hideEvent(event);
  waitWatch_->stop();
}

void DiscoverPage::search(const QString& term, const std::string& country) {
  term_->setText(term);
  selectCountry(*country_, country);
  search_->click();
}

DiscoverCheckSheet* DiscoverPage::openCheckOnce() {
  const auto keyword = model_->searchedTerm().value_or(term_->text().trimmed().toStdString());
  const auto country = model_->searchedCountry().value_or(countryOf(*country_));
  std::optional<std::string> appStoreId;
  if (const auto* app = results_->app(list_->currentIndex().row())) {
    appStoreId = app->id;
  }
  auto* sheet = new DiscoverCheckSheet(services(), keyword, country, appStoreId, this);
  sheet->setAttribute(Qt::WA_DeleteOnClose);
  return sheet;
}

void DiscoverPage::showRows() {
  const auto* current = results_->app(list_->currentIndex().row());
  const auto currentId = current ? std::optional<std::string>(current->id) : std::nullopt;
  results_->setResults(model_->discovered(), trackedIds(services().store()));
  // The picked row stays picked when the rows are read again, without reopening its draft.
  const auto row = currentId ? results_->rowOf(*currentId) : -1;
  if (row >= 0) {
    const QSignalBlocker block(list_->selectionModel());
    list_->setCurrentIndex(results_->index(row, 0));
  }
}

void DiscoverPage::refill() {
  track_->refill();
  hintsPanel_->refill();
  showRows();
  fillSaved();
  refreshWaits();
  sync();
}

void DiscoverPage::refreshWaits() {
  signalsPanel_->refreshWait();
  hintsPanel_->refreshWait();
}

void DiscoverPage::fillSaved() {
  auto ladders = services().store().ladders().all();
  std::stable_sort(ladders.begin(), ladders.end(),
                   [](const auto& a, const auto& b) { return a.fetchedAt > b.fetchedAt; });
  savedModel_->clear();
  savedModel_->setHorizontalHeaderLabels(
      {QStringLiteral("Keyword"), QStringLiteral("Country"), QStringLiteral("Results"), QStringLiteral("Saved")});
  for (const auto& ladder : ladders) {
    QList<QStandardItem*> row{new QStandardItem(qs(ladder.keyword)), new QStandardItem(countryCode(ladder.country)),
                              new QStandardItem(QString::number(ladder.resultCount)),
                              new QStandardItem(localMinute(ladder.fetchedAt))};
    row.front()->setData(qs(research::resultsHeadline(ladder.keyword, ladder.country, ladder.resultCount)),
                         Qt::AccessibleTextRole);
    savedModel_->appendRow(row);
  }
  saved_->header()->setSectionResizeMode(0, QHeaderView::Stretch);
}

void DiscoverPage::sync() {
  namespace label = research::discoverLabel;
  search_->setEnabled(!model_->isSearching());
  QStringList lines;
  if (model_->isSearching()) {
    // The last answer's lines would read as this search's until it lands.
    lines << qs(label::kSearching);
  } else {
    for (const auto& line : model_->statusLines()) {
      lines << qs(line);
    }
  }
  status_->setText(lines.join(QLatin1Char('\n')));
  status_->setAccessibleName(status_->text());
  status_->setVisible(!lines.isEmpty());

  const auto& term = model_->searchedTerm();
  const auto& country = model_->searchedCountry();
  if (term && country && model_->resultCount() && !model_->failure()) {
    setSummary(qs(research::discoverHeadline(*term, *country, *model_->resultCount())));
  } else if (term && country) {
    setSummary(qs(research::termInCountry(*term, *country)));
  } else {
    setSummary(qs(research::discoverText::kStorePosition));
  }

  // A new answer (or a failure) replaces the rows; a change of the field alone keeps them.
  const auto answered =
      model_->lastSearchAt()
          ? std::optional<std::string>(*term + "|" + *country + "|" +
                                       std::to_string(model_->lastSearchAt()->time_since_epoch().count()))
          : std::nullopt;
  const auto key = model_->failure() ? std::optional<std::string>("failed|" + *model_->failure()) : answered;
  if (model_->isSearching() || key == shownSearch_) {
    return;
  }
  shownSearch_ = key;
  try {
    showRows();
    fillSaved();
  } catch (const store::StoreError& error) {
    setSummary(qs(error.description()));
  }
  picked();
  if (term && country && !model_->failure()) {
    signalsPanel_->setTarget(*term, *country);
    hintsPanel_->setPrefix(*term, *country);
  }
}

void DiscoverPage::picked() {
  const auto* app = results_->app(list_->currentIndex().row());
  track_->setDraft(nullptr);
  hintsPanel_->setDraftOpen(false);
  draft_.reset();
  const auto pickedId = app ? std::optional<std::string>(app->id) : std::nullopt;
  if (model_->selectedId() != pickedId) {
    model_->select(pickedId);
  }
  if (!app) {
    return;
  }
  try {
    draft_ = model_->openTrackDraft(app->id, services().core().monotonic());
  } catch (const store::StoreError& error) {
    setSummary(qs(error.description()));
  }
  track_->setDraft(draft_.get());
  hintsPanel_->setDraftOpen(draft_ != nullptr);
}

ViewPage* makeDiscoverView(AppServices& services, QWidget* parent) {
  return new DiscoverPage(services, parent);
}

}  // namespace tovra::gui
