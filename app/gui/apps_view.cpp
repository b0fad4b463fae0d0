#include "app/gui/apps_view.h"

#include <QHBoxLayout>
#include <QHeaderView>
#include <QKeyEvent>
#include <QLabel>
#include <QLineEdit>
#include <QMessageBox>
#include <QPushButton>
#include <QTreeView>

#include "app/gui/add_app_sheet.h"
#include "app/gui/add_keywords_sheet.h"
#include "app/gui/app_services.h"
#include "app/gui/apps_model.h"
#include "app/gui/gui_text.h"
#include "app/gui/qt_settings.h"
#include "app/research/resolver_store.h"
#include "app/shell/tovra_action.h"
#include "app/shell/watchlist_board.h"
#include "app/store/footprint.h"
#include "app/store/keyword_draft.h"
#include "app/store/store.h"

namespace tovra::gui {

namespace board = shell::board;
using shell::TovraActionID;

namespace {

// As many results of a name as the sheet lists to click.
constexpr std::int64_t kNameResults = 10;

QPushButton* button(std::string_view words, QWidget* parent) {
  auto* made = new QPushButton(qs(words), parent);
  made->setAccessibleName(qs(words));
  return made;
}

QString actionTitle(TovraActionID id) {
  return qs(shell::tovraAction(id).title);
}

// A bar under the board: one line of words and its buttons.
QWidget* bar(QWidget* parent, QLabel* line, std::initializer_list<QPushButton*> buttons) {
  auto* made = new QWidget(parent);
  auto* row = new QHBoxLayout(made);
  row->setContentsMargins(0, 0, 0, 0);
  row->addWidget(line, 1);
  for (auto* b : buttons) {
    row->addWidget(b);
  }
  return made;
}

}  // namespace

AppsPage::AppsPage(AppServices& services, QWidget* parent)
    : ViewPage(qs(board::kHeading), services, parent),
      writer_(services.store(), services.wall()),
      editor_(services.store(), writer_) {
  addAppButton_ = new QPushButton(actionTitle(TovraActionID::addApp), this);
  addAppButton_->setAccessibleName(addAppButton_->text());
  addKeywordsButton_ = new QPushButton(actionTitle(TovraActionID::addKeywords), this);
  addKeywordsButton_->setAccessibleName(addKeywordsButton_->text());
  newSpaceButton_ = button(board::kNewSpace, this);
  pauseButton_ = button(board::kPause, this);
  pauseButton_->setToolTip(qs(board::kPauseHelp));
  renameButton_ = button(board::kRename, this);
  graduateButton_ = button(board::kGraduate, this);
  deleteButton_ = button(board::kDelete, this);
  deleteEverythingButton_ = button(board::kDeleteEverything, this);
  auto* tools = new QHBoxLayout;
  for (auto* b : {addAppButton_, addKeywordsButton_, newSpaceButton_}) {
    tools->addWidget(b);
  }
  tools->addStretch(1);
  body()->addLayout(tools);

  model_ = new AppsModel(services, this);
  view_ = new QTreeView(this);
  view_->setModel(model_);
  view_->setAccessibleName(qs(board::kBoardName));
  view_->setUniformRowHeights(true);
  view_->setIconSize(QSize(28, 28));
  view_->setAlternatingRowColors(true);
  view_->setSelectionBehavior(QAbstractItemView::SelectRows);
  view_->setEditTriggers(QAbstractItemView::NoEditTriggers);
  view_->header()->setStretchLastSection(true);
  view_->header()->setSectionResizeMode(AppsModel::name, QHeaderView::Interactive);
  view_->setColumnWidth(AppsModel::name, 300);
  view_->setColumnWidth(AppsModel::country, 80);
  view_->setColumnWidth(AppsModel::rank, 150);
  view_->setColumnWidth(AppsModel::measured, 90);
  view_->installEventFilter(this);
  empty_ = new QLabel(qs(board::kNothingTracked), this);
  empty_->setAccessibleName(empty_->text());
  empty_->setWordWrap(true);
  empty_->setAlignment(Qt::AlignCenter);
  empty_->setForegroundRole(QPalette::PlaceholderText);
  body()->addWidget(view_, 1);
  body()->addWidget(empty_, 1);

  auto* renameLabel = new QLabel(qs(board::kRenameLabel), this);
  renameField_ = new QLineEdit(this);
  renameField_->setAccessibleName(qs(board::kRenameLabel));
  renameLabel->setBuddy(renameField_);
  auto* save = button(board::kSave, this);
  auto* cancel = button(board::kCancel, this);
  renameBar_ = new QWidget(this);
  auto* renameRow = new QHBoxLayout(renameBar_);
  renameRow->setContentsMargins(0, 0, 0, 0);
  renameRow->addWidget(renameLabel);
  renameRow->addWidget(renameField_, 1);
  renameRow->addWidget(save);
  renameRow->addWidget(cancel);
  body()->addWidget(renameBar_);

  failure_ = new QLabel(this);
  failure_->setWordWrap(true);
  failure_->setTextInteractionFlags(Qt::TextSelectableByMouse | Qt::TextSelectableByKeyboard);
  // The dropped colour of the board: a semantic red that reads on the light and the dark palette.
  failure_->setStyleSheet(QStringLiteral("color: #d0453a;"));
  auto* dismiss = button(board::kDismiss, this);
  failureBar_ = bar(this, failure_, {dismiss});
  body()->addWidget(failureBar_);

  undoLine_ = new QLabel(this);
  undoLine_->setWordWrap(true);
  auto* undo = button(board::kUndo, this);
  undoButton_ = undo;
  undoBar_ = bar(this, undoLine_, {undo});
  body()->addWidget(undoBar_);
  // What acts on the selected row sits right under the board; emptying the whole store sits apart.
  auto* rowTools = new QHBoxLayout;
  for (auto* b : {pauseButton_, renameButton_, graduateButton_, deleteButton_}) {
    rowTools->addWidget(b);
  }
  rowTools->addStretch(1);
  rowTools->addWidget(deleteEverythingButton_);
  body()->insertLayout(body()->indexOf(view_) + 2, rowTools);
  QWidget* previous = addAppButton_;
  for (QWidget* next :
       std::initializer_list<QWidget*>{addKeywordsButton_, newSpaceButton_, view_, pauseButton_, renameButton_,
                                       graduateButton_, deleteButton_, deleteEverythingButton_}) {
    setTabOrder(previous, next);
    previous = next;
  }

  connect(addAppButton_, &QPushButton::clicked, this, &AppsPage::openAddApp);
  connect(addKeywordsButton_, &QPushButton::clicked, this, &AppsPage::openAddKeywords);
  connect(newSpaceButton_, &QPushButton::clicked, this, &AppsPage::newSpace);
  connect(pauseButton_, &QPushButton::clicked, this, &AppsPage::togglePause);
  connect(renameButton_, &QPushButton::clicked, this, &AppsPage::openRename);
  connect(graduateButton_, &QPushButton::clicked, this, &AppsPage::openGraduate);
  connect(deleteButton_, &QPushButton::clicked, this, &AppsPage::deleteSelected);
  connect(deleteEverythingButton_, &QPushButton::clicked, this, &AppsPage::deleteEverything);
  connect(renameField_, &QLineEdit::textEdited, this,
          [this](const QString& text) { editor_.setDraftName(text.toStdString()); });
  connect(renameField_, &QLineEdit::returnPressed, save, &QPushButton::click);
  connect(save, &QPushButton::clicked, this, [this] {
    if (editor_.commitRename()) {
      edited();
    }
  });
  connect(cancel, &QPushButton::clicked, this, [this] {
    editor_.cancelRename();
    view_->setFocus();
  });
  connect(dismiss, &QPushButton::clicked, this, [this] { editor_.dismissFailure(); });
  connect(undo, &QPushButton::clicked, this, &AppsPage::undoTrack);
  // Queued: the switch is flipped from inside the view's own event, and the write reloads the model.
  connect(
      model_, &AppsModel::pauseRequested, this,
      [this](const store::TrackedQuery& query, bool paused) {
        if (editor_.apply([&] { writer_.setPaused(query, paused); })) {
          edited();
        }
      },
      Qt::QueuedConnection);
  connect(view_->selectionModel(), &QItemSelectionModel::currentChanged, this, &AppsPage::render);
  editorChanges_ = editor_.changes().subscribe([this] { render(); });

  auto& client = services.core();
  lookup_ = [&client](const research::AppResolverInput& input, const std::string& country, std::stop_token stop) {
    return research::clientLookup(client.client())(input, country, stop);
  };
  search_ = [&client](const std::string& term, const std::string& country, std::stop_token stop) {
    return research::clientSearch(client.client(), kNameResults)(term, country, stop);
  };
}

AppsPage::~AppsPage() = default;

AddAppSheet* AppsPage::addAppSheet() const {
  return addApp_;
}

AddKeywordsSheet* AppsPage::addKeywordsSheet() const {
  return addKeywords_;
}

void AppsPage::setResolver(research::ResolverLookup lookup, research::ResolverSearch search) {
  lookup_ = std::move(lookup);
  search_ = std::move(search);
}

void AppsPage::refill() {
  // The selection survives a reload by what it points at, not by its row number.
  std::optional<std::pair<bool, std::int64_t>> owner;
  std::optional<std::int64_t> keyword;
  const auto current = selectedRow();
  if (const auto* o = model_->ownerAt(current)) {
    owner = o->isApp() ? std::pair{true, std::get<store::TrackedApp>(o->record).rowId.value}
                       : std::pair{false, std::get<store::ResearchSpace>(o->record).rowId.value};
  }
  if (const auto* k = model_->keywordAt(current)) {
    keyword = k->query.rowId.value;
  }
  model_->reload();
  view_->expandAll();
  if (owner) {
    selectOwner(owner->first, owner->second);
    if (keyword) {
      const auto parent = view_->currentIndex();
      for (int row = 0; row < model_->rowCount(parent); ++row) {
        const auto index = model_->index(row, 0, parent);
        if (model_->keywordAt(index)->query.rowId.value == *keyword) {
          view_->setCurrentIndex(index);
        }
      }
    }
  }
  auto& store = services().store();
  setSummary(QString::fromStdString(
      store::storeSummary(store::StoreFootprint::measure(store), store::StoreInventory::count(store))));
  render();
}

void AppsPage::selectOwner(bool isApp, std::int64_t rowId) {
  const auto& owners = model_->owners();
  for (std::size_t i = 0; i < owners.size(); ++i) {
    const auto& record = owners[i].record;
    const bool matches = isApp ? owners[i].isApp() && std::get<store::TrackedApp>(record).rowId.value == rowId
                               : !owners[i].isApp() && std::get<store::ResearchSpace>(record).rowId.value == rowId;
    if (matches) {
      view_->setCurrentIndex(model_->indexOfOwner(i));
      return;
    }
  }
}

QModelIndex AppsPage::selectedRow() const {
  const auto current = view_->currentIndex();
  return current.isValid() ? current.siblingAtColumn(0) : current;
}

void AppsPage::render() {
  const bool any = !model_->owners().empty();
  view_->setVisible(any);
  empty_->setVisible(!any);
  const auto current = selectedRow();
  const auto* owner = model_->ownerAt(current);
  const auto* keyword = model_->keywordAt(current);
  const bool space = owner && !owner->isApp() && !keyword;
  addKeywordsButton_->setEnabled(any);
  pauseButton_->setEnabled(keyword && keyword->query.app);
  pauseButton_->setText(qs(keyword && keyword->query.isPaused ? board::kResume : board::kPause));
  pauseButton_->setAccessibleName(pauseButton_->text());
  renameButton_->setEnabled(space);
  graduateButton_->setEnabled(space);
  deleteButton_->setEnabled(owner != nullptr);

  renameBar_->setVisible(editor_.isRenaming());
  if (editor_.isRenaming() && renameField_->text().toStdString() != editor_.draftName()) {
    renameField_->setText(QString::fromStdString(editor_.draftName()));
  }
  const auto& failure = editor_.failure();
  failure_->setText(failure ? QString::fromStdString(*failure) : QString());
  failure_->setAccessibleName(failure_->text());
  failureBar_->setVisible(failure.has_value());
  undoBar_->setVisible(!undoLine_->text().isEmpty());
  undoButton_->setVisible(lastTrack_.has_value());
}

void AppsPage::edited() {
  reload();
}

AddAppSheet* AppsPage::makeResolverSheet(const QString& title, const QString& confirm) {
  auto* sheet = new AddAppSheet(services(), lookup_, search_, title, confirm, this);
  sheet->setAttribute(Qt::WA_DeleteOnClose);
  return sheet;
}

void AppsPage::openAddApp() {
  if (addApp_) {
    addApp_->raise();
    return;
  }
  addApp_ = makeResolverSheet(qs(board::kAddAppTitle), qs(board::kTrack));
  connect(addApp_, &AddAppSheet::chosen, this,
          [this](const research::DiscoveredApp& app, bool isMine) { track(app, isMine); });
  addApp_->open();
}

void AppsPage::track(const research::DiscoveredApp& app, bool isMine) {
  // An app already marked as the user's stays marked; the sheet's box only ever adds the claim.
  const auto tracked = writer_.findApp(app.id);
  const bool claim = isMine || (tracked && tracked->isMine);
  store::WatchlistWriter::Receipt receipt;
  const auto facts = research::trackedFacts(app);
  if (!editor_.apply([&] { receipt = writer_.trackApp(facts, app.country, claim); })) {
    sheetFailed();
    return;
  }
  lastTrack_ = receipt;
  undoLine_->setText(QString::fromStdString(board::trackedLine(receipt.app.displayName, receipt.createdApp)));
  undoLine_->setAccessibleName(undoLine_->text());
  if (addApp_) {
    addApp_->accept();
  }
  edited();
  selectOwner(true, receipt.app.rowId.value);
  view_->setFocus();
}

void AppsPage::sheetFailed() {
  if (addApp_) {
    addApp_->showFailure(QString::fromStdString(editor_.failure().value_or(std::string(store::kSaveFailed))));
  }
}

void AppsPage::openGraduate() {
  const auto* owner = model_->ownerAt(selectedRow());
  if (!owner || owner->isApp() || addApp_) {
    return;
  }
  const auto space = std::get<store::ResearchSpace>(owner->record);
  addApp_ = makeResolverSheet(QString::fromStdString(board::graduateTitle(space.name)), qs(board::kGraduateButton));
  connect(addApp_, &AddAppSheet::chosen, this,
          [this, space](const research::DiscoveredApp& app, bool isMine) { graduate(space, app, isMine); });
  addApp_->open();
}

void AppsPage::graduate(const store::ResearchSpace& space, const research::DiscoveredApp& app, bool isMine) {
  const auto tracked = writer_.findApp(app.id);
  const bool claim = isMine || (tracked && tracked->isMine);
  store::WatchlistWriter::Receipt receipt;
  const auto facts = research::trackedFacts(app);
  if (!editor_.apply([&] { receipt = writer_.graduateSpace(space, facts, app.country, claim); })) {
    sheetFailed();
    return;
  }
  // Moved keywords are not taken back by undo, so a graduation says what it did and offers none.
  lastTrack_.reset();
  undoLine_->setText(QString::fromStdString(
      board::graduatedLine(receipt.app.displayName, static_cast<std::int64_t>(receipt.movedQueries.size()),
                           static_cast<std::int64_t>(receipt.keptInSpace.size()))));
  undoLine_->setAccessibleName(undoLine_->text());
  if (addApp_) {
    addApp_->accept();
  }
  edited();
  selectOwner(true, receipt.app.rowId.value);
}

void AppsPage::undoTrack() {
  if (!lastTrack_) {
    return;
  }
  const auto receipt = *lastTrack_;
  if (editor_.apply([&] { writer_.undo(receipt); })) {
    lastTrack_.reset();
    undoLine_->clear();
    edited();
  }
}

void AppsPage::openAddKeywords() {
  if (addKeywords_) {
    addKeywords_->raise();
    return;
  }
  const auto& owners = model_->owners();
  if (owners.empty()) {
    return;
  }
  std::vector<AddKeywordsSheet::Owner> choices;
  std::size_t chosen = 0;
  const auto* selected = model_->ownerAt(selectedRow());
  for (std::size_t i = 0; i < owners.size(); ++i) {
    if (&owners[i] == selected) {
      chosen = i;
    }
    if (owners[i].isApp()) {
      choices.push_back({std::get<store::TrackedApp>(owners[i].record), std::nullopt});
    } else {
      choices.push_back({std::nullopt, std::get<store::ResearchSpace>(owners[i].record)});
    }
  }
  addKeywords_ = new AddKeywordsSheet(services(), std::move(choices), chosen, this);
  addKeywords_->setAttribute(Qt::WA_DeleteOnClose);
  connect(addKeywords_, &AddKeywordsSheet::confirmed, this, [this](const std::vector<store::KeywordDraft>& drafts) {
    const auto owner = addKeywords_->owner();
    const bool saved = editor_.apply([&] {
      if (owner.app) {
        writer_.addKeywords(*owner.app, drafts);
      } else {
        writer_.parkKeywords(*owner.space, drafts);
      }
    });
    if (saved) {
      addKeywords_->accept();
    } else {
      addKeywords_->showFailure(QString::fromStdString(editor_.failure().value_or(std::string(store::kSaveFailed))));
    }
    edited();
    if (saved) {
      selectOwner(owner.app.has_value(), owner.app ? owner.app->rowId.value : owner.space->rowId.value);
    }
  });
  addKeywords_->open();
}

void AppsPage::newSpace() {
  store::ResearchSpace space;
  if (!editor_.apply([&] { space = writer_.createSpace(store::randomUuid(), ""); })) {
    return;
  }
  edited();
  selectOwner(false, space.rowId.value);
  openRename();
}

void AppsPage::openRename() {
  const auto* owner = model_->ownerAt(selectedRow());
  if (!owner || owner->isApp() || model_->keywordAt(selectedRow())) {
    return;
  }
  editor_.beginRename(std::get<store::ResearchSpace>(owner->record));
  renameField_->setText(QString::fromStdString(editor_.draftName()));
  renameField_->selectAll();
  renameField_->setFocus();
}

void AppsPage::togglePause() {
  const auto* keyword = model_->keywordAt(selectedRow());
  if (!keyword || !keyword->query.app) {
    return;
  }
  const auto query = keyword->query;
  if (editor_.apply([&] { writer_.setPaused(query, !query.isPaused); })) {
    edited();
  }
}

void AppsPage::deleteSelected() {
  const auto current = selectedRow();
  const auto* owner = model_->ownerAt(current);
  if (!owner) {
    return;
  }
  auto& store = services().store();
  std::optional<store::DeletionPlan> plan;
  editor_.apply([&] {
    if (const auto* keyword = model_->keywordAt(current)) {
      plan = store::DeletionPlan::forQuery(store, keyword->query);
    } else if (owner->isApp()) {
      plan = store::DeletionPlan::forApp(store, std::get<store::TrackedApp>(owner->record));
    } else {
      plan = store::DeletionPlan::forSpace(store, std::get<store::ResearchSpace>(owner->record));
    }
  });
  if (plan && confirmDeletion(*plan)) {
    edited();
  }
}

void AppsPage::deleteEverything() {
  std::optional<store::DeletionPlan> plan;
  editor_.apply([&] { plan = store::DeletionPlan::forEverything(services().store()); });
  if (!plan || !confirmDeletion(*plan)) {
    return;
  }
  services().settings().setBool(kGettingStartedDismissedKey, false);
  edited();
  emit storeEmptied();
}

bool AppsPage::confirmDeletion(const store::DeletionPlan& plan) {
  editor_.askToDelete(plan);
  const auto title = QString::fromStdString(plan.title());
  QMessageBox box(QMessageBox::Warning, title, title, QMessageBox::Cancel, this);
  QStringList lines{QString::fromStdString(plan.summary())};
  for (const auto& line : plan.explanation()) {
    lines << QString::fromStdString(line);
  }
  lines << QString::fromStdString(plan.warning());
  box.setInformativeText(lines.join(QStringLiteral("\n\n")));
  auto* confirm = box.addButton(title, QMessageBox::DestructiveRole);
  box.setDefaultButton(QMessageBox::Cancel);
  box.exec();
  if (box.clickedButton() != confirm) {
    editor_.cancelDeletion();
    return false;
  }
  const bool deleted = editor_.confirmDeletion();
  if (deleted) {
    // A track whose app or keywords are gone cannot be taken back any more.
    lastTrack_.reset();
    undoLine_->clear();
  }
  render();
  return deleted;
}

bool AppsPage::eventFilter(QObject* watched, QEvent* event) {
  if (watched == view_ && event->type() == QEvent::KeyPress) {
    switch (static_cast<QKeyEvent*>(event)->key()) {
      case Qt::Key_Delete:
      case Qt::Key_Backspace:
        deleteSelected();
        return true;
      case Qt::Key_F2:
        openRename();
        return true;
      case Qt::Key_Space:
        if (model_->keywordAt(selectedRow())) {
          togglePause();
          return true;
        }
        break;
      case Qt::Key_Return:
      case Qt::Key_Enter:
        openAddKeywords();
        return true;
      default:
        break;
    }
  }
  return ViewPage::eventFilter(watched, event);
}

AppsPage* makeAppsView(AppServices& services, QWidget* parent) {
  return new AppsPage(services, parent);
}

}  // namespace tovra::gui
