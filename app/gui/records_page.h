#pragma once

#include <functional>

#include "app/gui/view_page.h"

class QStandardItem;
class QStandardItemModel;
class QTreeView;

namespace tovra::gui {

// A page whose records are groups of rows in one tree: the heading counts its rows, an unknown cell shows
// an em dash, and every cell carries its words for a screen reader.
class RecordsPage final : public ViewPage {
  Q_OBJECT
 public:
  using Fill = std::function<void(AppServices&, RecordsPage&)>;
  RecordsPage(const QString& heading, AppServices& services, Fill fill, QWidget* parent = nullptr);

  QTreeView* view() const { return view_; }
  QStandardItemModel* model() const { return model_; }
  using ViewPage::setSummary;

  // A group of rows under a heading that counts them.
  QStandardItem* group(const QString& heading, std::size_t count);
  static void addRow(QStandardItem& parent, const QStringList& texts);
  static QStandardItem* cell(const QString& text);

 protected:
  void refill() override;

 private:
  Fill fill_;
  QTreeView* view_;
  QStandardItemModel* model_;
};

}  // namespace tovra::gui
