#include "app/gui/discover_track_panel.h"

#include <QCheckBox>
#include <QComboBox>
#include <QHBoxLayout>
#include <QKeyEvent>
#include <QLabel>
#include <QLineEdit>
#include <QListView>
#include <QPushButton>
#include <QShortcut>
#include <QStandardItemModel>
#include <QVBoxLayout>

#include "app/gui/app_services.h"
#include "app/gui/discover_results.h"
#include "app/gui/gui_text.h"
#include "app/gui/research_models.h"
#include "app/research/discover_texts.h"
#include "app/research/keep_term.h"
#include "app/research/track_draft.h"
#include "app/store/store_error.h"
#include "app/store/watchlist_editor.h"

namespace tovra::gui {

DiscoverTrackPanel::DiscoverTrackPanel(AppServices& services, const research::DiscoverModel& discover, QWidget* parent)
    : QWidget(parent), services_(services), discover_(discover) {
  namespace label = research::discoverLabel;
  setAccessibleName(qs(label::kTrackTab));
  empty_ = textLine(this);
  showLine(*empty_, qs(label::kPickRow));
  content_ = new QWidget(this);

  app_ = textLine(content_);
  auto bold = app_->font();
  bold.setBold(true);
  app_->setFont(bold);
  foundFor_ = textLine(content_);
  tracked_ = textLine(content_);
  known_ = textLine(content_);
  mine_ = new QCheckBox(qs(label::kMine), content_);
  mine_->setAccessibleName(qs(label::kMine));

  typing_ = new QLineEdit(content_);
  typing_->setPlaceholderText(qs(research::trackText::kPlaceholder));
  typing_->setAccessibleName(qs(label::kKeywordField));
  typingCountry_ = makeCountryBox(qs(label::kTypingCountry), "us", content_);
  add_ = new QPushButton(qs(label::kAdd), content_);
  add_->setAccessibleName(qs(label::kAdd));
  add_->setToolTip(qs(research::trackText::kAddHelp));
  add_->setAccessibleDescription(qs(research::trackText::kAddHelp));

  draftModel_ = new QStandardItemModel(this);
  drafts_ = new QListView(content_);
  drafts_->setModel(draftModel_);
  drafts_->setAccessibleName(qs(label::kDrafts));
  drafts_->setEditTriggers(QAbstractItemView::NoEditTriggers);
  drafts_->setMinimumHeight(72);
  drafts_->setMaximumHeight(140);
  remove_ = new QPushButton(qs(label::kRemove), content_);
  remove_->setAccessibleName(qs(label::kRemove));
  remove_->setToolTip(qs(research::trackText::kRemoveHelp));
  remove_->setAccessibleDescription(qs(research::trackText::kRemoveHelp));
  notice_ = textLine(content_);
  total_ = textLine(content_);
  hint_ = textLine(content_);
  showLine(*hint_, qs(research::trackText::kCostHint));
  track_ = new QPushButton(qs(label::kConfirmTrack), content_);
  track_->setAccessibleName(qs(label::kConfirmTrack));
  track_->setDefault(false);
  space_ = new QComboBox(content_);
  space_->setAccessibleName(qs(label::kSpace));
  space_->setToolTip(qs(label::kSpace));
  // Its long placeholder must not widen the panel.
  space_->setSizeAdjustPolicy(QComboBox::AdjustToMinimumContentsLengthWithIcon);
  space_->setMinimumContentsLength(12);
  keep_ = new QPushButton(qs(label::kKeepTerm), content_);
  keep_->setAccessibleName(qs(label::kKeepTerm));
  result_ = textLine(this);
  showLine(*result_, {});

  auto* entry = new QHBoxLayout;
  entry->addWidget(typing_, 1);
  entry->addWidget(add_);
  auto* countryRow = new QHBoxLayout;
  countryRow->addWidget(typingCountry_);
  countryRow->addStretch();
  auto* removeRow = new QHBoxLayout;
  removeRow->addWidget(notice_, 1);
  removeRow->addStretch();
  removeRow->addWidget(remove_);
  auto* keepRow = new QHBoxLayout;
  keepRow->addWidget(space_, 1);
  keepRow->addWidget(keep_);

  auto* inner = new QVBoxLayout(content_);
  inner->setContentsMargins(0, 0, 0, 0);
  inner->addWidget(app_);
  inner->addWidget(foundFor_);
  inner->addWidget(tracked_);
  inner->addWidget(known_);
  inner->addWidget(mine_);
  inner->addLayout(entry);
  inner->addLayout(countryRow);
  inner->addWidget(drafts_);
  inner->addLayout(removeRow);
  inner->addWidget(total_);
  inner->addWidget(hint_);
  inner->addWidget(track_, 0, Qt::AlignRight);
  inner->addSpacing(8);
  inner->addLayout(keepRow);

  auto* layout = new QVBoxLayout(this);
  layout->addWidget(empty_);
  layout->addWidget(content_, 1);
  layout->addWidget(result_);
  layout->addStretch();

  connect(typing_, &QLineEdit::textEdited, this, [this](const QString& text) {
    if (draft_) {
      draft_->setTyping(text.toStdString());
    }
  });
  const auto add = [this] {
    if (draft_) {
      draft_->setTyping(typing_->text().toStdString());
      draft_->addTyped();
    }
  };
  connect(typing_, &QLineEdit::returnPressed, this, add);
  connect(add_, &QPushButton::clicked, this, add);
  connect(typingCountry_, &QComboBox::currentIndexChanged, this, [this] {
    if (draft_) {
      draft_->setTypingCountry(countryOf(*typingCountry_));
    }
  });
  connect(mine_, &QCheckBox::toggled, this, [this](bool on) {
    if (draft_) {
      draft_->setIsMine(on);
    }
  });
  connect(remove_, &QPushButton::clicked, this, &DiscoverTrackPanel::removeSelected);
  auto* removeKey = new QShortcut(QKeySequence::Delete, drafts_, nullptr, nullptr, Qt::WidgetShortcut);
  connect(removeKey, &QShortcut::activated, this, &DiscoverTrackPanel::removeSelected);
  connect(track_, &QPushButton::clicked, this, &DiscoverTrackPanel::confirm);
  connect(keep_, &QPushButton::clicked, this, &DiscoverTrackPanel::keepTerm);
  setDraft(nullptr);
}

void DiscoverTrackPanel::setDraft(research::TrackDraft* draft) {
  draft_ = draft;
  subscription_ = {};
  if (draft_) {
    subscription_ = draft_->changes().subscribe([this] { sync(); });
    const QSignalBlocker block(typingCountry_);
    selectCountry(*typingCountry_, draft_->typingCountry());
  }
  sync();
}

void DiscoverTrackPanel::refill() {
  fillSpaces(*space_, services_.store());
  sync();
}

void DiscoverTrackPanel::clearResult() {
  showLine(*result_, {});
}

void DiscoverTrackPanel::focusEntry() {
  if (draft_) {
    typing_->setFocus(Qt::OtherFocusReason);
  }
}

void DiscoverTrackPanel::sync() {
  empty_->setVisible(!draft_);
  content_->setVisible(draft_ != nullptr);
  const bool searched = discover_.searchedTerm().has_value();
  space_->setEnabled(searched && hasSpaces(*space_));
  keep_->setEnabled(searched && hasSpaces(*space_));
  if (!draft_) {
    draftModel_->clear();
    return;
  }
  const auto& app = draft_->app();
  showLine(*app_, qs(app.name) + QStringLiteral(" · ") + (app.developer.empty() ? kEmDash : qs(app.developer)));
  showLine(*foundFor_, draft_->foundFor() ? qs(research::foundForText(*draft_->foundFor())) : QString());
  const auto note = draft_->trackedNote();
  showLine(*tracked_, note ? qs(*note) : QString());
  showLine(*known_, draft_->isAlreadyTracked() ? qs(research::discoverText::kAppKnown) : QString());
  {
    const QSignalBlocker block(mine_);
    mine_->setChecked(draft_->isMine());
  }
  if (typing_->text().toStdString() != draft_->typing()) {
    typing_->setText(qs(draft_->typing()));
  }

  const auto current = drafts_->currentIndex().row();
  draftModel_->clear();
  for (const auto& keyword : draft_->keywords()) {
    const auto text = qs(keyword.keyword) + QStringLiteral(" · ") + countryCode(keyword.country) +
                      QStringLiteral(" · ") + qs(draft_->costLine(keyword));
    auto* item = new QStandardItem(text);
    item->setData(qs(keyword.id), Qt::UserRole);
    item->setData(text, Qt::AccessibleTextRole);
    draftModel_->appendRow(item);
  }
  if (draftModel_->rowCount() > 0) {
    drafts_->setCurrentIndex(draftModel_->index(std::clamp(current, 0, draftModel_->rowCount() - 1), 0));
  }
  remove_->setEnabled(draftModel_->rowCount() > 0);
  showLine(*notice_, draft_->typingNotice() ? qs(*draft_->typingNotice()) : QString());
  showLine(*total_, qs(draft_->totalCostLine()));
}

void DiscoverTrackPanel::removeSelected() {
  const auto index = drafts_->currentIndex();
  if (draft_ && index.isValid()) {
    draft_->remove(index.data(Qt::UserRole).toString().toStdString());
  }
}

void DiscoverTrackPanel::showResult(const std::string& text) {
  showLine(*result_, qs(text));
}

void DiscoverTrackPanel::confirm() {
  if (!draft_ || !discover_.searchedTerm() || !discover_.searchedCountry()) {
    return;
  }
  try {
    store::WatchlistWriter writer(services_.store(), services_.wall());
    const auto receipt = research::confirmTrackDraft(services_.store(), writer, *draft_);
    const auto kept = research::keptByTrackDraft(receipt, *discover_.searchedTerm(), *discover_.searchedCountry());
    showResult(research::trackedText(receipt, kept));
  } catch (const store::StoreError& error) {
    showResult(store::saveFailureText(error));
    return;
  }
  emit wrote();
}

void DiscoverTrackPanel::keepTerm() {
  const auto space = spaceOf(*space_, services_.store());
  if (!space) {
    return;
  }
  try {
    store::WatchlistWriter writer(services_.store(), services_.wall());
    const auto kept = discover_.keepInSpace(writer, *space);
    showResult(research::keptText(kept, research::KeepTarget{*space}));
  } catch (const research::KeepTargetError& error) {
    showResult(error.what());
    return;
  } catch (const store::StoreError& error) {
    showResult(store::saveFailureText(error));
    return;
  }
  emit wrote();
}

}  // namespace tovra::gui
