#include "app/gui/run_sheet.h"

#include <QHBoxLayout>
#include <QLabel>
#include <QListWidget>
#include <QProgressBar>
#include <QPushButton>
#include <QVBoxLayout>

#include "app/base/keyword_key.h"
#include "app/gui/app_services.h"
#include "app/gui/gui_text.h"
#include "app/measure/measure_texts.h"
#include "app/measure/run_notification.h"
#include "app/research/error_lead.h"

namespace tovra::gui {

namespace {

namespace texts = measure::texts;

std::string targetText(const measure::RequestTarget& target) {
  return target.keyword + std::string(texts::kJoin) + base::upperCountry(target.country);
}

// The report in the words the command line uses: each ranked and outside line, the failures, the source,
// then the notification's title and body.
QString reportText(const measure::RunReport& report) {
  QStringList lines;
  lines << QString::fromStdString(measure::notificationTitle(report));
  lines << QString::fromStdString(measure::notificationBody(report));
  for (const auto& line : report.ranked) {
    lines << QStringLiteral("#%1  %2").arg(line.rank).arg(QString::fromStdString(line.label));
  }
  for (const auto& line : report.outside) {
    lines << QString::fromStdString(line.label + std::string(texts::kJoin) + texts::notFound(line.depth));
  }
  std::vector<std::string> messages;
  for (const auto& failure : report.failures) {
    messages.push_back(failure.message);
  }
  // One plain line per kind of failure above the failures themselves, as the command line prints them.
  for (const auto lead : research::errorLeads(messages)) {
    lines << qs(lead);
  }
  for (const auto& failure : report.failures) {
    lines << QString::fromStdString(failure.app + std::string(texts::kJoin) + targetText(failure.target) +
                                    std::string(texts::kJoin) + failure.message);
  }
  lines << QString::fromStdString(texts::sourceLine(report.source));
  return lines.join(QLatin1Char('\n'));
}

}  // namespace

RunSheet::RunSheet(AppServices& services, QWidget* parent) : QDialog(parent), services_(services) {
  setWindowTitle(qs(texts::kSheetTitle));
  setAccessibleName(windowTitle());
  setMinimumWidth(520);
  plan_ = new QLabel(this);
  plan_->setWordWrap(true);
  status_ = new QLabel(this);
  status_->setWordWrap(true);
  progress_ = new QProgressBar(this);
  progress_->setAccessibleName(qs(texts::kSheetProgress));
  askedHeading_ = new QLabel(qs(texts::kAskedSoFar), this);
  askedHeading_->setAccessibleName(askedHeading_->text());
  asked_ = new QListWidget(this);
  asked_->setAccessibleName(askedHeading_->text());
  report_ = new QLabel(this);
  report_->setWordWrap(true);
  report_->setTextInteractionFlags(Qt::TextSelectableByMouse | Qt::TextSelectableByKeyboard);
  stop_ = new QPushButton(qs(texts::kSheetStop), this);
  stop_->setIcon(QIcon(QStringLiteral(":/icons/stop.svg")));
  stop_->setAccessibleName(qs(texts::kSheetStop));
  close_ = new QPushButton(qs(texts::kSheetClose), this);
  close_->setAccessibleName(qs(texts::kSheetClose));
  auto* buttons = new QHBoxLayout;
  buttons->addStretch(1);
  buttons->addWidget(stop_);
  buttons->addWidget(close_);
  auto* layout = new QVBoxLayout(this);
  layout->addWidget(plan_);
  layout->addWidget(status_);
  layout->addWidget(progress_);
  layout->addWidget(askedHeading_);
  layout->addWidget(asked_, 1);
  layout->addWidget(report_);
  layout->addLayout(buttons);
  connect(stop_, &QPushButton::clicked, this, [this] { services_.runner().stop(); });
  connect(close_, &QPushButton::clicked, this, &QDialog::hide);
  auto& runSignals = services.runnerSignals();
  connect(&runSignals, &RunnerSignals::changed, this, &RunSheet::render);
  connect(&runSignals, &RunnerSignals::progressed, this, &RunSheet::render);
  connect(&runSignals, &RunnerSignals::reported, this, &RunSheet::render);
}

void RunSheet::showPlan() {
  const auto& live = services_.runner().live();
  if (!live) {
    render();
    return;
  }
  const auto requests = static_cast<std::int64_t>(live->plan.size());
  const auto lastRun = services_.store().runs().latest();
  std::string text;
  if (lastRun && lastRun->finishedAt) {
    text += texts::lastMeasured(*lastRun->finishedAt, live->startedAt, services_.calendar()) + " ";
  }
  text += std::string(texts::kOfferExplanation) + "\n" + texts::planSummary(live->queryCount, requests) + "\n" +
          texts::pacingNote(requests) + std::string(texts::kJoin) + std::string(texts::kRanksLand);
  plan_->setText(QString::fromStdString(text));
  plan_->setAccessibleName(plan_->text());
  report_->clear();
  render();
}

void RunSheet::render() {
  const auto& runner = services_.runner();
  const auto& live = runner.live();
  stop_->setVisible(live.has_value());
  progress_->setVisible(live.has_value());
  if (live) {
    const auto total = static_cast<int>(live->plan.size());
    progress_->setRange(0, std::max(total, 1));
    progress_->setValue(static_cast<int>(live->completedRequests));
    const auto line = texts::liveLine(*live);
    status_->setText(QString::fromStdString(line));
    stop_->setEnabled(!live->stopRequested);
    asked_->clear();
    for (const auto& request : live->done) {
      asked_->addItem(QString::fromStdString(texts::progressLine(request, total)));
    }
  } else {
    std::string line;
    if (const auto seconds = runner.cooldownSecondsLeft(); seconds && *seconds > 0) {
      line = runner.report() && runner.report()->ending == measure::RunReport::Ending::halted
                 ? texts::cooldownLong(*seconds, runner.report()->haltCause)
                 : texts::cooldownShort(*seconds);
    }
    status_->setText(QString::fromStdString(line));
    if (const auto& report = runner.report()) {
      report_->setText(reportText(*report));
    }
  }
  status_->setAccessibleName(status_->text().isEmpty() ? qs(texts::kSheetStatus) : status_->text());
  report_->setAccessibleName(report_->text().isEmpty() ? qs(texts::kSheetReport) : report_->text());
}

}  // namespace tovra::gui
