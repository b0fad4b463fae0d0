#include "app/gui/apps_view.h"

#include <QStandardItemModel>

#include "app/gui/app_services.h"
#include "app/gui/gui_text.h"
#include "app/gui/records_page.h"
#include "app/measure/measure_texts.h"
#include "app/measure/today_queue.h"
#include "app/store/footprint.h"

namespace tovra::gui {

namespace {

void fillApps(AppServices& services, RecordsPage& page) {
  auto& store = services.store();
  auto& model = *page.model();
  model.setHorizontalHeaderLabels(
      {QStringLiteral("App or keyword"), QStringLiteral("Country"), QStringLiteral("Developer or state")});
  const auto apps = store.apps().all();
  auto* appsGroup = page.group(QStringLiteral("Apps"), apps.size());
  for (const auto& app : apps) {
    auto* appRow = RecordsPage::cell(QString::fromStdString(app.displayName) +
                                     (app.isMine ? QStringLiteral(" · mine") : QString()));
    appsGroup->appendRow(
        {appRow, RecordsPage::cell(QString()), RecordsPage::cell(QString::fromStdString(app.developer))});
    for (const auto& query : store.queries().ofApp(app.rowId)) {
      RecordsPage::addRow(*appRow, {QString::fromStdString(query.keyword), countryCode(query.country),
                                    query.isPaused ? qs(measure::kPaused) : QString()});
    }
  }
  const auto spaces = store.spaces().all();
  auto* spacesGroup = page.group(QStringLiteral("Research spaces"), spaces.size());
  for (const auto& space : spaces) {
    auto* spaceRow = RecordsPage::cell(QString::fromStdString(space.name));
    spacesGroup->appendRow(
        {spaceRow, RecordsPage::cell(QString()), RecordsPage::cell(qs(measure::texts::kResearchSpaceNotMeasured))});
    for (const auto& query : store.queries().ofSpace(space.rowId)) {
      RecordsPage::addRow(*spaceRow, {QString::fromStdString(query.keyword), countryCode(query.country), QString()});
    }
  }
  page.setSummary(QString::fromStdString(
      store::storeSummary(store::StoreFootprint::measure(store), store::StoreInventory::count(store))));
}

}  // namespace

ViewPage* makeAppsView(AppServices& services, QWidget* parent) {
  return new RecordsPage(QStringLiteral("Apps"), services, fillApps, parent);
}

}  // namespace tovra::gui
