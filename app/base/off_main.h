#pragma once

#include <condition_variable>
#include <cstdint>
#include <exception>
#include <functional>
#include <memory>
#include <mutex>
#include <optional>
#include <stop_token>
#include <thread>
#include <utility>

#include "app/base/main_queue.h"
#include "app/base/thread_affinity.h"

namespace tovra::base {

// What a request made off the main thread came back with: its value, or the exception it ended with.
// take() throws that exception again, on the main thread, so the finishing step handles a failure
// where it handles a value.
template <class T>
class Answer final {
 public:
  static Answer value(T value) {
    Answer answer;
    answer.value_ = std::make_shared<T>(std::move(value));
    return answer;
  }
  static Answer error(std::exception_ptr error) {
    Answer answer;
    answer.error_ = std::move(error);
    return answer;
  }

  T take() {
    if (error_) {
      std::rethrow_exception(error_);
    }
    return std::move(*value_);
  }

 private:
  std::shared_ptr<T> value_;
  std::exception_ptr error_;
};

// Runs a model's store requests on a worker thread and brings each answer back through the main-thread
// queue, so the model reads and writes the store only on the main thread and a window never waits for
// the App Store. One request at a time (the shared client serves one caller at a time anyway): starting
// a request cancels the one in flight and drops its answer, should it still come back, so a newer
// request always wins. Destroying this object cancels the request in flight and waits for the worker,
// which a request that honours its stop token leaves at once; no answer is delivered afterwards.
//
// A model declares it as its last member, so it is destroyed, and the worker stopped, before anything
// the request may use.
class OffMainRequests final {
 public:
  explicit OffMainRequests(MainQueue& queue);
  ~OffMainRequests();
  OffMainRequests(const OffMainRequests&) = delete;
  OffMainRequests& operator=(const OffMainRequests&) = delete;

  // Runs `request` on the worker and then `finish` with its answer on the main thread. Main thread only.
  template <class T>
  void start(std::function<T(std::stop_token)> request, std::function<void(Answer<T>)> finish) {
    startJob([request = std::move(request), finish = std::move(finish)](std::stop_token stop) -> Delivery {
      auto answer = run(request, stop);
      return [finish, answer]() mutable { finish(std::move(answer)); };
    });
  }

  // Cancels the request in flight, if any; its answer is dropped. Main thread only.
  void cancel();
  // Whether a request was started and its finishing step has not run yet.
  bool busy() const;

 private:
  using Delivery = std::function<void()>;
  using Job = std::function<Delivery(std::stop_token)>;
  struct Pending {
    std::uint64_t generation = 0;
    Job job;
  };
  struct Token {
    OffMainRequests* owner;
  };
  // What the main thread and the worker share, under `mutex`.
  struct Shared {
    std::mutex mutex;
    std::condition_variable_any wake;
    std::optional<Pending> pending;
    std::stop_source inFlight;
  };

  template <class T>
  static Answer<T> run(const std::function<T(std::stop_token)>& request, std::stop_token stop) noexcept {
    try {
      return Answer<T>::value(request(stop));
    } catch (...) {
      return Answer<T>::error(std::current_exception());
    }
  }

  void startJob(Job job);
  void deliver(std::uint64_t generation, Delivery& delivery);
  static void work(std::stop_token quit, std::shared_ptr<Shared> shared, MainQueue& queue, std::weak_ptr<Token> token);

  ThreadAffinity thread_;
  MainQueue& queue_;
  std::shared_ptr<Token> token_;
  std::shared_ptr<Shared> shared_;
  std::uint64_t generation_ = 0;
  bool busy_ = false;
  std::jthread worker_;
};

}  // namespace tovra::base
