#include "app/gui/settings_dialog.h"

#include <QCheckBox>
#include <QCoreApplication>
#include <QFileDialog>
#include <QGroupBox>
#include <QHeaderView>
#include <QLabel>
#include <QMessageBox>
#include <QPointer>
#include <QProgressBar>
#include <QPushButton>
#include <QStandardItemModel>
#include <QTableView>
#include <QThread>
#include <QVBoxLayout>

#include "app/gui/app_services.h"
#include "app/gui/gui_text.h"
#include "app/gui/qt_settings.h"
#include "app/store/damage.h"
#include "app/store/deletion_plan.h"
#include "app/store/export.h"
#include "app/store/footprint.h"
#include "app/store/integrity.h"
#include "app/store/store_error.h"

namespace tovra::gui {

SettingsDialog::SettingsDialog(AppServices& services, QWidget* parent) : QDialog(parent), services_(services) {
  setWindowTitle(QStringLiteral("Settings"));
  setAccessibleName(windowTitle());
  setMinimumSize(620, 560);

  auto* notificationsBox = new QGroupBox(QStringLiteral("Notifications"), this);
  notifications_ = new QCheckBox(QStringLiteral("Notify me when a run ends"), notificationsBox);
  notifications_->setAccessibleName(notifications_->text());
  notificationState_ = new QLabel(notificationsBox);
  notificationState_->setWordWrap(true);
  auto* notificationsLayout = new QVBoxLayout(notificationsBox);
  notificationsLayout->addWidget(notifications_);
  notificationsLayout->addWidget(notificationState_);

  auto* storeBox = new QGroupBox(QStringLiteral("Store"), this);
  summary_ = new QLabel(storeBox);
  summary_->setWordWrap(true);
  inventory_ = new QStandardItemModel(this);
  inventoryView_ = new QTableView(storeBox);
  inventoryView_->setModel(inventory_);
  inventoryView_->setAccessibleName(QStringLiteral("What the store holds"));
  inventoryView_->setEditTriggers(QAbstractItemView::NoEditTriggers);
  inventoryView_->verticalHeader()->hide();
  inventoryView_->horizontalHeader()->setStretchLastSection(true);
  // Both texts sit beside the action, where the decision to export is made, not only in a tooltip.
  auto* exportNote =
      new QLabel(qs(store::kExportLocalOnly) + QStringLiteral("\n") + qs(store::kExportWhyJson), storeBox);
  exportNote->setWordWrap(true);
  exportNote->setAccessibleName(exportNote->text());
  export_ = new QPushButton(QStringLiteral("Export…"), storeBox);
  export_->setAccessibleName(QStringLiteral("Export…"));
  export_->setToolTip(qs(store::kExportLocalOnly));
  // A busy bar: the export writes as it reads, so there is no total to count against.
  exportProgress_ = new QProgressBar(storeBox);
  exportProgress_->setRange(0, 0);
  exportProgress_->setAccessibleName(QStringLiteral("Exporting…"));
  exportProgress_->hide();
  exportStatus_ = new QLabel(storeBox);
  exportStatus_->setWordWrap(true);
  exportStatus_->setTextInteractionFlags(Qt::TextSelectableByMouse);
  deleteAll_ = new QPushButton(QStringLiteral("Delete everything…"), storeBox);
  deleteAll_->setAccessibleName(deleteAll_->text());
  check_ = new QPushButton(QStringLiteral("Check the store"), storeBox);
  check_->setAccessibleName(check_->text());
  checkStatus_ = new QLabel(storeBox);
  checkStatus_->setWordWrap(true);
  checkStatus_->setTextInteractionFlags(Qt::TextSelectableByMouse);
  auto* storeLayout = new QVBoxLayout(storeBox);
  storeLayout->addWidget(summary_);
  storeLayout->addWidget(inventoryView_, 1);
  storeLayout->addWidget(exportNote);
  storeLayout->addWidget(export_, 0, Qt::AlignLeft);
  storeLayout->addWidget(exportProgress_);
  storeLayout->addWidget(exportStatus_);
  storeLayout->addWidget(check_, 0, Qt::AlignLeft);
  storeLayout->addWidget(checkStatus_);
  storeLayout->addWidget(deleteAll_, 0, Qt::AlignLeft);

  auto* layout = new QVBoxLayout(this);
  layout->addWidget(notificationsBox);
  layout->addWidget(storeBox, 1);

  connect(notifications_, &QCheckBox::toggled, this, [this](bool on) { services_.notifier().setEnabled(on); });
  connect(export_, &QPushButton::clicked, this, &SettingsDialog::chooseExportFile);
  connect(deleteAll_, &QPushButton::clicked, this, &SettingsDialog::deleteEverything);
  connect(check_, &QPushButton::clicked, this, &SettingsDialog::checkStore);
  notifierChanges_ = services_.notifier().changes().subscribe([this] { render(); });
  services_.notifier().refreshAvailability();
  render();
}

SettingsDialog::~SettingsDialog() = default;

void SettingsDialog::render() {
  auto& notifier = services_.notifier();
  notifications_->blockSignals(true);
  notifications_->setChecked(notifier.isEnabled());
  notifications_->blockSignals(false);
  notificationState_->setText(QString::fromStdString(notifier.stateLine()));
  notificationState_->setAccessibleName(notificationState_->text());

  auto& store = services_.store();
  try {
    const auto inventory = store::StoreInventory::count(store);
    summary_->setText(QString::fromStdString(store::storeSummary(store::StoreFootprint::measure(store), inventory)));
    inventory_->clear();
    inventory_->setHorizontalHeaderLabels({QStringLiteral("Records"), QStringLiteral("Count"), QStringLiteral("What")});
    for (const auto& row : inventory.rows) {
      inventory_->appendRow({new QStandardItem(QString::fromStdString(row.label)),
                             new QStandardItem(QString::number(row.count)),
                             new QStandardItem(QString::fromStdString(row.note))});
    }
    inventoryView_->resizeColumnsToContents();
  } catch (const store::StoreError& error) {
    summary_->setText(QString::fromStdString(error.description()));
  }
  summary_->setAccessibleName(summary_->text());
  export_->setEnabled(!exporting_);
  check_->setEnabled(!checking_);
  exportProgress_->setVisible(exporting_);
}

void SettingsDialog::chooseExportFile() {
  const auto proposed = store::proposedExportFileName(services_.wall().now(), services_.core().localTime());
  const auto target = QFileDialog::getSaveFileName(this, QStringLiteral("Export…"), QString::fromStdString(proposed),
                                                   QStringLiteral("JSON (*.json)"));
  if (!target.isEmpty()) {
    exportTo(target);
  }
}

void SettingsDialog::exportTo(const QString& target) {
  const std::filesystem::path path = target.toStdString();
  const auto now = services_.wall().now();
  exporting_ = true;
  exportStatus_->setText(QStringLiteral("Exporting…"));
  render();
  QPointer<SettingsDialog> self(this);
  const auto finish = [self, target](std::optional<std::string> error) {
    if (!self) {
      return;
    }
    self->exporting_ = false;
    self->exportStatus_->setText(error ? QString::fromStdString(*error) : target);
    self->exportStatus_->setAccessibleName(self->exportStatus_->text());
    self->render();
    emit self->exportFinished();
  };
  const auto& file = services_.store().file();
  if (!file) {
    // A store in memory has no second connection to read from; it is small enough to write here.
    std::optional<std::string> error;
    try {
      store::exportStoreToFile(services_.store(), now, path);
    } catch (const store::StoreError& failure) {
      error = failure.description();
    }
    finish(error);
    return;
  }
  // The export reads through its own connection on a worker, so a big store never freezes the window.
  auto* worker = QThread::create([storeFile = *file, path, now, finish, self] {
    std::optional<std::string> error;
    try {
      auto reader = store::Store::open(storeFile);
      store::exportStoreToFile(*reader, now, path);
    } catch (const store::StoreError& failure) {
      error = failure.description();
    } catch (const std::exception& failure) {
      error = failure.what();
    }
    QMetaObject::invokeMethod(
        QCoreApplication::instance(), [finish, error] { finish(error); }, Qt::QueuedConnection);
  });
  connect(worker, &QThread::finished, worker, &QObject::deleteLater);
  worker->start();
}

void SettingsDialog::checkStore() {
  const auto& file = services_.store().file();
  if (!file) {
    checkStatus_->setText(qs(store::kNoFileToCheck));
    checkStatus_->setAccessibleName(checkStatus_->text());
    emit checkFinished();
    return;
  }
  checking_ = true;
  checkStatus_->setText(qs(store::kCheckingStore));
  render();
  QPointer<SettingsDialog> self(this);
  // The check reads the whole file through a connection of its own; the store itself stays on this thread.
  auto* worker = QThread::create([storeFile = *file, self] {
    const auto result = store::checkStoreFile(storeFile, store::CheckDepth::full);
    QMetaObject::invokeMethod(
        QCoreApplication::instance(),
        [self, result] {
          if (!self) {
            return;
          }
          std::string text = store::checkSummary(result);
          if (result.damaged()) {
            store::noteDamage(self->services_.store());
            self->services_.core().noteStoreDamage();
            text += "\n" + std::string(store::kSalvageAtNextLaunch);
          }
          self->checking_ = false;
          self->checkStatus_->setText(QString::fromStdString(text));
          self->checkStatus_->setAccessibleName(self->checkStatus_->text());
          self->render();
          emit self->checkFinished();
        },
        Qt::QueuedConnection);
  });
  connect(worker, &QThread::finished, worker, &QObject::deleteLater);
  worker->start();
}

void SettingsDialog::deleteEverything() {
  auto& store = services_.store();
  try {
    const auto plan = store::DeletionPlan::forEverything(store);
    QMessageBox box(QMessageBox::Warning, QString::fromStdString(plan.title()), QString::fromStdString(plan.title()),
                    QMessageBox::Cancel, this);
    QStringList lines{QString::fromStdString(plan.summary())};
    for (const auto& line : plan.explanation()) {
      lines << QString::fromStdString(line);
    }
    lines << QString::fromStdString(plan.warning());
    box.setInformativeText(lines.join(QStringLiteral("\n\n")));
    auto* confirm = box.addButton(QString::fromStdString(plan.title()), QMessageBox::DestructiveRole);
    box.setDefaultButton(QMessageBox::Cancel);
    box.exec();
    if (box.clickedButton() != confirm) {
      return;
    }
    store::StoreDeletion(store).carryOut(plan);
    services_.settings().setBool(kGettingStartedDismissedKey, false);
    render();
    emit storeEmptied();
  } catch (const store::StoreError& error) {
    QMessageBox::warning(this, QStringLiteral("Tovra"), QString::fromStdString(error.description()));
  }
}

}  // namespace tovra::gui
