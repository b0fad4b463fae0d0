#include <gtest/gtest.h>

#include <future>
#include <utility>

#include "AsoKit/aso_client.h"
#include "AsoKit/aso_error.h"
#include "asokit/fake_transport.h"

namespace asokit {
namespace {

using namespace std::chrono_literals;
using testing::FakeTransport;
using testing::searchAnswer;

class ClientTest : public ::testing::Test {
 protected:
  VirtualClock clock;
  FakeTransport transport{clock.monotonic()};
  ClientConfig config = [] {
    ClientConfig c;
    c.endpoints = {"https://search.test", "https://lookup.test"};
    return c;
  }();
  AsoClient client{transport, clock.monotonic(), clock.wall(), config};

  std::chrono::nanoseconds gap(std::size_t i) const { return transport.requests[i].at - transport.requests[i - 1].at; }
};

TEST_F(ClientTest, OneRequestPerKeywordAndCountryEachAppGetsItsOwnRank) {
  transport.respondWith([](const std::string&) { return HttpResponse{searchAnswer({"10", "20", "30"}), 200}; });
  std::vector<RankProgress> progress;
  const auto outcome = client.rank({{"20", "US", "photo"}, {"99", "us ", "photo"}, {"10", "us\n", "photo"}}, 3,
                                   [&](const RankProgress& p) { progress.push_back(p); });
  ASSERT_EQ(transport.requests.size(), 1u);
  EXPECT_EQ(
      transport.requests[0].url,
      "https://search.test/WebObjects/MZStore.woa/wa/search?clientApplication=Software&media=software&term=photo");
  EXPECT_EQ(transport.requests[0].headers, (Headers{{"X-Apple-Store-Front", "143441,29"}}));
  ASSERT_EQ(outcome.results.size(), 3u);
  EXPECT_EQ(outcome.results[0].status.observation()->rank, 2);
  EXPECT_EQ(outcome.results[1].status.observation()->rank, std::nullopt);  // outside the results, never 0
  EXPECT_EQ(outcome.results[1].status.observation()->resultCount, 3);
  EXPECT_EQ(outcome.results[1].status.observation()->topApps.size(), 3u);
  EXPECT_EQ(outcome.results[2].status.observation()->rank, 1);
  EXPECT_EQ(outcome.results[2].query.country, "us\n");  // the query is kept as given
  EXPECT_EQ(outcome.observations.size(), 3u);
  EXPECT_EQ(outcome.requestCount, 1);
  EXPECT_EQ(progress, (std::vector<RankProgress>{{1, 1, "us", "photo", true}}));
}

TEST_F(ClientTest, KeywordsThatDifferInAnyWayAreSeparateRequestsPacedExactly) {
  transport.respondWith([](const std::string&) { return HttpResponse{searchAnswer({"1"}), 200}; });
  const auto outcome = client.rank({{"1", "us", "Photo"}, {"1", "us", "photo"}, {"1", "gb", "photo"}}, 3);
  ASSERT_EQ(transport.requests.size(), 3u);
  EXPECT_EQ(gap(1), 1200ms);
  EXPECT_EQ(gap(2), 1200ms);
  EXPECT_EQ(outcome.requestCount, 3);
}

// How the first of two requests went: time spent before it was written, whether the transport told when
// it was, time until the answer (or the failure) came back.
struct FirstRequest {
  const char* name;
  std::chrono::milliseconds beforeWrite;
  enum { told, untold, toldOnAnotherClock, failed } report;
  std::chrono::milliseconds untilAnswer;
  std::chrono::milliseconds expectedGap;  // between the two requests' releases
};

class NextSlot : public ClientTest, public ::testing::WithParamInterface<FirstRequest> {};

// The store must see 1.2 s between two requests, so the next slot counts from the latest moment the first
// can have been written: a slow connection or an unknown moment widens the gap, a slow answer does not.
TEST_P(NextSlot, CountsFromWhenTheStoreCanHaveSeenTheRequest) {
  const auto& c = GetParam();
  bool first = true;
  transport.respondWith([&](const std::string&) {
    if (!std::exchange(first, false)) {
      return HttpResponse{searchAnswer({"1"}), 200};
    }
    clock.advance(c.beforeWrite);
    const auto written = clock.monoNow();
    clock.advance(c.untilAnswer);
    switch (c.report) {
      case FirstRequest::told:
        return HttpResponse{searchAnswer({"1"}), 200, written};
      case FirstRequest::toldOnAnotherClock:
        return HttpResponse{searchAnswer({"1"}), 200, MonoTime{} + 1s};
      case FirstRequest::failed:
        throw TransportError("The connection to search.test port 443 broke: Connection reset by peer");
      case FirstRequest::untold:
        break;
    }
    return HttpResponse{searchAnswer({"1"}), 200};
  });
  client.rank({{"1", "us", "a"}, {"1", "us", "b"}}, 3);
  ASSERT_EQ(transport.requests.size(), 2u);
  EXPECT_EQ(gap(1), c.expectedGap);
}

INSTANTIATE_TEST_SUITE_P(
    FirstRequests, NextSlot,
    ::testing::Values(FirstRequest{"AfterConnecting", 300ms, FirstRequest::told, 100ms, 1500ms},
                      FirstRequest{"SlowAnswerButPromptWrite", 10ms, FirstRequest::told, 500ms, 1210ms},
                      FirstRequest{"UntoldCountsFromTheAnswer", 300ms, FirstRequest::untold, 100ms, 1600ms},
                      FirstRequest{"FailedCountsFromTheFailure", 300ms, FirstRequest::failed, 100ms, 1600ms},
                      FirstRequest{"AMomentOfAnotherClockCountsFromTheAnswer", 300ms, FirstRequest::toldOnAnotherClock,
                                   100ms, 1600ms}),
    [](const auto& info) { return std::string(info.param.name); });

TEST_F(ClientTest, RetriesWithEightAndSixteenSecondBackoffsThenFails) {
  transport.respondWith([](const std::string&) { return HttpResponse{"", 503}; });
  const auto outcome = client.rank({{"1", "us", "a b"}}, 3);
  ASSERT_EQ(transport.requests.size(), 3u);
  EXPECT_EQ(gap(1), 8s);
  EXPECT_EQ(gap(2), 16s);
  EXPECT_EQ(clock.slept(), 24s);  // no back-off after the last attempt
  ASSERT_EQ(outcome.errors.size(), 1u);
  EXPECT_EQ(outcome.errors[0],
            "us/a b: HTTP 503 — https://search.test/WebObjects/MZStore.woa/wa/"
            "search?clientApplication=Software&media=software&term=a%20b");
}

struct RetryCase {
  std::int64_t status;
  std::size_t attempts;
};

class RetryByStatus : public ClientTest, public ::testing::WithParamInterface<RetryCase> {};

TEST_P(RetryByStatus, OnlyRefusalsAndServerErrorsAreAskedAgain) {
  transport.respondWith([](const std::string&) { return HttpResponse{"", GetParam().status}; });
  try {
    client.hints("a", "us");
    FAIL() << "expected an HTTP error";
  } catch (const AsoError& error) {
    ASSERT_TRUE(error.as<AsoError::Http>());
    EXPECT_EQ(error.as<AsoError::Http>()->status, GetParam().status);
  }
  EXPECT_EQ(transport.requests.size(), GetParam().attempts);
  EXPECT_EQ(clock.slept(), GetParam().attempts == 3 ? 24s : 0s);  // 8 s and 16 s, none after the last
}

INSTANTIATE_TEST_SUITE_P(Statuses, RetryByStatus,
                         ::testing::Values(RetryCase{403, 3}, RetryCase{429, 3}, RetryCase{500, 3}, RetryCase{503, 3},
                                           RetryCase{599, 3}, RetryCase{404, 1}, RetryCase{400, 1}, RetryCase{0, 1},
                                           RetryCase{301, 1}, RetryCase{499, 1}, RetryCase{600, 1}),
                         [](const auto& info) { return "Status" + std::to_string(info.param.status); });

TEST_F(ClientTest, ATransportFailureIsNotRetriedAndReadsAsItsOwnText) {
  transport.respondWith([](const std::string&) -> HttpResponse { throw TransportError("Could not connect"); });
  const auto outcome = client.rank({{"1", "us", "a"}, {"1", "us", "b"}}, 3);
  EXPECT_EQ(transport.requests.size(), 2u);
  EXPECT_EQ(outcome.errors, (std::vector<std::string>{"us/a: Could not connect", "us/b: Could not connect"}));
  EXPECT_EQ(*outcome.results[0].status.failure(), "Could not connect");
  EXPECT_EQ(clock.slept(), 1200ms);  // only the limiter's gap, no back-off
}

TEST_F(ClientTest, ARetryThatSucceedsReturnsTheAnswer) {
  transport.queue({"", 429});
  transport.queue({searchAnswer({"5", "6"}), 200});
  const auto outcome = client.rank({{"6", "de", "x"}}, 3);
  EXPECT_EQ(outcome.results[0].status.observation()->rank, 2);
  EXPECT_TRUE(outcome.errors.empty());
}

TEST_F(ClientTest, ThreeFailuresInARowHaltTheBatch) {
  transport.respondWith([](const std::string&) { return HttpResponse{"", 403}; });
  std::vector<RankQuery> queries;
  for (const auto* keyword : {"a", "b", "c", "d", "e"}) {
    queries.push_back({"1", "us", keyword});
  }
  queries.push_back({"2", "us", "e"});
  const auto outcome = client.rank(queries, 3);
  EXPECT_EQ(transport.requests.size(), 9u);  // three requests, three attempts each
  EXPECT_TRUE(outcome.halted);
  EXPECT_FALSE(outcome.stopped);
  EXPECT_EQ(outcome.requestCount, 3);
  EXPECT_EQ(outcome.skipped, 3);  // queries, not requests
  ASSERT_EQ(outcome.errors.size(), 4u);
  EXPECT_EQ(outcome.errors[0].rfind("us/a: HTTP 403 — Apple kesiyor (IP düzeyinde, 15+ dakika sürebilir). URL: ", 0),
            0u);
  EXPECT_EQ(outcome.errors[3],
            "ard arda 3 hata → koşu DURDURULDU (3 iş denenmedi). Apple kesiyorsa devam etmek yasağı derinleştirir.");
  EXPECT_TRUE(outcome.results[3].status.isSkipped());
  EXPECT_TRUE(outcome.results[5].status.isSkipped());
}

// Whoever ran the batch must know whether the store refused it (every later request is then held) and
// what the last failure was (a halt names it).
TEST_F(ClientTest, TheBatchTellsARefusalAndItsLastFailure) {
  transport.queue({"", 403});
  transport.queue({"", 403});
  transport.queue({"", 403});
  transport.queue({searchAnswer({"1"}), 200});
  transport.queue({"", 404});
  const auto outcome = client.rank({{"1", "us", "a"}, {"1", "us", "b"}, {"1", "us", "c"}}, 3);
  EXPECT_FALSE(outcome.halted);
  EXPECT_TRUE(outcome.refused);  // the first request's, though later ones were no refusals
  EXPECT_EQ(outcome.lastFailureCause, "HTTP 404");
  EXPECT_FALSE(outcome.lastFailureRefused);

  transport.queue({searchAnswer({"1"}), 200});
  const auto clean = client.rank({{"1", "us", "d"}}, 3);
  EXPECT_FALSE(clean.refused);
  EXPECT_TRUE(clean.lastFailureCause.empty());
}

TEST_F(ClientTest, ASuccessBetweenFailuresResetsTheGuard) {
  transport.queue({"", 404});
  transport.queue({"", 404});
  transport.queue({searchAnswer({"1"}), 200});
  transport.queue({"", 404});
  transport.queue({"", 404});
  transport.queue({searchAnswer({"1"}), 200});
  std::vector<RankQuery> queries;
  for (const auto* keyword : {"a", "b", "c", "d", "e", "f"}) {
    queries.push_back({"1", "us", keyword});
  }
  const auto outcome = client.rank(queries, 3);
  EXPECT_FALSE(outcome.halted);
  EXPECT_EQ(outcome.requestCount, 6);
}

TEST_F(ClientTest, UnknownStorefrontFailsItsRequestWithoutTrafficOrPacing) {
  transport.respondWith([](const std::string&) { return HttpResponse{searchAnswer({"1"}), 200}; });
  const auto outcome = client.rank({{"1", "uk", "a"}, {"1", "", "a"}, {"1", "us", "a"}}, 3);
  ASSERT_EQ(transport.requests.size(), 1u);
  EXPECT_EQ(*outcome.results[0].status.failure(),
            "bilinmeyen storefront 'uk' — X-Apple-Store-Front tablosunda yok. Sessizce US'e düşmek yerine duruyorum: o "
            "ülke için sonuç GEÇERSİZ olurdu.");
  EXPECT_EQ(outcome.errors[1].rfind("/a: bilinmeyen storefront '' — ", 0), 0u);
  EXPECT_TRUE(outcome.results[2].status.isMeasured());
  EXPECT_EQ(clock.slept(), 0s);
}

TEST_F(ClientTest, UnknownStorefrontsCountAsFailedRequestsOfTheBatch) {
  const auto outcome = client.rank({{"1", "uk", "a"}, {"1", "xx", "a"}, {"1", "usa", "a"}, {"1", "us", "a"}}, 3);
  EXPECT_TRUE(transport.requests.empty());
  EXPECT_TRUE(outcome.halted);
  EXPECT_EQ(outcome.requestCount, 3);
  EXPECT_EQ(outcome.skipped, 1);
  EXPECT_TRUE(outcome.results[3].status.isSkipped());
}

TEST_F(ClientTest, ARankIsTheFirstExactMatch) {
  transport.respondWith([](const std::string&) {
    return HttpResponse{searchAnswer({"10", "20", "10", "010", "30"}), 200};
  });
  const auto outcome = client.rank({{"10", "us", "a"}, {"010", "us", "a"}, {"1", "us", "a"}, {" 20", "us", "a"}}, 3);
  EXPECT_EQ(outcome.results[0].status.observation()->rank, 1);
  EXPECT_EQ(outcome.results[1].status.observation()->rank, 4);
  EXPECT_EQ(outcome.results[2].status.observation()->rank, std::nullopt);
  EXPECT_EQ(outcome.results[3].status.observation()->rank, std::nullopt);
  EXPECT_EQ(outcome.results[0].status.observation()->resultCount, 5);  // the repeat counts, as the store sent it
}

struct CooldownCase {
  std::chrono::nanoseconds left;
  std::optional<std::int64_t> seconds;
};

class CooldownRounding : public ClientTest, public ::testing::WithParamInterface<CooldownCase> {};

TEST_P(CooldownRounding, WholeSecondsRoundedUpAndNoneOnceRunOut) {
  client.hold(clock.wallNow() + GetParam().left);
  EXPECT_EQ(client.cooldownSecondsLeft(), GetParam().seconds);
  transport.respondWith([](const std::string&) { return HttpResponse{searchAnswer({"1"}), 200}; });
  client.rank({{"1", "us", "a"}}, 3);
  EXPECT_EQ(transport.requests.empty(), GetParam().seconds.has_value());
}

INSTANTIATE_TEST_SUITE_P(Holds, CooldownRounding,
                         ::testing::Values(CooldownCase{42300ms, 43}, CooldownCase{43s, 43}, CooldownCase{900s, 900},
                                           CooldownCase{899001ms, 900}, CooldownCase{1ns, 1}, CooldownCase{0s, {}},
                                           CooldownCase{-1ns, {}}, CooldownCase{-5s, {}}));

TEST_F(ClientTest, HoldRefusesEveryRequestWithSecondsRoundedUp) {
  client.hold(clock.wallNow() + 42300ms);
  EXPECT_EQ(client.cooldownSecondsLeft(), 43);
  const auto outcome = client.rank({{"1", "us", "a"}, {"1", "us", "b"}, {"1", "us", "c"}, {"1", "us", "d"}}, 3);
  EXPECT_TRUE(transport.requests.empty());
  EXPECT_TRUE(outcome.halted);
  EXPECT_EQ(outcome.errors[0],
            "us/a: istemci 403 sonrası bekletmede (43 sn kaldı) — istek atılmadı. Yasak IP düzeyinde; beklemeden "
            "sormak onu derinleştirir.");
  clock.advance(42300ms);
  EXPECT_EQ(client.cooldownSecondsLeft(), std::nullopt);  // a hold in the past needs no clearing
  client.hold(clock.wallNow() + 900s);
  EXPECT_EQ(client.cooldownSecondsLeft(), 900);
  client.releaseHold();
  EXPECT_EQ(client.cooldownSecondsLeft(), std::nullopt);
}

TEST_F(ClientTest, HoldIsCheckedBeforeEveryRetry) {
  transport.respondWith([&](const std::string&) {
    client.hold(clock.wallNow() + 100s);
    return HttpResponse{"", 503};
  });
  try {
    client.hints("a", "us");
    FAIL() << "expected a cooldown";
  } catch (const AsoError& error) {
    ASSERT_TRUE(error.as<AsoError::CoolingDown>());
    EXPECT_EQ(error.as<AsoError::CoolingDown>()->secondsLeft, 92);  // 100 s less the 8 s back-off
  }
  EXPECT_EQ(transport.requests.size(), 1u);
}

TEST_F(ClientTest, StopBeforeTheFirstRequestSkipsEverything) {
  const auto outcome = client.rank({{"1", "us", "a"}, {"2", "us", "a"}}, 3, {}, [] { return true; });
  EXPECT_TRUE(outcome.stopped);
  EXPECT_EQ(outcome.requestCount, 0);
  EXPECT_EQ(outcome.skipped, 2);
  EXPECT_TRUE(transport.requests.empty());
  EXPECT_TRUE(outcome.results[0].status.isSkipped());
}

TEST_F(ClientTest, StopAfterTwoOfFiveRequests) {
  transport.respondWith([](const std::string&) { return HttpResponse{searchAnswer({"1"}), 200}; });
  std::vector<RankQuery> queries;
  for (const auto* keyword : {"a", "b", "c", "d", "e"}) {
    queries.push_back({"1", "us", keyword});
  }
  int done = 0;
  const auto outcome = client.rank(
      queries, 3, [&](const RankProgress&) { ++done; }, [&] { return done == 2; });
  EXPECT_TRUE(outcome.stopped);
  EXPECT_EQ(outcome.requestCount, 2);
  EXPECT_EQ(outcome.skipped, 3);
  EXPECT_EQ(outcome.observations.size(), 2u);
}

TEST_F(ClientTest, CancellationDuringABackoffEndsAtOnce) {
  std::stop_source stop;
  transport.respondWith([&](const std::string&) {
    stop.request_stop();
    return HttpResponse{"", 503};
  });
  EXPECT_THROW(client.hints("a", "us", stop.get_token()), Cancelled);
  EXPECT_EQ(transport.requests.size(), 1u);
  EXPECT_EQ(clock.slept(), 0s);
}

TEST_F(ClientTest, ACallerWaitingForItsTurnGivesUpWhenCancelled) {
  std::promise<void> inside;
  std::promise<void> letGo;
  auto released = letGo.get_future().share();
  transport.respondWith([&](const std::string&) {
    inside.set_value();
    released.wait();
    return HttpResponse{R"({"resultCount":0,"results":[]})", 200};
  });
  // The first caller has the client and is held in its request.
  auto first = std::async(std::launch::async, [&] { return client.lookup({"1"}, "us"); });
  inside.get_future().wait();

  std::stop_source closing;
  auto waiting = std::async(std::launch::async, [&] { return client.hints("b", "us", closing.get_token()); });
  auto batch = std::async(std::launch::async, [&] {
    return client.rank({{"1", "us", "x"}, {"2", "us", "y"}}, 3, {}, {}, closing.get_token());
  });
  closing.request_stop();
  EXPECT_THROW(waiting.get(), Cancelled);
  const auto outcome = batch.get();
  EXPECT_TRUE(outcome.stopped);
  EXPECT_EQ(outcome.requestCount, 0);
  EXPECT_EQ(outcome.skipped, 2);
  ASSERT_EQ(outcome.results.size(), 2u);
  EXPECT_TRUE(outcome.results[1].status.isSkipped());

  letGo.set_value();
  EXPECT_TRUE(first.get().empty());
  EXPECT_EQ(transport.requests.size(), 1u) << "the cancelled callers asked nothing";
}

TEST_F(ClientTest, SearchDressesTheHeadWithLookupAndFallsBackToSearchNames) {
  transport.respondWith([](const std::string& url) {
    if (url.find("/lookup") != std::string::npos) {
      return HttpResponse{R"({"results":[{"trackId":30,"trackName":"Thirty","artistName":"Dev","bundleId":"c.d.e",
        "artworkUrl512":"https://img/x/512x512bb.jpg","userRatingCount":1500,"averageUserRating":4.5}]})",
                          200};
    }
    return HttpResponse{searchAnswer({"30", "40", "50"}, 1), 200};
  });
  const auto outcome = client.search("photo & video", "TR", 2);
  ASSERT_EQ(transport.requests.size(), 2u);
  EXPECT_EQ(transport.requests[1].url, "https://lookup.test/lookup?id=30,40&country=tr&lang=tr_tr");
  EXPECT_TRUE(transport.requests[1].headers.empty());
  EXPECT_EQ(outcome.resultCount, 3);
  EXPECT_EQ(outcome.country, "TR");
  ASSERT_EQ(outcome.apps.size(), 2u);
  EXPECT_EQ(outcome.apps[0], (RankedApp{"30", 1, "Thirty", "Dev", "c.d.e", "https://img/x/128x128bb.webp", "appstore",
                                        1500, 4.5, "https://img/x/512x512bb.jpg"}))
      << "the client keeps the lookup's artwork beside the icon it made from it";
  EXPECT_EQ(outcome.apps[1], (RankedApp{"40", 2, "?", "", {}, {}, "appstore", {}, {}, {}}));
}

TEST_F(ClientTest, SearchWithLimitZeroAsksNoLookup) {
  transport.respondWith([](const std::string&) { return HttpResponse{searchAnswer({"1"}), 200}; });
  EXPECT_TRUE(client.search("x", "us", 0).apps.empty());
  EXPECT_EQ(transport.requests.size(), 1u);
}

TEST_F(ClientTest, LookupSplitsIntoChunksOfFiftyInOrder) {
  transport.respondWith([](const std::string&) { return HttpResponse{R"({"results":[]})", 200}; });
  std::vector<std::string> ids;
  for (int i = 0; i < 120; ++i) {
    ids.push_back(std::to_string(1000 + i));
  }
  client.lookup(ids, "us");
  ASSERT_EQ(transport.requests.size(), 3u);
  const auto idsOf = [&](std::size_t first, std::size_t count) {
    std::string joined;
    for (std::size_t i = first; i < first + count; ++i) {
      joined += (joined.empty() ? "" : ",") + ids[i];
    }
    return "https://lookup.test/lookup?id=" + joined + "&country=us&lang=en_us";
  };
  EXPECT_EQ(transport.requests[0].url, idsOf(0, 50));
  EXPECT_EQ(transport.requests[1].url, idsOf(50, 50));
  EXPECT_EQ(transport.requests[2].url, idsOf(100, 20));
  EXPECT_TRUE(client.lookup({}, "us").empty());
  EXPECT_EQ(transport.requests.size(), 3u);
}

TEST_F(ClientTest, HintsOutcomeCarriesPriorityFlagAndPrefixAsSent) {
  transport.queue({R"(<?xml version="1.0" encoding="UTF-8"?><plist version="1.0"><dict><key>hints</key><array>
    <dict><key>term</key><string>ab c</string></dict><dict><key>term</key><string>ab d</string>
    <key>priority</key><integer>7</integer></dict></array></dict></plist>)",
                   200});
  const auto outcome = client.hints("ab ", "Us ");
  EXPECT_EQ(transport.requests[0].url,
            "https://search.test/WebObjects/MZSearchHints.woa/wa/hints?clientApplication=Software&term=ab%20");
  EXPECT_TRUE(outcome.carriesPriority);
  EXPECT_EQ(outcome.prefix, "ab ");
  EXPECT_EQ(outcome.country, "Us ");
  EXPECT_EQ(outcome.source, "appstore-hints");
}

}  // namespace
}  // namespace asokit
