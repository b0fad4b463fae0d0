#include "app/gui/records_page.h"

#include <QHeaderView>
#include <QStandardItemModel>
#include <QTreeView>
#include <QVBoxLayout>
#include <algorithm>

#include "app/gui/gui_text.h"

namespace tovra::gui {

RecordsPage::RecordsPage(const QString& heading, AppServices& services, Fill fill, QWidget* parent)
    : ViewPage(heading, services, parent), fill_(std::move(fill)) {
  model_ = new QStandardItemModel(this);
  view_ = new QTreeView(this);
  view_->setModel(model_);
  view_->setAccessibleName(heading + QStringLiteral(" list"));
  view_->setUniformRowHeights(true);
  view_->setAlternatingRowColors(true);
  view_->setEditTriggers(QAbstractItemView::NoEditTriggers);
  view_->header()->setStretchLastSection(true);
  body()->addWidget(view_, 1);
}

QStandardItem* RecordsPage::cell(const QString& text) {
  auto* item = new QStandardItem(text.isEmpty() ? kEmDash : text);
  item->setEditable(false);
  return item;
}

QStandardItem* RecordsPage::group(const QString& heading, std::size_t count) {
  auto* item = cell(heading + QStringLiteral(" (") + QString::number(count) + QStringLiteral(")"));
  auto font = item->font();
  font.setBold(true);
  item->setFont(font);
  item->setSelectable(false);
  model_->appendRow(item);
  // The heading spans the row; its other cells carry its words for a screen reader.
  for (int column = 1; column < model_->columnCount(); ++column) {
    auto* filler = new QStandardItem;
    filler->setEditable(false);
    filler->setSelectable(false);
    filler->setAccessibleText(item->text());
    model_->setItem(item->row(), column, filler);
  }
  return item;
}

void RecordsPage::addRow(QStandardItem& parent, const QStringList& texts) {
  QList<QStandardItem*> row;
  for (const auto& text : texts) {
    row.append(cell(text));
  }
  parent.appendRow(row);
}

void RecordsPage::refill() {
  model_->clear();
  fill_(services(), *this);
  view_->expandAll();
  for (int row = 0; row < model_->rowCount(); ++row) {
    view_->setFirstColumnSpanned(row, QModelIndex(), true);
  }
  for (int column = 0; column + 1 < model_->columnCount(); ++column) {
    view_->resizeColumnToContents(column);
    view_->setColumnWidth(column, std::min(view_->columnWidth(column) + 16, 360));
  }
}

}  // namespace tovra::gui
