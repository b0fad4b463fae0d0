#include "app/gui/today_view.h"

#include <QEvent>
#include <QHBoxLayout>
#include <QHeaderView>
#include <QKeyEvent>
#include <QLabel>
#include <QPushButton>
#include <QShortcut>
#include <QTimer>
#include <QToolButton>
#include <QTreeView>

#include "app/gui/action_menus.h"
#include "app/gui/app_services.h"
#include "app/gui/gui_text.h"
#include "app/gui/main_window.h"
#include "app/gui/today_delegate.h"
#include "app/gui/today_model.h"
#include "app/measure/measure_texts.h"
#include "app/measure/today_board.h"
#include "app/store/store_error.h"

namespace tovra::gui {

namespace {

namespace texts = measure::texts;
namespace words = measure::today_texts;

constexpr int kIconSize = 22;
constexpr int kAppColumnWidth = 220;
// Keywords whose best rank is read in one turn of the event loop: a few milliseconds of reading, so the
// list scrolls on while the column fills in.
constexpr std::size_t kBestRanksPerTurn = 12;

}  // namespace

ViewPage* makeTodayView(AppServices& services, QWidget* parent) {
  return new TodayPage(services, parent);
}

TodayPage::TodayPage(AppServices& services, QWidget* parent)
    : ViewPage(QStringLiteral("Today"), services, parent),
      board_(std::make_unique<measure::TodayBoard>(services.store(), services.calendar(), services.wall())) {
  offer_ = new QLabel(this);
  offer_->setWordWrap(true);
  offer_->setTextInteractionFlags(Qt::TextSelectableByMouse | Qt::TextSelectableByKeyboard);
  measure_ = new QToolButton(this);
  measure_->setToolButtonStyle(Qt::ToolButtonTextBesideIcon);
  review_ = new QPushButton(qs(words::kMarkReviewed), this);
  review_->setIcon(QIcon(QStringLiteral(":/icons/checklist.svg")));
  review_->setAccessibleName(review_->text());
  review_->setToolTip(review_->text() + QStringLiteral(" (") + QKeySequence(Qt::Key_Space).toString() +
                      QStringLiteral(")"));
  undo_ = new QPushButton(qs(words::kUndoReview), this);
  undo_->setAccessibleName(undo_->text());
  undo_->setToolTip(undo_->text() + QStringLiteral(" (") +
                    QKeySequence(QKeySequence::Undo).toString(QKeySequence::NativeText) + QStringLiteral(")"));

  auto* offerRow = new QHBoxLayout;
  offerRow->addWidget(offer_, 1);
  offerRow->addWidget(measure_, 0, Qt::AlignTop);
  body()->addLayout(offerRow);

  model_ = new TodayModel(services.icons(), kIconSize, this);
  view_ = new QTreeView(this);
  view_->setModel(model_);
  view_->setItemDelegate(new TodayDelegate(view_));
  view_->setAccessibleName(qs(words::kListName));
  view_->setUniformRowHeights(true);
  view_->setIconSize(QSize(kIconSize, kIconSize));
  view_->setAllColumnsShowFocus(true);
  view_->setSelectionMode(QAbstractItemView::SingleSelection);
  view_->setSelectionBehavior(QAbstractItemView::SelectRows);
  view_->setEditTriggers(QAbstractItemView::NoEditTriggers);
  view_->setAlternatingRowColors(true);
  view_->setIndentation(14);
  view_->header()->setStretchLastSection(false);
  // Column widths follow the first rows, not all of them: measuring thousands of rows would cost more
  // than the list itself.
  view_->header()->setResizeContentsPrecision(64);
  view_->header()->setSectionResizeMode(QHeaderView::Interactive);
  view_->header()->setSectionResizeMode(TodayModel::keywordColumn, QHeaderView::Stretch);
  view_->setTextElideMode(Qt::ElideRight);
  view_->installEventFilter(this);
  body()->addWidget(view_, 1);

  auto* actions = new QHBoxLayout;
  actions->addWidget(review_);
  actions->addWidget(undo_);
  actions->addStretch(1);
  body()->addLayout(actions);

  auto* undoKey = new QShortcut(QKeySequence::Undo, this);
  undoKey->setContext(Qt::WidgetWithChildrenShortcut);
  connect(undoKey, &QShortcut::activated, this, &TodayPage::undoReview);
  connect(review_, &QPushButton::clicked, this, &TodayPage::reviewCurrent);
  connect(undo_, &QPushButton::clicked, this, &TodayPage::undoReview);
  connect(view_->selectionModel(), &QItemSelectionModel::currentChanged, this, &TodayPage::updateButtons);
  connect(&services.icons(), &AppIcons::arrived, view_->viewport(), qOverload<>(&QWidget::update));
  auto& runSignals = services.runnerSignals();
  connect(&runSignals, &RunnerSignals::changed, this, &TodayPage::showOffer);
  boardChanged_ = board_->changes().subscribe([this] { showQueue(); });
  bestRanks_ = new QTimer(this);
  bestRanks_->setInterval(0);
  connect(bestRanks_, &QTimer::timeout, this, &TodayPage::readBestRanks);
  setTabOrder(measure_, view_);
  setTabOrder(view_, review_);
  setTabOrder(review_, undo_);
}

TodayPage::~TodayPage() = default;

void TodayPage::refill() {
  board_->refresh();  // tells showQueue through the board's changes
}

void TodayPage::showQueue() {
  const auto& queue = board_->queue();
  model_->setQueue(queue);
  for (int group = 0; group < model_->rowCount(); ++group) {
    view_->setFirstColumnSpanned(group, {}, true);
  }
  view_->expandAll();
  if (view_->header()->sectionSize(TodayModel::historyColumn) < TodayDelegate::kSparkWidth) {
    for (int column = 0; column < TodayModel::columnCount_; ++column) {
      view_->resizeColumnToContents(column);
    }
    // A long app name is elided rather than pushing the numbers out of sight.
    view_->header()->resizeSection(TodayModel::appColumn,
                                   std::min(view_->header()->sectionSize(TodayModel::appColumn), kAppColumnWidth));
  }
  setSummary(qs(measure::summaryLine(queue)));
  showOffer();
  updateButtons();
  bestRanks_->start();
}

void TodayPage::readBestRanks() {
  bool done = true;
  try {
    done = board_->readBestRanks(kBestRanksPerTurn);
  } catch (const store::StoreError& error) {
    setSummary(QString::fromUtf8(error.what()));
    bestRanks_->stop();
    return;
  }
  model_->updateBestRanks(board_->queue());
  if (done) {
    bestRanks_->stop();
  }
}

void TodayPage::showOffer() {
  if (!measure_->defaultAction()) {
    if (auto* window = qobject_cast<MainWindow*>(this->window())) {
      measure_->setDefaultAction(window->menus().action(shell::TovraActionID::measureNow));
      measure_->setAccessibleName(measure_->defaultAction()->text());
    }
  }
  const auto& runner = services().runner();
  const auto measurable = static_cast<std::int64_t>(services().store().queries().measurable().size());
  std::vector<std::string> lines;
  if (runner.isLive()) {
    lines.emplace_back(texts::kRanksLand);
  } else if (const auto seconds = runner.cooldownSecondsLeft(); seconds && *seconds > 0) {
    lines.push_back(texts::cooldownShort(*seconds));
  } else {
    const auto offer = measure::measureOffer(measurable > 0, true, board_->queue().finishedAt);
    if (offer.kind == measure::MeasureOffer::Kind::due) {
      lines.push_back(texts::lastMeasured(*offer.lastFinishedAt, services().wall().now(), services().calendar()));
    }
  }
  if (measurable > 0) {
    lines.push_back(texts::keywordCount(measurable));
    lines.emplace_back(texts::kOfferExplanation);
  } else if (model_->rowCount() == 0) {
    lines.emplace_back(words::kNothingTracked);
  }
  QStringList shown;
  for (const auto& line : lines) {
    shown << qs(line);
  }
  offer_->setText(shown.join(QLatin1Char('\n')));
  offer_->setAccessibleName(offer_->text());
  measure_->setVisible(measurable > 0 && measure_->defaultAction() != nullptr);
}

void TodayPage::updateButtons() {
  const auto current = view_->currentIndex();
  review_->setEnabled(current.data(TodayModel::rowIdRole).isValid() &&
                      !current.data(TodayModel::reviewedRole).toBool());
  undo_->setEnabled(board_->queue().undoableMark.has_value());
}

void TodayPage::runOnBoard(const std::function<void()>& change) {
  try {
    change();
  } catch (const store::StoreError& error) {
    setSummary(QString::fromUtf8(error.what()));
  }
}

void TodayPage::reviewCurrent() {
  const auto current = view_->currentIndex();
  const auto id = current.data(TodayModel::rowIdRole);
  if (!id.isValid() || current.data(TodayModel::reviewedRole).toBool()) {
    return;
  }
  // The next row of the same group (else the one before) takes the place of the one just reviewed.
  QVariant neighbour = current.sibling(current.row() + 1, 0).data(TodayModel::rowIdRole);
  if (!neighbour.isValid()) {
    neighbour = current.sibling(current.row() - 1, 0).data(TodayModel::rowIdRole);
  }
  runOnBoard([&] { board_->review(id.toLongLong()); });
  const auto next = neighbour.isValid() ? model_->indexOfKeyword(neighbour.toLongLong()) : QModelIndex();
  view_->setCurrentIndex(next.isValid() ? next : model_->indexOfKeyword(id.toLongLong()));
  updateButtons();
}

void TodayPage::undoReview() {
  const auto mark = board_->queue().undoableMark;
  if (!mark || !mark->query) {
    return;
  }
  runOnBoard([&] { board_->undo(); });
  view_->setCurrentIndex(model_->indexOfKeyword(mark->query->value));
  updateButtons();
}

bool TodayPage::eventFilter(QObject* watched, QEvent* event) {
  if (watched == view_ && event->type() == QEvent::KeyPress) {
    const auto* key = static_cast<QKeyEvent*>(event);
    if (key->key() == Qt::Key_Space && key->modifiers() == Qt::NoModifier) {
      reviewCurrent();
      return true;
    }
  }
  return ViewPage::eventFilter(watched, event);
}

}  // namespace tovra::gui
