#pragma once

#include <QWidget>

class QLabel;
class QVBoxLayout;

namespace tovra::gui {

class AppServices;

// One page of the main window (Today, Apps, Discover, Archive): a heading, a line that sums the page up,
// and the page's own content below. The page re-reads the store only when it is shown, or shown and told
// the store changed, so a write elsewhere costs nothing for the pages nobody looks at.
class ViewPage : public QWidget {
  Q_OBJECT
 public:
  ViewPage(const QString& heading, AppServices& services, QWidget* parent = nullptr);

  // Marks the page as out of date; a visible page re-reads at once.
  void invalidate();
  // Reads the store now, whatever the page's state.
  void reload();

  QLabel* heading() const { return heading_; }
  QLabel* summary() const { return summary_; }

 protected:
  // Fills the page from the store. A store error is caught by reload() and shown in the summary line.
  virtual void refill() = 0;
  void showEvent(QShowEvent* event) override;

  AppServices& services() const { return services_; }
  // Where the page's content goes, under the heading and the summary.
  QVBoxLayout* body() const { return body_; }
  void setSummary(const QString& text);

 private:
  AppServices& services_;
  QLabel* heading_;
  QLabel* summary_;
  QVBoxLayout* body_;
  bool stale_ = true;
};

}  // namespace tovra::gui
