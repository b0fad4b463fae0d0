#include "app/gui/discover_check_sheet.h"

#include <QComboBox>
#include <QDialogButtonBox>
#include <QFormLayout>
#include <QLabel>
#include <QLineEdit>
#include <QPushButton>
#include <QVBoxLayout>

#include "app/gui/app_services.h"
#include "app/gui/discover_results.h"
#include "app/gui/gui_text.h"
#include "app/measure/measurement_runner.h"
#include "app/research/discover_texts.h"
#include "app/research/error_lead.h"
#include "app/research/keep_term.h"
#include "app/research/keyword_check_model.h"
#include "app/research/research_texts.h"
#include "app/store/keyword_draft.h"
#include "app/store/records.h"
#include "app/store/store_error.h"
#include "app/store/watchlist_editor.h"

namespace tovra::gui {

namespace {

void setLine(QLabel& label, const QString& text) {
  label.setText(text);
  label.setAccessibleName(text);
  label.setVisible(!text.isEmpty());
}

}  // namespace

DiscoverCheckSheet::DiscoverCheckSheet(AppServices& services, const std::string& keyword, const std::string& country,
                                       const std::optional<std::string>& appStoreId, QWidget* parent)
    : QDialog(parent), services_(services), refused_(std::make_shared<std::atomic<bool>>(false)) {
  namespace label = research::discoverLabel;
  setWindowTitle(qs(label::kCheckTitle));
  setAccessibleName(qs(label::kCheckTitle));
  app_ = new QComboBox(this);
  app_->setAccessibleName(qs(label::kCheckApp));
  for (const auto& app : services_.store().apps().all()) {
    app_->addItem(qs(app.displayName), qs(app.appStoreId));
  }
  if (appStoreId) {
    const auto row = app_->findData(qs(*appStoreId));
    if (row >= 0) {
      app_->setCurrentIndex(row);
    }
  }
  keyword_ = new QLineEdit(qs(keyword), this);
  keyword_->setAccessibleName(qs(label::kCheckKeyword));
  country_ = makeCountryBox(qs(label::kCountry), country, this);
  headline_ = new QLabel(this);
  headline_->setWordWrap(true);
  status_ = new QLabel(this);
  status_->setWordWrap(true);
  kept_ = new QLabel(this);
  kept_->setWordWrap(true);
  check_ = new QPushButton(qs(label::kCheck), this);
  check_->setAccessibleName(qs(label::kCheck));
  check_->setDefault(true);
  track_ = new QPushButton(qs(research::checkText::kTrackThis), this);
  track_->setAccessibleName(qs(research::checkText::kTrackThis));
  auto* buttons = new QDialogButtonBox(this);
  buttons->addButton(track_, QDialogButtonBox::ActionRole);
  buttons->addButton(check_, QDialogButtonBox::AcceptRole);
  auto* close = buttons->addButton(qs(label::kClose), QDialogButtonBox::RejectRole);
  close->setAccessibleName(qs(label::kClose));
  connect(buttons, &QDialogButtonBox::rejected, this, &QDialog::reject);

  auto* form = new QFormLayout;
  form->addRow(qs(label::kCheckApp), app_);
  form->addRow(qs(label::kCheckKeyword), keyword_);
  form->addRow(qs(label::kCountry), country_);
  auto* layout = new QVBoxLayout(this);
  layout->addLayout(form);
  layout->addWidget(headline_);
  layout->addWidget(status_);
  layout->addWidget(kept_);
  layout->addWidget(buttons);

  model_ = std::make_unique<research::KeywordCheckModel>(
      [&services, refused = refused_](const std::vector<asokit::RankQuery>& queries, std::stop_token cancel) {
        auto outcome =
            services.core().client().rank(queries, measure::MeasurementRunner::kMaxConsecutiveFailures, {}, {}, cancel);
        *refused = outcome.refused;
        return outcome;
      },
      [&services] { return services.runningElsewhere() || services.runner().isLive(); },
      [&services] { return services.core().client().cooldownSecondsLeft(); },
      [this](const research::KeywordCheckRequest& request) {
        store::WatchlistWriter writer(services_.store(), services_.wall());
        const auto kept = research::keepTerm(writer, research::KeepTarget{request.app}, request.keyword,
                                             request.country, store::KeywordProvenance::typedByUser);
        setLine(*kept_, qs(research::checkTrackedText(kept, request.app)));
      },
      services.queue());
  subscription_ = model_->changes().subscribe([this] { sync(); });
  connect(check_, &QPushButton::clicked, this, &DiscoverCheckSheet::check);
  connect(track_, &QPushButton::clicked, this, &DiscoverCheckSheet::track);
  setLine(*kept_, {});
  sync();
}

DiscoverCheckSheet::~DiscoverCheckSheet() = default;

void DiscoverCheckSheet::check() {
  const auto appStoreId = app_->currentData().toString().toStdString();
  const auto app = services_.store().apps().findByAppStoreId(appStoreId);
  if (!app) {
    return;
  }
  const auto keyword = keyword_->text().trimmed().toStdString();
  if (keyword.empty()) {
    return;
  }
  *refused_ = false;
  setLine(*kept_, {});
  setLine(*headline_, qs(research::checkHeadline(app->displayName, keyword, countryOf(*country_))));
  model_->check(research::KeywordCheckRequest{store::randomUuid(), *app, keyword, countryOf(*country_)});
  sync();
}

void DiscoverCheckSheet::track() {
  try {
    model_->track();
  } catch (const store::StoreError& error) {
    setLine(*kept_, qs(store::saveFailureText(error)));
    return;
  }
  emit wrote();
}

void DiscoverCheckSheet::sync() {
  const auto& phase = model_->phase();
  const bool checking = std::holds_alternative<research::KeywordCheckModel::Checking>(phase);
  if (!checking && refused_->exchange(false)) {
    // The store refused the check: every Tovra process now waits out the same hold.
    services_.core().holdAfterRefusal();
  }
  const bool hasApp = app_->count() > 0;
  const auto reason = model_->unavailableReason();
  QString status;
  if (!hasApp) {
    status = qs(research::discoverLabel::kNoTrackedApp);
  } else if (reason && !checking) {
    status = qs(*reason);
  } else if (const auto text = research::KeywordCheckModel::text(phase)) {
    status = qs(research::withErrorLead(*text));
  }
  setLine(*status_, status);
  check_->setEnabled(hasApp && !reason && !checking);
  track_->setVisible(model_->canTrack());
}

}  // namespace tovra::gui
