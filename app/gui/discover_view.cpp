#include "app/gui/discover_view.h"

#include <QStandardItemModel>
#include <algorithm>

#include "app/gui/app_services.h"
#include "app/gui/gui_text.h"
#include "app/gui/records_page.h"
#include "app/measure/measure_texts.h"

namespace tovra::gui {

namespace {

void fillDiscover(AppServices& services, RecordsPage& page) {
  auto ladders = services.store().ladders().all();
  std::stable_sort(ladders.begin(), ladders.end(),
                   [](const auto& a, const auto& b) { return a.fetchedAt > b.fetchedAt; });
  auto& model = *page.model();
  model.setHorizontalHeaderLabels(
      {QStringLiteral("Keyword"), QStringLiteral("Country"), QStringLiteral("Results"), QStringLiteral("Saved")});
  auto* parent = page.group(QStringLiteral("Saved searches"), ladders.size());
  for (const auto& ladder : ladders) {
    RecordsPage::addRow(*parent, {QString::fromStdString(ladder.keyword), countryCode(ladder.country),
                                  QString::number(ladder.resultCount), localMinute(ladder.fetchedAt)});
  }
  page.setSummary(QString::fromStdString(measure::texts::sourceLine("appstore")));
}

}  // namespace

ViewPage* makeDiscoverView(AppServices& services, QWidget* parent) {
  return new RecordsPage(QStringLiteral("Discover"), services, fillDiscover, parent);
}

}  // namespace tovra::gui
