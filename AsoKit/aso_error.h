#pragma once

#include <cstdint>
#include <exception>
#include <string>
#include <variant>

namespace asokit {

// The client's one error type. Its description is the text the user sees and the text a failed
// query stores, so the wording is fixed (Turkish where the store's own client spoke Turkish).
class AsoError final : public std::exception {
 public:
  struct UnknownStorefront {
    std::string code;  // exactly as passed in, untrimmed
    bool operator==(const UnknownStorefront&) const = default;
  };
  struct Http {
    std::int64_t status = 0;
    std::string url;
    bool operator==(const Http&) const = default;
  };
  struct ShapeChanged {
    std::string detail;
    bool operator==(const ShapeChanged&) const = default;
  };
  struct HaltedAfterConsecutiveFailures {
    std::int64_t count = 0;
    std::int64_t skipped = 0;
    bool operator==(const HaltedAfterConsecutiveFailures&) const = default;
  };
  struct CoolingDown {
    std::int64_t secondsLeft = 0;
    bool operator==(const CoolingDown&) const = default;
  };
  using Case = std::variant<UnknownStorefront, Http, ShapeChanged, HaltedAfterConsecutiveFailures, CoolingDown>;

  explicit AsoError(Case c);

  static AsoError unknownStorefront(std::string code) { return AsoError(UnknownStorefront{std::move(code)}); }
  static AsoError http(std::int64_t status, std::string url) { return AsoError(Http{status, std::move(url)}); }
  static AsoError shapeChanged(std::string detail) { return AsoError(ShapeChanged{std::move(detail)}); }
  static AsoError halted(std::int64_t count, std::int64_t skipped) {
    return AsoError(HaltedAfterConsecutiveFailures{count, skipped});
  }
  static AsoError coolingDown(std::int64_t secondsLeft) { return AsoError(CoolingDown{secondsLeft}); }

  const Case& kind() const { return case_; }
  template <class T>
  const T* as() const {
    return std::get_if<T>(&case_);
  }
  const std::string& description() const { return description_; }
  const char* what() const noexcept override { return description_.c_str(); }
  bool operator==(const AsoError& other) const { return case_ == other.case_; }

 private:
  Case case_;
  std::string description_;
};

// A failure below the client: no connection, a timeout, a TLS failure, an answer too large.
// Never retried; its text is shown as it stands.
class TransportError final : public std::exception {
 public:
  explicit TransportError(std::string message) : message_(std::move(message)) {}
  const char* what() const noexcept override { return message_.c_str(); }

 private:
  std::string message_;
};

// The caller cancelled a wait or a request (quitting, a second Ctrl-C).
class Cancelled final : public std::exception {
 public:
  const char* what() const noexcept override { return "cancelled"; }
};

// The text a batch line or a front end shows for any error the client lets through.
std::string describe(const std::exception& error);
// Whether the store refused the client: HTTP 403 after the retries, or the hold an earlier refusal began.
bool isStoreRefusal(const std::exception& error);
// A failure in a few words, for a sentence that names it: "HTTP 500", "an answer Tovra could not read",
// or the transport's own message ("Could not connect to …").
std::string shortCause(const std::exception& error);

}  // namespace asokit
