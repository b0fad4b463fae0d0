#include <gtest/gtest.h>

#include <thread>

#include "AsoKit/aso_error.h"
#include "AsoKit/lookup.h"
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

// The store's own numbers, written out once more: a wrong id would silently measure another country,
// and the fake store reads headers through the same table, so it cannot catch one.
struct CountryCase {
  const char* code;
  const char* storefront;
  const char* lang;
};

class EveryCountry : public ::testing::TestWithParam<CountryCase> {};

TEST_P(EveryCountry, HasItsStorefrontAndLookupLanguage) {
  const auto& c = GetParam();
  EXPECT_EQ(storefront::headerValue(c.code), std::string(c.storefront) + ",29");
  EXPECT_EQ(storefront::countryOfId(c.storefront), c.code);
  EXPECT_EQ(lookup::language(c.code), c.lang);
}

INSTANTIATE_TEST_SUITE_P(Table, EveryCountry,
                         ::testing::Values(CountryCase{"us", "143441", "en_us"}, CountryCase{"gb", "143444", "en_gb"},
                                           CountryCase{"ca", "143455", "en_ca"}, CountryCase{"au", "143460", "en_au"},
                                           CountryCase{"jp", "143462", "ja_jp"}, CountryCase{"de", "143443", "de_de"},
                                           CountryCase{"fr", "143442", "fr_fr"}, CountryCase{"it", "143450", "it_it"},
                                           CountryCase{"es", "143454", "es_es"}, CountryCase{"tr", "143480", "tr_tr"},
                                           CountryCase{"br", "143503", "pt_br"}, CountryCase{"mx", "143468", "es_mx"},
                                           CountryCase{"pl", "143478", "pl_pl"}, CountryCase{"sa", "143479", "ar_sa"},
                                           CountryCase{"in", "143467", "en_in"}, CountryCase{"id", "143476", "id_id"},
                                           CountryCase{"ph", "143474", "en_ph"}, CountryCase{"vn", "143471", "vi_vn"},
                                           CountryCase{"eg", "143516", "ar_eg"}, CountryCase{"gr", "143448", "el_gr"},
                                           CountryCase{"no", "143457", "nb_no"}, CountryCase{"dk", "143458", "da_dk"},
                                           CountryCase{"fi", "143447", "fi_fi"}, CountryCase{"nl", "143452", "nl_nl"},
                                           CountryCase{"se", "143456", "sv_se"}, CountryCase{"kr", "143466", "ko_kr"},
                                           CountryCase{"pt", "143453", "pt_pt"}),
                         [](const auto& info) { return std::string(info.param.code); });

TEST(Storefront, AnUnknownIdNamesNoCountry) {
  EXPECT_EQ(storefront::countryOfId("143441,29"), std::nullopt);
  EXPECT_EQ(storefront::countryOfId(""), std::nullopt);
  EXPECT_EQ(storefront::countryOfId("999999"), std::nullopt);
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
      // Sent as typed, never normalised: a decomposed é stays two characters.
      {"caf\u00e9", "caf%C3%A9"},
      {"cafe\u0301", "cafe%CC%81"},
      {"tab\there", "tab%09here"},
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
