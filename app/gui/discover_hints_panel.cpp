#include "app/gui/discover_hints_panel.h"

#include <QComboBox>
#include <QHBoxLayout>
#include <QLabel>
#include <QLineEdit>
#include <QListView>
#include <QPushButton>
#include <QStandardItemModel>
#include <QVBoxLayout>

#include "app/gui/app_services.h"
#include "app/gui/discover_results.h"
#include "app/gui/gui_text.h"
#include "app/research/discover_texts.h"
#include "app/research/error_lead.h"
#include "app/research/hint_probe_model.h"
#include "app/research/keep_term.h"
#include "app/research/research_texts.h"
#include "app/store/store_error.h"
#include "app/store/watchlist_editor.h"

namespace tovra::gui {

namespace {

// The panel's lines start hidden: each shows once it has something to say.
QLabel* line(QWidget* parent) {
  auto* label = textLine(parent);
  label->setVisible(false);
  return label;
}

}  // namespace

DiscoverHintsPanel::DiscoverHintsPanel(AppServices& services, research::HintProbeModel& model, QWidget* parent)
    : QWidget(parent), services_(services), model_(model) {
  namespace label = research::discoverLabel;
  setAccessibleName(qs(label::kHintsTab));
  prefix_ = new QLineEdit(this);
  prefix_->setAccessibleName(qs(label::kHintPrefix));
  prefix_->setPlaceholderText(qs(label::kHintPrefix));
  country_ = makeCountryBox(qs(label::kCountry), "us", this);
  ask_ = new QPushButton(qs(label::kAskHints), this);
  ask_->setAccessibleName(qs(label::kAskHints));
  status_ = line(this);
  headline_ = line(this);
  auto bold = headline_->font();
  bold.setBold(true);
  headline_->setFont(bold);
  note_ = line(this);
  note_->setForegroundRole(QPalette::PlaceholderText);
  hintModel_ = new QStandardItemModel(this);
  hints_ = new QListView(this);
  hints_->setModel(hintModel_);
  hints_->setAccessibleName(qs(label::kHints));
  hints_->setEditTriggers(QAbstractItemView::NoEditTriggers);
  trail_ = line(this);
  trail_->setForegroundRole(QPalette::PlaceholderText);
  addToDraft_ = new QPushButton(qs(label::kAddHintToDraft), this);
  addToDraft_->setAccessibleName(qs(label::kAddHintToDraft));
  space_ = new QComboBox(this);
  space_->setAccessibleName(qs(label::kSpace));
  space_->setToolTip(qs(label::kSpace));
  // Its long placeholder must not widen the panel.
  space_->setSizeAdjustPolicy(QComboBox::AdjustToMinimumContentsLengthWithIcon);
  space_->setMinimumContentsLength(12);
  keep_ = new QPushButton(qs(label::kKeepHint), this);
  keep_->setAccessibleName(qs(label::kKeepHint));
  result_ = line(this);

  auto* entry = new QHBoxLayout;
  entry->addWidget(prefix_, 1);
  entry->addWidget(ask_);
  auto* countryRow = new QHBoxLayout;
  countryRow->addWidget(country_);
  countryRow->addStretch();
  auto* keepRow = new QHBoxLayout;
  keepRow->addWidget(space_, 1);
  keepRow->addWidget(keep_);
  auto* layout = new QVBoxLayout(this);
  layout->addLayout(entry);
  layout->addLayout(countryRow);
  layout->addWidget(status_);
  layout->addWidget(headline_);
  layout->addWidget(note_);
  layout->addWidget(hints_, 1);
  layout->addWidget(trail_);
  layout->addWidget(addToDraft_, 0, Qt::AlignRight);
  layout->addLayout(keepRow);
  layout->addWidget(result_);

  connect(ask_, &QPushButton::clicked, this, &DiscoverHintsPanel::ask);
  connect(prefix_, &QLineEdit::returnPressed, this, &DiscoverHintsPanel::ask);
  connect(addToDraft_, &QPushButton::clicked, this, [this] {
    const auto term = selectedHint();
    if (!term.empty()) {
      emit addToDraft(qs(term));
    }
  });
  connect(keep_, &QPushButton::clicked, this, &DiscoverHintsPanel::keepHint);
  subscription_ = model_.changes().subscribe([this] { sync(); });
  sync();
}

void DiscoverHintsPanel::setPrefix(const std::string& prefix, const std::string& country) {
  prefix_->setText(qs(prefix));
  selectCountry(*country_, country);
}

void DiscoverHintsPanel::setDraftOpen(bool open) {
  draftOpen_ = open;
  sync();
}

void DiscoverHintsPanel::refill() {
  fillSpaces(*space_, services_.store());
  sync();
}

void DiscoverHintsPanel::refreshWait() {
  if (model_.isProbing()) {
    return;
  }
  if (const auto reason = services_.core().requestGate().hintsWaitReason()) {
    showLine(*status_, qs(*reason));
  } else {
    sync();
  }
}

void DiscoverHintsPanel::ask() {
  if (prefix_->text().isEmpty()) {
    return;
  }
  showResult({});
  model_.ask(prefix_->text().toStdString(), countryOf(*country_));
}

std::string DiscoverHintsPanel::selectedHint() const {
  const auto index = hints_->currentIndex();
  return index.isValid() ? index.data(Qt::UserRole).toString().toStdString() : std::string();
}

void DiscoverHintsPanel::showResult(const QString& text) {
  showLine(*result_, text);
}

void DiscoverHintsPanel::keepHint() {
  const auto term = selectedHint();
  const auto space = spaceOf(*space_, services_.store());
  if (term.empty() || !space || !model_.outcome()) {
    return;
  }
  try {
    store::WatchlistWriter writer(services_.store(), services_.wall());
    const research::KeepTarget target{*space};
    const auto kept = research::keepTerm(writer, target, term, model_.outcome()->country,
                                         store::KeywordProvenance::carriedFromStoreHint);
    showResult(qs(research::keptText(kept, target)));
  } catch (const research::KeepTargetError& error) {
    showResult(QString::fromUtf8(error.what()));
    return;
  } catch (const store::StoreError& error) {
    showResult(qs(store::saveFailureText(error)));
    return;
  }
  emit wrote();
}

void DiscoverHintsPanel::sync() {
  namespace label = research::discoverLabel;
  ask_->setEnabled(!model_.isProbing());
  if (model_.isProbing()) {
    showLine(*status_, qs(label::kAskingHints));
  } else if (model_.waited()) {
    // A wait is told while it lasts: the reason as it stands now (a hold's countdown moves on).
    const auto reason = services_.core().requestGate().hintsWaitReason();
    showLine(*status_, reason ? qs(*reason) : QString());
  } else {
    showLine(*status_, model_.failure() ? qs(research::withErrorLead(*model_.failure())) : QString());
  }
  const auto& outcome = model_.outcome();
  const auto selected = selectedHint();
  hintModel_->clear();
  if (outcome) {
    showLine(*headline_, qs(research::hintsHeadline(outcome->prefix, outcome->country,
                                                    static_cast<std::int64_t>(outcome->terms.size()))));
    QStringList note;
    if (model_.storeNote()) {
      note << qs(*model_.storeNote());
    }
    if (model_.observedAt()) {
      note << localMinute(*model_.observedAt());
    }
    showLine(*note_, note.join(QStringLiteral(" · ")));
    for (const auto& term : outcome->terms) {
      const auto text = QStringLiteral("%1 · %2").arg(term.position).arg(qs(term.term));
      auto* item = new QStandardItem(text);
      item->setData(qs(term.term), Qt::UserRole);
      item->setData(text, Qt::AccessibleTextRole);
      hintModel_->appendRow(item);
      if (term.term == selected || (selected.empty() && hintModel_->rowCount() == 1)) {
        hints_->setCurrentIndex(item->index());
      }
    }
  } else {
    showLine(*headline_, {});
    showLine(*note_, {});
  }
  std::vector<std::pair<std::string, std::string>> steps;
  for (const auto& step : model_.trail()) {
    steps.emplace_back(step.prefix, step.country);
  }
  showLine(*trail_, qs(research::hintTrailText(steps)));
  const bool picked = hintModel_->rowCount() > 0;
  addToDraft_->setEnabled(picked && draftOpen_);
  addToDraft_->setToolTip(draftOpen_ ? QString() : qs(label::kNoDraftOpen));
  space_->setEnabled(hasSpaces(*space_));
  keep_->setEnabled(picked && hasSpaces(*space_));
}

}  // namespace tovra::gui
