#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <utility>
#include <vector>

#include "app/base/thread_affinity.h"

namespace tovra::base {

// Keeps one subscriber listening for as long as it lives: dropping it, or reset(), ends the
// subscription. It may outlive what it subscribed to; there is then nothing left to end.
class Subscription final {
 public:
  Subscription() = default;
  explicit Subscription(std::function<void()> end) : end_(std::move(end)) {}
  Subscription(Subscription&& other) noexcept : end_(std::exchange(other.end_, {})) {}
  Subscription& operator=(Subscription&& other) noexcept;
  Subscription(const Subscription&) = delete;
  Subscription& operator=(const Subscription&) = delete;
  ~Subscription() { reset(); }

  void reset() noexcept;

 private:
  std::function<void()> end_;
};

// How a model on the main thread tells its views that something changed: any number of subscribers,
// each held by a Subscription. Subscribing, notifying and ending a subscription are main-thread work;
// work on a worker reaches the model through the main-thread queue first.
//
// A subscriber may end its own or another's subscription, or destroy the model, from inside its call:
// a subscription ended during a notification is not called again, not even later in the same round,
// and one made during it is first called at the next notification.
template <class... Args>
class Observable final {
 public:
  using Handler = std::function<void(const Args&...)>;

  Observable() : state_(std::make_shared<State>()) {}
  Observable(const Observable&) = delete;
  Observable& operator=(const Observable&) = delete;
  // A moved model takes its subscribers along; what it was moved from is only destroyed.
  Observable(Observable&&) noexcept = default;
  Observable& operator=(Observable&&) noexcept = default;

  // Const, so a view that only reads a model can still listen to it.
  [[nodiscard]] Subscription subscribe(Handler handler) const {
    state_->thread.check();
    const auto id = state_->nextId++;
    state_->entries.push_back({id, std::make_shared<Handler>(std::move(handler))});
    return Subscription([weak = std::weak_ptr<State>(state_), id] {
      if (const auto state = weak.lock()) {
        state->thread.check();
        std::erase_if(state->entries, [id](const Entry& entry) { return entry.id == id; });
      }
    });
  }

  void notify(const Args&... args) {
    // The subscribers of this moment, held weakly so that one ended meanwhile is skipped; the state is
    // held here because a subscriber may destroy the model, and this observable with it.
    const auto state = state_;
    state->thread.check();
    std::vector<std::weak_ptr<Handler>> round;
    round.reserve(state->entries.size());
    for (const auto& entry : state->entries) {
      round.push_back(entry.handler);
    }
    for (const auto& weak : round) {
      if (const auto handler = weak.lock()) {
        (*handler)(args...);
      }
    }
  }

  std::size_t subscriberCount() const {
    state_->thread.check();
    return state_->entries.size();
  }

 private:
  struct Entry {
    std::uint64_t id = 0;
    std::shared_ptr<Handler> handler;
  };
  struct State {
    ThreadAffinity thread;
    std::uint64_t nextId = 0;
    std::vector<Entry> entries;
  };

  std::shared_ptr<State> state_;
};

}  // namespace tovra::base
