#include "app/gui/view_page.h"

#include <QLabel>
#include <QVBoxLayout>

#include "app/gui/app_services.h"
#include "app/store/store_error.h"

namespace tovra::gui {

ViewPage::ViewPage(const QString& heading, AppServices& services, QWidget* parent)
    : QWidget(parent), services_(services) {
  setAccessibleName(heading);
  heading_ = new QLabel(heading, this);
  heading_->setAccessibleName(heading);
  auto font = heading_->font();
  font.setPointSizeF(font.pointSizeF() * 1.6);
  font.setBold(true);
  heading_->setFont(font);
  summary_ = new QLabel(this);
  summary_->setWordWrap(true);
  summary_->setTextInteractionFlags(Qt::TextSelectableByMouse | Qt::TextSelectableByKeyboard);
  body_ = new QVBoxLayout(this);
  body_->setContentsMargins(20, 16, 20, 16);
  body_->setSpacing(8);
  body_->addWidget(heading_);
  body_->addWidget(summary_);
}

void ViewPage::invalidate() {
  stale_ = true;
  if (isVisible()) {
    reload();
  }
}

void ViewPage::reload() {
  stale_ = false;
  try {
    refill();
  } catch (const store::StoreError& error) {
    setSummary(QString::fromUtf8(error.what()));
  }
}

void ViewPage::setSummary(const QString& text) {
  summary_->setText(text);
  summary_->setAccessibleName(text);
}

void ViewPage::showEvent(QShowEvent* event) {
  QWidget::showEvent(event);
  if (stale_) {
    reload();
  }
}

}  // namespace tovra::gui
