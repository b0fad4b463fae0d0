#pragma once

#include <QObject>
#include <memory>

#include "app/base/main_queue.h"

namespace tovra::gui {

// The GUI thread as the core's main-thread queue: a task posted from any thread becomes a queued call on
// an object that lives on the GUI thread. Made on the GUI thread; tasks still queued when it goes are
// dropped with its object.
class QtMainQueue final : public base::MainQueue {
 public:
  QtMainQueue();
  ~QtMainQueue() override;
  void post(std::function<void()> task) override;

 private:
  std::unique_ptr<QObject> receiver_;
};

}  // namespace tovra::gui
