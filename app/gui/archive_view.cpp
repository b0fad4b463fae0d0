#include "app/gui/archive_view.h"

#include <QStandardItemModel>
#include <algorithm>

#include "app/gui/app_services.h"
#include "app/gui/gui_text.h"
#include "app/gui/records_page.h"
#include "app/measure/measure_texts.h"
#include "app/measure/run_report.h"

namespace tovra::gui {

namespace {

void fillArchive(AppServices& services, RecordsPage& page) {
  auto runs = services.store().runs().all();
  std::stable_sort(runs.begin(), runs.end(), [](const auto& a, const auto& b) { return a.startedAt > b.startedAt; });
  auto& model = *page.model();
  model.setHorizontalHeaderLabels(
      {QStringLiteral("Finished"), QStringLiteral("Keywords"), QStringLiteral("Requests"), QStringLiteral("Ending")});
  auto* parent = page.group(QStringLiteral("Measured days"), runs.size());
  for (const auto& run : runs) {
    const auto ending = run.halted    ? measure::RunReport::Ending::halted
                        : run.stopped ? measure::RunReport::Ending::stopped
                                      : measure::RunReport::Ending::finished;
    RecordsPage::addRow(*parent,
                        {run.finishedAt ? localMinute(*run.finishedAt) : kEmDash, QString::number(run.queryCount),
                         QString::number(run.requestCount), qs(measure::endingName(ending))});
  }
  page.setSummary(QString::fromStdString(measure::texts::keywordCount(services.store().queries().count())));
}

}  // namespace

ViewPage* makeArchiveView(AppServices& services, QWidget* parent) {
  return new RecordsPage(QStringLiteral("Archive"), services, fillArchive, parent);
}

}  // namespace tovra::gui
