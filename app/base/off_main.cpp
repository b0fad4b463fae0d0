#include "app/base/off_main.h"

namespace tovra::base {

OffMainRequests::OffMainRequests(MainQueue& queue)
    : queue_(queue), token_(std::make_shared<Token>(Token{this})), shared_(std::make_shared<Shared>()) {}

OffMainRequests::~OffMainRequests() {
  // Answers already posted find no owner; the worker's stop reaches the request in flight through its
  // stop token, and the jthread joins the worker when it is destroyed.
  token_.reset();
  {
    std::lock_guard lock(shared_->mutex);
    shared_->pending.reset();
  }
  worker_.request_stop();
}

void OffMainRequests::startJob(Job job) {
  thread_.check();
  ++generation_;
  busy_ = true;
  {
    std::lock_guard lock(shared_->mutex);
    shared_->inFlight.request_stop();
    shared_->pending = Pending{generation_, std::move(job)};
  }
  shared_->wake.notify_one();
  if (!worker_.joinable()) {
    worker_ = std::jthread(&OffMainRequests::work, shared_, std::ref(queue_), std::weak_ptr<Token>(token_));
  }
}

void OffMainRequests::cancel() {
  thread_.check();
  ++generation_;
  busy_ = false;
  std::lock_guard lock(shared_->mutex);
  shared_->inFlight.request_stop();
  shared_->pending.reset();
}

bool OffMainRequests::busy() const {
  thread_.check();
  return busy_;
}

void OffMainRequests::deliver(std::uint64_t generation, Delivery& delivery) {
  thread_.check();
  if (generation != generation_) {
    return;  // overtaken by a newer request, or cancelled
  }
  busy_ = false;
  delivery();
}

void OffMainRequests::work(std::stop_token quit, std::shared_ptr<Shared> shared, MainQueue& queue,
                           std::weak_ptr<Token> token) {
  for (;;) {
    Pending next;
    std::stop_source request;
    {
      std::unique_lock lock(shared->mutex);
      if (!shared->wake.wait(lock, quit, [&] { return shared->pending.has_value(); })) {
        return;
      }
      next = std::move(*shared->pending);
      shared->pending.reset();
      shared->inFlight = request;
    }
    Delivery delivery;
    {
      // Quitting cancels the request in flight as a newer request does.
      const std::stop_callback onQuit(quit, [request]() mutable { request.request_stop(); });
      try {
        delivery = next.job(request.get_token());
      } catch (...) {
        // Only an allocation can fail here (the request's own errors travel in its answer); such a
        // request is lost, like one cancelled.
        continue;
      }
    }
    if (quit.stop_requested()) {
      return;
    }
    try {
      queue.post([token, generation = next.generation, delivery = std::move(delivery)]() mutable {
        if (const auto owner = token.lock()) {
          owner->owner->deliver(generation, delivery);
        }
      });
    } catch (...) {
      // Out of memory while posting: the answer is lost, like one cancelled.
    }
  }
}

}  // namespace tovra::base
