#include "app/gui/qt_main_queue.h"

#include <QMetaObject>

namespace tovra::gui {

QtMainQueue::QtMainQueue() : receiver_(std::make_unique<QObject>()) {}

QtMainQueue::~QtMainQueue() = default;

void QtMainQueue::post(std::function<void()> task) {
  // A queued call keeps posting order per sending thread, which is what the core relies on.
  QMetaObject::invokeMethod(
      receiver_.get(), [task = std::move(task)] { task(); }, Qt::QueuedConnection);
}

}  // namespace tovra::gui
