#include <gtest/gtest.h>

#include <thread>

#include "AsoKit/aso_error.h"
#include "AsoKit/rate_limiter.h"
#include "AsoKit/store_search.h"
#include "AsoKit/storefront.h"
#include "AsoKit/url.h"

namespace asokit {
namespace {

using namespace std::chrono_literals;

TEST(Storefront, CodesAreTrimmedAndLowerCasedWithoutFallback) {
  for (const auto* code : {"us", "US", "  us ", "us\n", "\u00a0Us\u3000"}) {
    EXPECT_EQ(storefront::headerValue(code), "143441,29") << code;
  }
  EXPECT_EQ(storefront::headerValue("tr"), "143480,29");
  EXPECT_EQ(storefront::knownCodes().size(), 27u);
  for (const auto* code : {"uk", "", " u s", "usa"}) {
    try {
      storefront::headerValue(code);
      ADD_FAILURE() << code;
    } catch (const AsoError& error) {
      EXPECT_EQ(error.as<AsoError::UnknownStorefront>()->code, code);  // quoted as given, untrimmed
    }
  }
}

TEST(AsoErrorText, EveryCaseReadsExactly) {
  const std::vector<std::pair<AsoError, std::string>> cases{
      {AsoError::unknownStorefront("uk"),
       "bilinmeyen storefront 'uk' — X-Apple-Store-Front tablosunda yok. Sessizce US'e düşmek yerine duruyorum: o ülke "
       "için sonuç GEÇERSİZ olurdu."},
      {AsoError::http(403, "https://a/b?c=d"),
       "HTTP 403 — Apple kesiyor (IP düzeyinde, 15+ dakika sürebilir). URL: https://a/b?c=d"},
      {AsoError::http(429, "https://a"), "HTTP 429 — https://a"},
      {AsoError::http(500, "https://a"), "HTTP 500 — https://a"},
      {AsoError::http(404, "https://a"), "HTTP 404 — https://a"},
      {AsoError::shapeChanged("'bubbles' yok"),
       "cevap şekli tanınmadı: 'bubbles' yok (uç değişmiş olabilir — sessiz sıfır döndürmüyorum)"},
      {AsoError::halted(3, 12345),
       "ard arda 3 hata → koşu DURDURULDU (12345 iş denenmedi). Apple kesiyorsa devam etmek yasağı derinleştirir."},
      {AsoError::coolingDown(900),
       "istemci 403 sonrası bekletmede (900 sn kaldı) — istek atılmadı. Yasak IP düzeyinde; beklemeden sormak onu "
       "derinleştirir."},
  };
  for (const auto& [error, text] : cases) {
    EXPECT_EQ(error.description(), text);
    EXPECT_STREQ(error.what(), text.c_str());
  }
}

TEST(SearchUrl, TermIsPercentEncodedAndCannotAlterTheUrl) {
  const std::vector<std::pair<std::string, std::string>> cases{
      {"photo editor", "photo%20editor"},
      {"a&b=c#d", "a%26b%3Dc%23d"},
      {"100%+1", "100%25%2B1"},
      {"line\r\nX-Evil: 1", "line%0D%0AX-Evil:%201"},
      {"çiçek", "%C3%A7i%C3%A7ek"},
      {"写真", "%E5%86%99%E7%9C%9F"},
      {"a/b?c", "a/b?c"},
      {" padded ", "%20padded%20"},
  };
  for (const auto& [term, encoded] : cases) {
    EXPECT_EQ(store_search::url("https://s", term),
              "https://s/WebObjects/MZStore.woa/wa/search?clientApplication=Software&media=software&term=" + encoded)
        << term;
  }
}

TEST(RateLimiter, SpacesStartsAndBooksFromTheMomentALetThrough) {
  VirtualClock clock;
  RateLimiter limiter(clock.monotonic());
  const auto start = clock.monoNow();
  limiter.wait();
  EXPECT_EQ(clock.monoNow(), start);  // the first request goes at once
  limiter.wait();
  EXPECT_EQ(clock.monoNow() - start, 1200ms);
  clock.advance(5s);
  const auto later = clock.monoNow();
  limiter.wait();
  EXPECT_EQ(clock.monoNow(), later);
  EXPECT_EQ(*limiter.earliestNext(), later + 1200ms);
}

TEST(RateLimiter, ACancelledWaitLeavesTheBookingAsItWas) {
  VirtualClock clock;
  RateLimiter limiter(clock.monotonic());
  limiter.wait();
  const auto booked = *limiter.earliestNext();
  std::stop_source stop;
  stop.request_stop();
  EXPECT_THROW(limiter.wait(stop.get_token()), Cancelled);
  EXPECT_EQ(*limiter.earliestNext(), booked);
}

TEST(FailureGuard, TripsOnTheLimitAndResetsOnSuccess) {
  FailureGuard guard(3);
  EXPECT_FALSE(guard.recordFailure());
  EXPECT_FALSE(guard.recordFailure());
  guard.recordSuccess();
  EXPECT_FALSE(guard.recordFailure());
  EXPECT_FALSE(guard.recordFailure());
  EXPECT_TRUE(guard.recordFailure());
  FailureGuard single(1);
  EXPECT_TRUE(single.recordFailure());
}

TEST(SystemClock, AStopRequestInterruptsALongSleepAtOnce) {
  SystemMonotonicClock clock;
  std::stop_source stop;
  bool finished = true;
  std::thread sleeper([&] { finished = clock.sleepUntil(clock.now() + 1h, stop.get_token()); });
  stop.request_stop();
  sleeper.join();  // would hang for an hour if the stop did not wake the sleep
  EXPECT_FALSE(finished);
  EXPECT_TRUE(clock.sleepUntil(clock.now() - 1s, {}));
}

}  // namespace
}  // namespace asokit
