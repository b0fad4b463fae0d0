#include "app/gui/add_app_sheet.h"

#include <QApplication>
#include <QCheckBox>
#include <QClipboard>
#include <QComboBox>
#include <QDialogButtonBox>
#include <QHBoxLayout>
#include <QKeyEvent>
#include <QLabel>
#include <QLineEdit>
#include <QListView>
#include <QMenu>
#include <QPushButton>
#include <QStandardItemModel>
#include <QToolButton>
#include <QVBoxLayout>

#include "AsoKit/storefront.h"
#include "app/gui/add_keywords_sheet.h"
#include "app/gui/app_services.h"
#include "app/gui/gui_text.h"
#include "app/research/country_name.h"
#include "app/research/error_lead.h"
#include "app/shell/watchlist_board.h"

namespace tovra::gui {

namespace board = shell::board;
namespace text = research::resolverText;
using Model = research::AppResolverModel;

namespace {

constexpr int kResultIcon = 40;
constexpr const char* kDefaultCountry = "us";

QLabel* wrapped(const QString& words, QWidget* parent, bool small = false) {
  auto* label = new QLabel(words, parent);
  label->setWordWrap(true);
  label->setAccessibleName(words);
  if (small) {
    auto font = label->font();
    font.setPointSizeF(font.pointSizeF() * 0.9);
    label->setFont(font);
    label->setForegroundRole(QPalette::PlaceholderText);
  }
  return label;
}

void say(QLabel* label, const QString& words) {
  label->setText(words);
  label->setAccessibleName(words);
  label->setVisible(!words.isEmpty());
}

}  // namespace

AddAppSheet::AddAppSheet(AppServices& services, research::ResolverLookup lookup, research::ResolverSearch search,
                         const QString& title, const QString& confirmText, QWidget* parent)
    : QDialog(parent), services_(services) {
  setModal(true);
  setWindowTitle(title);
  setAccessibleName(title);
  setMinimumWidth(620);
  // No separate warming of the icon cache: listing the results asks for each one's artwork, which starts
  // its fetch off the main thread, and the list repaints when it arrives.
  model_ = std::make_unique<Model>(std::move(lookup), std::move(search), services.queue());

  auto* prompt = wrapped(qs(text::kPrompt), this);
  field_ = new QLineEdit(this);
  field_->setPlaceholderText(qs(text::kFieldPlaceholder));
  field_->setAccessibleName(qs(text::kFieldPlaceholder));
  field_->installEventFilter(this);
  country_ = new QComboBox(this);
  country_->setAccessibleName(qs(board::kCountry));
  fillCountries(*country_, kDefaultCountry);
  resolve_ = new QPushButton(qs(board::kResolve), this);
  resolve_->setAccessibleName(qs(board::kResolve));
  resolve_->setAutoDefault(false);
  auto* returnResolves = wrapped(qs(text::kReturnResolves), this, true);
  auto* storefrontHint = wrapped(qs(text::kStorefrontHint), this, true);
  copiedLink_ = new QPushButton(qs(text::kUseCopiedLink), this);
  copiedLink_->setAccessibleName(qs(text::kUseCopiedLink));
  copiedLink_->setAutoDefault(false);
  copiedNote_ = wrapped(QString(), this);

  status_ = wrapped(QString(), this);
  status_->setTextInteractionFlags(Qt::TextSelectableByMouse | Qt::TextSelectableByKeyboard);
  namesDiffer_ = wrapped(qs(text::kNamesDiffer), this, true);
  retry_ = new QToolButton(this);
  retry_->setText(qs(text::kTryAnotherCountry));
  retry_->setAccessibleName(qs(text::kTryAnotherCountry));
  retry_->setToolTip(qs(text::kTryAnotherCountryHelp));
  retry_->setAccessibleDescription(qs(text::kTryAnotherCountryHelp));
  retry_->setPopupMode(QToolButton::InstantPopup);
  auto* retryMenu = new QMenu(retry_);
  for (const auto code : asokit::storefront::knownCodes()) {
    const std::string country(code);
    auto* action = retryMenu->addAction(QString::fromStdString(research::countryDisplayName(country)) +
                                        QStringLiteral(" (") + countryCode(country) + QStringLiteral(")"));
    connect(action, &QAction::triggered, this, [this, country] {
      country_->setCurrentIndex(country_->findData(QString::fromStdString(country)));
      model_->retryInCountry(country);
    });
  }
  retry_->setMenu(retryMenu);

  resultModel_ = new QStandardItemModel(this);
  results_ = new QListView(this);
  results_->setModel(resultModel_);
  results_->setAccessibleName(qs(board::kFound));
  results_->setIconSize(QSize(kResultIcon, kResultIcon));
  results_->setEditTriggers(QAbstractItemView::NoEditTriggers);
  results_->setSpacing(2);
  results_->installEventFilter(this);
  clickYourApp_ = wrapped(qs(text::kClickYourApp), this, true);
  returnAdds_ = wrapped(qs(text::kReturnAdds), this, true);
  pickNote_ = wrapped(qs(text::kPickNote), this);
  failure_ = wrapped(QString(), this);
  failure_->setVisible(false);

  mine_ = new QCheckBox(qs(board::kMineClaim), this);
  mine_->setAccessibleName(qs(board::kMineClaim));
  auto* buttons = new QDialogButtonBox(this);
  confirm_ = buttons->addButton(confirmText, QDialogButtonBox::AcceptRole);
  confirm_->setAccessibleName(confirmText);
  confirm_->setAutoDefault(false);
  auto* cancel = buttons->addButton(qs(board::kCancel), QDialogButtonBox::RejectRole);
  cancel->setAccessibleName(qs(board::kCancel));
  cancel->setAutoDefault(false);

  auto* entryRow = new QHBoxLayout;
  entryRow->addWidget(field_, 1);
  entryRow->addWidget(country_);
  entryRow->addWidget(resolve_);
  auto* linkRow = new QHBoxLayout;
  linkRow->addWidget(copiedLink_);
  linkRow->addWidget(copiedNote_, 1);
  linkRow->addStretch();
  auto* retryRow = new QHBoxLayout;
  retryRow->addWidget(namesDiffer_, 1);
  retryRow->addWidget(retry_, 0, Qt::AlignTop);
  auto* layout = new QVBoxLayout(this);
  layout->addWidget(prompt);
  layout->addLayout(entryRow);
  layout->addWidget(returnResolves);
  layout->addWidget(storefrontHint);
  layout->addLayout(linkRow);
  layout->addWidget(status_);
  layout->addLayout(retryRow);
  layout->addWidget(results_, 1);
  layout->addWidget(clickYourApp_);
  layout->addWidget(returnAdds_);
  layout->addWidget(pickNote_);
  layout->addWidget(mine_);
  layout->addWidget(failure_);
  layout->addWidget(buttons);
  setTabOrder(field_, country_);
  setTabOrder(country_, resolve_);
  setTabOrder(resolve_, copiedLink_);
  setTabOrder(copiedLink_, retry_);
  setTabOrder(retry_, results_);
  setTabOrder(results_, mine_);

  connect(resolve_, &QPushButton::clicked, this, &AddAppSheet::resolve);
  connect(copiedLink_, &QPushButton::clicked, this, &AddAppSheet::useCopiedLink);
  connect(results_->selectionModel(), &QItemSelectionModel::currentChanged, this, [this](const QModelIndex& index) {
    const auto* results = std::get_if<Model::Results>(&model_->phase());
    if (!following_ && results && index.isValid() && index.row() < static_cast<int>(results->apps.size())) {
      model_->select(results->apps[static_cast<std::size_t>(index.row())]);
    }
  });
  connect(results_, &QListView::doubleClicked, this, &AddAppSheet::confirm);
  connect(confirm_, &QPushButton::clicked, this, &AddAppSheet::confirm);
  connect(cancel, &QPushButton::clicked, this, &QDialog::reject);
  connect(&services.icons(), &AppIcons::arrived, this, [this] {
    shownRequest_ = -1;
    render();
  });
  subscription_ = model_->changes().subscribe([this] { render(); });
  render();
  field_->setFocus();
}

void AddAppSheet::resolve() {
  say(copiedNote_, QString());
  model_->resolve(field_->text().toStdString(), country_->currentData().toString().toStdString());
}

void AddAppSheet::useCopiedLink() {
  const auto pasted = QApplication::clipboard()->text();
  const auto refused = model_->useCopiedLink(pasted.toStdString(), country_->currentData().toString().toStdString());
  if (refused) {
    say(copiedNote_, qs(*refused));
    return;
  }
  say(copiedNote_, QString());
  field_->setText(pasted.trimmed());
}

void AddAppSheet::showFailure(const QString& words) {
  say(failure_, words);
  adjustSize();
}

void AddAppSheet::returnPressed() {
  // Return adds the selected app once the field holds what found it; any other text is resolved first.
  const auto& resolved = model_->resolved();
  if (model_->selected() && resolved && resolved->raw == field_->text().toStdString()) {
    confirm();
    return;
  }
  resolve();
}

void AddAppSheet::confirm() {
  if (const auto& selected = model_->selected()) {
    emit chosen(*selected, mine_->isChecked());
  }
}

void AddAppSheet::fillResults(const std::vector<research::DiscoveredApp>& apps) {
  resultModel_->clear();
  for (const auto& app : apps) {
    QStringList facts{app.developer.empty() ? kEmDash : QString::fromStdString(app.developer),
                      app.bundleId ? QString::fromStdString(*app.bundleId) : qs(text::kNoBundleId)};
    const auto name = QString::fromStdString(app.name);
    auto* item =
        new QStandardItem(services_.icons().pixmap(app.artworkUrl512 ? app.artworkUrl512 : app.iconUrl, kResultIcon),
                          name + QStringLiteral("\n") + facts.join(QString::fromUtf8(" · ")));
    item->setData(name + QString::fromUtf8(" · ") + facts.join(QString::fromUtf8(" · ")), Qt::AccessibleTextRole);
    resultModel_->appendRow(item);
  }
}

void AddAppSheet::render() {
  const auto& phase = model_->phase();
  const auto* results = std::get_if<Model::Results>(&phase);
  QString status;
  if (std::holds_alternative<Model::Resolving>(phase)) {
    status = qs(text::kResolving);
  } else if (const auto* failed = std::get_if<Model::Failed>(&phase)) {
    status = qs(research::withErrorLead(failed->message));
  } else if (std::holds_alternative<Model::Absent>(phase)) {
    const auto noMatch = model_->noMatchText();
    status = noMatch ? QString::fromStdString(*noMatch)
                     : QString::fromStdString(research::noAppText(
                           research::AppResolverInput::classify(model_->resolved() ? model_->resolved()->raw : ""),
                           model_->resolved() ? model_->resolved()->country : ""));
  }
  say(status_, status);
  const bool noMatch = std::holds_alternative<Model::Absent>(phase) && model_->noMatchText();
  namesDiffer_->setVisible(noMatch);
  retry_->setVisible(noMatch);

  if (!results) {
    resultModel_->clear();
    shownRequest_ = -1;
  } else if (shownRequest_ != model_->requestCount()) {
    fillResults(results->apps);
    shownRequest_ = model_->requestCount();
  }
  results_->setVisible(results != nullptr);
  const bool several = results && results->apps.size() > 1;
  clickYourApp_->setVisible(several);
  returnAdds_->setVisible(several);
  pickNote_->setVisible(model_->pickNote().has_value());
  if (results && model_->selected()) {
    for (std::size_t i = 0; i < results->apps.size(); ++i) {
      if (results->apps[i] == *model_->selected() && results_->currentIndex().row() != static_cast<int>(i)) {
        // The list follows the model's pick; that is not the user choosing, which would drop the pick's note.
        following_ = true;
        results_->setCurrentIndex(resultModel_->index(static_cast<int>(i), 0));
        following_ = false;
      }
    }
  }
  confirm_->setEnabled(model_->selected().has_value());
  // Lines come and go with the phase; the sheet grows and shrinks with them instead of clipping them.
  adjustSize();
}

bool AddAppSheet::eventFilter(QObject* watched, QEvent* event) {
  if ((watched == results_ || watched == field_) && event->type() == QEvent::KeyPress) {
    const auto key = static_cast<QKeyEvent*>(event)->key();
    // Return resolves or adds here; the dialog must not take it as its default button as well.
    if (key == Qt::Key_Return || key == Qt::Key_Enter) {
      if (watched == field_) {
        returnPressed();
      } else {
        confirm();
      }
      return true;
    }
  }
  return QDialog::eventFilter(watched, event);
}

}  // namespace tovra::gui
