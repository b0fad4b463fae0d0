#include "app/gui/discover_signals_panel.h"

#include <QComboBox>
#include <QFormLayout>
#include <QHBoxLayout>
#include <QLabel>
#include <QLineEdit>
#include <QListView>
#include <QPushButton>
#include <QStandardItemModel>
#include <QToolButton>
#include <QVBoxLayout>

#include "app/gui/app_services.h"
#include "app/gui/discover_results.h"
#include "app/gui/gui_text.h"
#include "app/gui/research_models.h"
#include "app/research/discover_texts.h"
#include "app/research/keyword_signals.h"
#include "app/store/store_error.h"

namespace tovra::gui {

namespace {

QString joined(const std::vector<std::string>& lines) {
  QStringList texts;
  for (const auto& text : lines) {
    texts << qs(text);
  }
  return texts.join(QLatin1Char('\n'));
}

}  // namespace

DiscoverSignalsPanel::DiscoverSignalsPanel(AppServices& services, research::SignalsCheck& check, QWidget* parent)
    : QWidget(parent), services_(services), check_(check) {
  namespace label = research::discoverLabel;
  setAccessibleName(qs(label::kSignalsTab));
  keyword_ = new QLineEdit(this);
  keyword_->setAccessibleName(qs(label::kSignalsKeyword));
  keyword_->setPlaceholderText(qs(label::kSignalsKeyword));
  country_ = makeCountryBox(qs(label::kCountry), "us", this);
  read_ = new QPushButton(qs(label::kReadSignals), this);
  read_->setAccessibleName(qs(label::kReadSignals));
  status_ = textLine(this);
  difficulty_ = textLine(this);
  source_ = textLine(this);
  reach_ = textLine(this);
  probes_ = textLine(this);
  trailModel_ = new QStandardItemModel(this);
  trail_ = new QListView(this);
  trail_->setModel(trailModel_);
  trail_->setAccessibleName(qs(label::kProbeTrail));
  trail_->setEditTriggers(QAbstractItemView::NoEditTriggers);
  trail_->setMaximumHeight(120);
  problems_ = textLine(this);
  helpToggle_ = new QToolButton(this);
  helpToggle_->setText(qs(label::kShowHelp));
  helpToggle_->setAccessibleName(qs(label::kShowHelp));
  helpToggle_->setCheckable(true);
  helpToggle_->setChecked(true);
  helpToggle_->setArrowType(Qt::DownArrow);
  helpToggle_->setToolButtonStyle(Qt::ToolButtonTextBesideIcon);
  helpToggle_->setAutoRaise(true);
  help_ = textLine(this);
  const auto help = research::signalsHelp();
  // The first line is the help's title, set apart from the lines it heads.
  QStringList helpLines{QStringLiteral("<b>%1</b>").arg(qs(help.front()).toHtmlEscaped())};
  for (std::size_t i = 1; i < help.size(); ++i) {
    helpLines << qs(help[i]).toHtmlEscaped();
  }
  help_->setTextFormat(Qt::RichText);
  help_->setText(helpLines.join(QStringLiteral("<br><br>")));
  help_->setAccessibleName(qs(research::signalsText::kHelpTitle));
  help_->setForegroundRole(QPalette::PlaceholderText);

  auto* entry = new QHBoxLayout;
  entry->addWidget(keyword_, 1);
  entry->addWidget(read_);
  auto* countryRow = new QHBoxLayout;
  countryRow->addWidget(country_);
  countryRow->addStretch();
  auto* form = new QFormLayout;
  form->addRow(qs(label::kDifficulty), difficulty_);
  form->addRow(QString(), source_);
  form->addRow(qs(label::kReach), reach_);
  auto* layout = new QVBoxLayout(this);
  layout->addLayout(entry);
  layout->addLayout(countryRow);
  layout->addWidget(status_);
  layout->addLayout(form);
  layout->addWidget(probes_);
  layout->addWidget(trail_);
  layout->addWidget(problems_);
  layout->addWidget(helpToggle_, 0, Qt::AlignLeft);
  layout->addWidget(help_);
  layout->addStretch();

  connect(read_, &QPushButton::clicked, this, &DiscoverSignalsPanel::start);
  connect(keyword_, &QLineEdit::returnPressed, this, &DiscoverSignalsPanel::start);
  connect(helpToggle_, &QToolButton::toggled, this, [this](bool on) {
    help_->setVisible(on);
    helpToggle_->setArrowType(on ? Qt::DownArrow : Qt::RightArrow);
  });
  subscription_ = check_.changes().subscribe([this] { sync(); });
  showLine(*status_, {});
  showLine(*source_, {});
  showLine(*probes_, {});
  showLine(*problems_, {});
  trail_->setVisible(false);
  showLine(*difficulty_, kEmDash);
  showLine(*reach_, kEmDash);
}

void DiscoverSignalsPanel::setTarget(const std::string& keyword, const std::string& country) {
  if (std::holds_alternative<research::SignalsCheck::Running>(check_.phase())) {
    return;
  }
  keyword_->setText(qs(keyword));
  selectCountry(*country_, country);
  try {
    showSignals(research::storedSignals(services_.store(), keyword, country, services_.wall().now()));
    showLine(*status_, qs(research::discoverLabel::kStoredSignals));
  } catch (const store::StoreError& error) {
    showLine(*status_, qs(error.description()));
  }
  showLine(*probes_, {});
  showLine(*problems_, {});
  trailModel_->clear();
  trail_->setVisible(false);
  refreshWait();
}

void DiscoverSignalsPanel::refreshWait() {
  if (std::holds_alternative<research::SignalsCheck::Running>(check_.phase())) {
    return;
  }
  if (const auto reason = services_.core().requestGate().hintsWaitReason()) {
    shownWait_ = qs(*reason);
    showLine(*status_, shownWait_);
  } else if (!shownWait_.isEmpty() && status_->text() == shownWait_) {
    // The run or the hold is over: its reason goes with it.
    showLine(*status_, {});
    shownWait_.clear();
  }
}

void DiscoverSignalsPanel::start() {
  check_.start(keyword_->text().toStdString(), countryOf(*country_));
  sync();
}

void DiscoverSignalsPanel::showSignals(const research::KeywordSignals& read) {
  showLine(*difficulty_, qs(research::difficultyLine(read.difficulty)));
  QStringList source;
  if (read.difficultySource) {
    source << qs(*read.difficultySource);
  }
  if (read.difficultyAsOf) {
    source << localMinute(*read.difficultyAsOf);
  }
  showLine(*source_, source.join(QStringLiteral(" · ")));
  showLine(*reach_, qs(research::reachLine(read.reach)));
}

void DiscoverSignalsPanel::sync() {
  const auto& phase = check_.phase();
  const bool running = std::holds_alternative<research::SignalsCheck::Running>(phase);
  read_->setEnabled(!running);
  if (std::holds_alternative<research::SignalsCheck::Idle>(phase)) {
    if (check_.waitReason()) {
      shownWait_ = qs(*check_.waitReason());
      showLine(*status_, shownWait_);
    }
    return;
  }
  showLine(*status_, running ? qs(research::discoverLabel::kReadingSignals) : QString());
  if (const auto& reading = readingOf(check_)) {
    showSignals(*reading);
  }
  trailModel_->clear();
  for (const auto& step : check_.steps()) {
    const auto text = qs(research::probeTrailLine(step.prefix, step.letters, research::probeStepText(step)));
    auto* item = new QStandardItem(text);
    item->setData(text, Qt::AccessibleTextRole);
    trailModel_->appendRow(item);
  }
  trail_->setVisible(trailModel_->rowCount() > 0);
  if (const auto* finished = std::get_if<research::SignalsCheck::Finished>(&phase)) {
    showLine(*probes_, qs(research::probesLine(finished->summary)));
    showLine(*problems_, joined(research::signalsProblems(finished->summary, check_.saveFailure())));
  } else {
    showLine(*probes_, {});
    showLine(*problems_, {});
  }
  // A start turned away by a run or a hold leaves the last reading on screen, under the reason.
  if (check_.waitReason()) {
    shownWait_ = qs(*check_.waitReason());
    showLine(*status_, shownWait_);
  }
}

}  // namespace tovra::gui
