#pragma once

#include <QFrame>
#include <functional>

#include "app/shell/command_palette.h"

class QLabel;
class QLineEdit;
class QTreeView;
class QStandardItemModel;

namespace tovra::gui {

// The command palette over the main window: a field, the matching actions best first with their
// shortcuts (a disabled one shows why), and the footer. It reads the handler the window published.
class CommandPaletteWidget final : public QFrame {
  Q_OBJECT
 public:
  using HandlerSource = std::function<const shell::TovraActionHandler&()>;
  CommandPaletteWidget(QWidget& window, HandlerSource handler);

  // Opens over the window with the field focused.
  void open();
  void close();
  const shell::CommandPaletteModel& model() const { return model_; }
  QLineEdit* field() const { return field_; }
  QTreeView* list() const { return list_; }

 protected:
  bool eventFilter(QObject* watched, QEvent* event) override;

 private:
  void render();
  void place();

  HandlerSource handler_;
  shell::CommandPaletteModel model_;
  QLineEdit* field_;
  QTreeView* list_;
  QStandardItemModel* rows_;
  QLabel* empty_;
  QLabel* footer_;
};

}  // namespace tovra::gui
