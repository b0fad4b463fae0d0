#pragma once

#include <QList>
#include <QString>
#include <QStringList>
#include <span>
#include <string_view>

class QLabel;
class QListView;
class QStandardItem;
class QStandardItemModel;
class QTreeView;
class QWidget;

// The small pieces the Archive and Rivals pages build their lists from.
namespace tovra::gui::parts {

// A read-only cell that a screen reader reads by its text.
QStandardItem* cell(const QString& text);
// A bold heading over a list.
QLabel* sectionLabel(const QString& text, QWidget* parent);
// A flat table of rows, selected whole.
QTreeView* tableView(QStandardItemModel* model, const QString& name, QWidget* parent);
QListView* listView(QStandardItemModel* model, const QString& name, QWidget* parent);
// The row's cells joined for a screen reader, so a row reads as one sentence.
void nameRow(const QList<QStandardItem*>& row);
QStringList headers(std::span<const std::string_view> names);

}  // namespace tovra::gui::parts
