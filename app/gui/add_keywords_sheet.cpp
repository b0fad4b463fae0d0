#include "app/gui/add_keywords_sheet.h"

#include <QComboBox>
#include <QDialogButtonBox>
#include <QFormLayout>
#include <QHBoxLayout>
#include <QKeyEvent>
#include <QLabel>
#include <QLineEdit>
#include <QListView>
#include <QPushButton>
#include <QStandardItemModel>
#include <QVBoxLayout>
#include <unordered_set>

#include "AsoKit/storefront.h"
#include "app/base/keyword_key.h"
#include "app/gui/app_services.h"
#include "app/gui/gui_text.h"
#include "app/research/country_name.h"
#include "app/research/track_draft.h"
#include "app/shell/watchlist_board.h"

namespace tovra::gui {

namespace board = shell::board;

namespace {

constexpr const char* kDefaultCountry = "us";

QString ownerName(const AddKeywordsSheet::Owner& owner) {
  return QString::fromStdString(owner.app ? owner.app->displayName : owner.space->name);
}

}  // namespace

void fillCountries(QComboBox& box, const std::string& chosen) {
  for (const auto code : asokit::storefront::knownCodes()) {
    const std::string text(code);
    box.addItem(QString::fromStdString(research::countryDisplayName(text)) + QStringLiteral(" (") + countryCode(text) +
                    QStringLiteral(")"),
                QString::fromStdString(text));
  }
  const auto at = box.findData(QString::fromStdString(chosen));
  box.setCurrentIndex(at >= 0 ? at : 0);
}

AddKeywordsSheet::AddKeywordsSheet(AppServices& services, std::vector<Owner> owners, std::size_t chosen,
                                   QWidget* parent)
    : QDialog(parent), services_(services), owners_(std::move(owners)) {
  setModal(true);
  setMinimumWidth(520);

  owner_ = new QComboBox(this);
  owner_->setAccessibleName(qs(board::kOwner));
  for (const auto& owner : owners_) {
    owner_->addItem(ownerName(owner));
  }
  owner_->setCurrentIndex(static_cast<int>(std::min(chosen, owners_.size() - 1)));
  country_ = new QComboBox(this);
  country_->setAccessibleName(qs(board::kCountry));
  fillCountries(*country_, kDefaultCountry);

  field_ = new QLineEdit(this);
  field_->setPlaceholderText(qs(research::kKeywordEntryPlaceholder));
  field_->setAccessibleName(qs(research::kKeywordEntryPlaceholder));
  field_->installEventFilter(this);
  add_ = new QPushButton(qs(board::kAddToDraft), this);
  add_->setToolTip(qs(research::trackText::kAddHelp));
  add_->setAccessibleName(qs(board::kAddToDraft));
  add_->setAccessibleDescription(qs(research::trackText::kAddHelp));
  add_->setAutoDefault(false);

  draftModel_ = new QStandardItemModel(this);
  drafts_ = new QListView(this);
  drafts_->setModel(draftModel_);
  drafts_->setAccessibleName(qs(board::kDrafts));
  drafts_->setEditTriggers(QAbstractItemView::NoEditTriggers);
  drafts_->setSelectionMode(QAbstractItemView::ExtendedSelection);
  drafts_->installEventFilter(this);
  remove_ = new QPushButton(qs(board::kRemove), this);
  remove_->setToolTip(qs(research::trackText::kRemoveHelp));
  remove_->setAccessibleName(qs(research::trackText::kRemoveHelp));
  remove_->setAutoDefault(false);

  notice_ = new QLabel(this);
  notice_->setWordWrap(true);
  failure_ = new QLabel(this);
  failure_->setWordWrap(true);
  failure_->setTextInteractionFlags(Qt::TextSelectableByMouse | Qt::TextSelectableByKeyboard);
  failure_->setVisible(false);
  cost_ = new QLabel(this);
  costHint_ = new QLabel(qs(research::trackText::kCostHint), this);
  costHint_->setAccessibleName(costHint_->text());
  auto hintFont = costHint_->font();
  hintFont.setPointSizeF(hintFont.pointSizeF() * 0.9);
  costHint_->setFont(hintFont);
  costHint_->setForegroundRole(QPalette::PlaceholderText);

  auto* buttons = new QDialogButtonBox(this);
  confirm_ = buttons->addButton(QString(), QDialogButtonBox::AcceptRole);
  auto* cancel = buttons->addButton(qs(board::kCancel), QDialogButtonBox::RejectRole);
  cancel->setAccessibleName(qs(board::kCancel));
  confirm_->setAutoDefault(false);
  cancel->setAutoDefault(false);

  auto* form = new QFormLayout;
  form->addRow(qs(board::kOwner), owner_);
  form->addRow(qs(board::kCountry), country_);
  auto* entryRow = new QHBoxLayout;
  entryRow->addWidget(field_, 1);
  entryRow->addWidget(add_);
  auto* draftRow = new QHBoxLayout;
  draftRow->addWidget(drafts_, 1);
  draftRow->addWidget(remove_, 0, Qt::AlignTop);
  auto* layout = new QVBoxLayout(this);
  layout->addLayout(form);
  layout->addLayout(entryRow);
  layout->addWidget(notice_);
  layout->addLayout(draftRow, 1);
  layout->addWidget(cost_);
  layout->addWidget(costHint_);
  layout->addWidget(failure_);
  layout->addWidget(buttons);
  setTabOrder(owner_, country_);
  setTabOrder(country_, field_);
  setTabOrder(field_, add_);
  setTabOrder(add_, drafts_);
  setTabOrder(drafts_, remove_);

  connect(owner_, &QComboBox::currentIndexChanged, this, &AddKeywordsSheet::ownerChanged);
  connect(field_, &QLineEdit::textEdited, this, &AddKeywordsSheet::fieldEdited);
  connect(add_, &QPushButton::clicked, this, &AddKeywordsSheet::commitTyped);
  connect(remove_, &QPushButton::clicked, this, &AddKeywordsSheet::removeSelected);
  connect(drafts_->selectionModel(), &QItemSelectionModel::selectionChanged, this, &AddKeywordsSheet::render);
  connect(confirm_, &QPushButton::clicked, this, [this] { emit confirmed(entry_->drafts()); });
  connect(cancel, &QPushButton::clicked, this, &QDialog::reject);
  ownerChanged();
  field_->setFocus();
}

const AddKeywordsSheet::Owner& AddKeywordsSheet::owner() const {
  return owners_.at(static_cast<std::size_t>(std::max(owner_->currentIndex(), 0)));
}

void AddKeywordsSheet::showFailure(const QString& text) {
  failure_->setText(text);
  failure_->setAccessibleName(text);
  failure_->setVisible(!text.isEmpty());
}

std::string AddKeywordsSheet::country() const {
  return country_->currentData().toString().toStdString();
}

void AddKeywordsSheet::ownerChanged() {
  // The drafts belong to what they are added to: another owner starts a new draft, with that owner's
  // keywords as the ones already there, and the measured pairs of every app for the cost line.
  auto& store = services_.store();
  const auto& chosen = owner();
  std::unordered_set<std::string> stored;
  for (const auto& query :
       chosen.app ? store.queries().ofApp(chosen.app->rowId) : store.queries().ofSpace(chosen.space->rowId)) {
    stored.insert(base::queryKey(query.keyword, query.country));
  }
  std::unordered_set<std::string> measured;
  for (const auto& query : store.queries().measurable()) {
    measured.insert(base::queryKey(query.keyword, query.country));
  }
  entry_ =
      std::make_unique<research::KeywordEntry>(services_.core().monotonic(), std::move(stored), std::move(measured));
  draftsChanged_ = true;
  setWindowTitle(QString::fromStdString(board::addKeywordsTitle(ownerName(chosen).toStdString(), !chosen.app)));
  render();
}

void AddKeywordsSheet::fieldEdited(const QString& text) {
  const auto before = lastText_.toStdString();
  lastText_ = text;
  const auto outcome = entry_->fieldChanged(before, text.toStdString(), country());
  if (outcome && *outcome != research::CommitOutcome::nothingTyped) {
    field_->clear();
    lastText_.clear();
    draftsChanged_ = true;
  }
  render();
}

void AddKeywordsSheet::commitTyped() {
  const auto outcome = entry_->commit(field_->text().toStdString(), country());
  if (outcome != research::CommitOutcome::nothingTyped) {
    field_->clear();
    lastText_.clear();
    draftsChanged_ = true;
  }
  render();
}

void AddKeywordsSheet::removeSelected() {
  std::vector<std::string> ids;
  for (const auto& index : drafts_->selectionModel()->selectedRows()) {
    ids.push_back(index.data(Qt::UserRole).toString().toStdString());
  }
  for (const auto& id : ids) {
    entry_->remove(id);
  }
  draftsChanged_ = true;
  render();
}

void AddKeywordsSheet::render() {
  const bool isApp = owner().app.has_value();
  const auto& drafts = entry_->drafts();
  if (draftsChanged_) {
    draftsChanged_ = false;
    draftModel_->clear();
    for (const auto& draft : drafts) {
      QStringList parts{QString::fromStdString(draft.keyword), countryCode(draft.country)};
      if (isApp) {
        parts << qs(entry_->costLine(draft));
      }
      auto* item = new QStandardItem(parts.join(QString::fromUtf8(" · ")));
      item->setData(QString::fromStdString(draft.id), Qt::UserRole);
      item->setData(item->text(), Qt::AccessibleTextRole);
      item->setToolTip(qs(research::trackText::kRemoveHelp));
      draftModel_->appendRow(item);
    }
  }
  const auto& notice = entry_->notice();
  notice_->setText(notice ? QString::fromStdString(*notice) : QString());
  notice_->setAccessibleName(notice_->text());
  notice_->setVisible(notice.has_value());
  cost_->setText(QString::fromStdString(entry_->totalCostLine()));
  cost_->setAccessibleName(cost_->text());
  cost_->setVisible(isApp);
  costHint_->setVisible(isApp);
  remove_->setEnabled(drafts_->selectionModel()->hasSelection());
  const auto count = static_cast<std::int64_t>(drafts.size());
  confirm_->setText(QString::fromStdString(board::confirmAdd(count, !isApp)));
  confirm_->setAccessibleName(confirm_->text());
  confirm_->setEnabled(count > 0);
}

bool AddKeywordsSheet::eventFilter(QObject* watched, QEvent* event) {
  if (event->type() == QEvent::KeyPress) {
    const auto* key = static_cast<QKeyEvent*>(event);
    if (watched == drafts_ && (key->key() == Qt::Key_Delete || key->key() == Qt::Key_Backspace)) {
      removeSelected();
      return true;
    }
    // Return commits what is typed and nothing more: the dialog must not take it as its default button.
    // Ctrl+Return adds the drafts, so the whole sheet works without the mouse.
    if (watched == field_ && (key->key() == Qt::Key_Return || key->key() == Qt::Key_Enter)) {
      if (!key->modifiers().testFlag(Qt::ControlModifier)) {
        commitTyped();
      } else if (confirm_->isEnabled()) {
        confirm_->click();
      }
      return true;
    }
  }
  return QDialog::eventFilter(watched, event);
}

}  // namespace tovra::gui
