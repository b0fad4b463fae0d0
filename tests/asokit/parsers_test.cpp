#include <gtest/gtest.h>

#include "AsoKit/aso_error.h"
#include "AsoKit/json_codec.h"
#include "AsoKit/lookup.h"
#include "AsoKit/search_hints.h"
#include "AsoKit/store_search.h"
#include "asokit/fixture.h"

namespace asokit {
namespace {

std::string shapeDetail(const std::function<void()>& parse) {
  try {
    parse();
  } catch (const AsoError& error) {
    if (const auto* shape = error.as<AsoError::ShapeChanged>()) {
      return shape->detail;
    }
    return "other AsoError: " + error.description();
  }
  return "no error";
}

TEST(StoreSearchParse, TopLevelBubblesPickSoftwareAndNamesOnlyTheHead) {
  const auto result = store_search::parse(readFixture("modelled/search-toplevel-us.json"));
  ASSERT_EQ(result.orderedIds.size(), 25u);
  EXPECT_EQ(result.orderedIds[0], "5969818424");
  EXPECT_EQ(result.orderedIds[24], "1060213899");
  EXPECT_EQ(result.names.size(), 8u);
  const auto top = result.topApps(10);
  ASSERT_EQ(top.size(), 10u);
  EXPECT_EQ(top[0], (TopApp{"5969818424", "Photo Editor Pro"}));
  EXPECT_EQ(top[9].name, "?");
}

TEST(StoreSearchParse, PageDataBubblesWithSoftwareSecondDropsIdlessElementsWithoutGap) {
  const auto result = store_search::parse(readFixture("modelled/search-pagedata-tr.json"));
  const std::vector<std::string> expected{"5969818424", "931892279",  "3079742288", "4890078771",
                                          "2585595691", "6149589240", "4828070773", "2463419893",
                                          "445042648",  "2146494042", "584026767",  "4968576729"};
  EXPECT_EQ(result.orderedIds, expected);  // the numeric id reads as its decimal text
  EXPECT_EQ(result.names.count("2146494042"), 0u);
  EXPECT_EQ(result.topApps(10)[9], (TopApp{"2146494042", "?"}));
  EXPECT_EQ(result.names.at("4828070773"), "Darkroom: Photo & Video");
}

TEST(StoreSearchParse, EmptyResultIsValid) {
  const auto result = store_search::parse(readFixture("modelled/search-empty.json"));
  EXPECT_TRUE(result.orderedIds.empty());
  EXPECT_TRUE(result.topApps(10).empty());
}

struct ShapeCase {
  const char* name;
  std::string body;
  const char* detail;
};

class StoreSearchShape : public ::testing::TestWithParam<ShapeCase> {};

TEST_P(StoreSearchShape, FailsWithItsDetailNeverAnEmptyResult) {
  EXPECT_EQ(shapeDetail([&] { store_search::parse(GetParam().body); }), GetParam().detail);
}

INSTANTIATE_TEST_SUITE_P(
    Bodies, StoreSearchShape,
    ::testing::Values(
        ShapeCase{"RealFragmentHead", readFixture("real/search-1-tw-toplevel-FRAGMENT-head.txt"),
                  "kök JSON nesnesi değil"},
        ShapeCase{"RealFragmentTail", readFixture("real/search-1-tw-toplevel-FRAGMENT-tail.txt"),
                  "kök JSON nesnesi değil"},
        ShapeCase{"JsonList", "[1,2]", "kök JSON nesnesi değil"}, ShapeCase{"Empty", "", "kök JSON nesnesi değil"},
        ShapeCase{"Html", "<html><body>Service Unavailable</body></html>", "kök JSON nesnesi değil"},
        ShapeCase{"Truncated", R"({"bubbles":[{"name":"software","results":["1","2")", "kök JSON nesnesi değil"},
        ShapeCase{"NoBubbles", R"({"pageData":{},"results":[]})", "'bubbles' yok"},
        ShapeCase{"BubblesNotList", R"({"bubbles":{"name":"software"}})", "'bubbles' yok"},
        ShapeCase{"BubbleNotObject", R"({"bubbles":["software"]})", "'bubbles' yok"},
        ShapeCase{"NoBubble", R"({"bubbles":[]})", "'bubbles[].results' yok"},
        ShapeCase{"NoResults", R"({"bubbles":[{"name":"software"}]})", "'bubbles[].results' yok"},
        ShapeCase{"ResultsNotList", R"({"bubbles":[{"name":"software","results":{}}]})", "'bubbles[].results' yok"},
        ShapeCase{"Noise", std::string(10 * 1024 * 1024, '\x9c'), "kök JSON nesnesi değil"}),
    [](const auto& info) { return std::string(info.param.name); });

TEST(StoreSearchParse, FirstBubbleWhenNoneIsSoftwareAndLaterNameWins) {
  const auto result = store_search::parse(
      R"({"bubbles":[{"name":"other","results":[7,{"id":8.0},{"id":true},"9"]}],
          "storePlatformData":{"a":{"results":{"7":{"name":"Old"}}},"b":{"results":{"7":{"name":"New"},"8":{"name":5}}},
          "c":"odd"}})");
  EXPECT_EQ(result.orderedIds, (std::vector<std::string>{"7", "8", "9"}));
  EXPECT_EQ(result.names.at("7"), "New");
  EXPECT_EQ(result.names.count("8"), 0u);
}

TEST(StoreSearchParse, OnlyTheDocumentedPlacesAreRead) {
  // Ids given as containers are not ids; a "bubbles" or "name" deeper down is not the answer's.
  const auto result = store_search::parse(
      R"({"bubbles":[{"name":"software","results":[{"id":{"x":1}},{"id":[1]},"5",{"id":6,"x":{"id":"7"}}]}],
          "x":{"bubbles":[]},"storePlatformData":{"s":{"results":{"5":{"x":{"name":"deep"}},"6":{"name":"Six"}}}}})");
  EXPECT_EQ(result.orderedIds, (std::vector<std::string>{"5", "6"}));
  EXPECT_EQ(result.names.count("5"), 0u);
  EXPECT_EQ(result.names.at("6"), "Six");
  EXPECT_EQ(shapeDetail([] { store_search::parse(R"({"x":{"bubbles":[{"results":[]}]}})"); }), "'bubbles' yok");
  // Bubbles under pageData win over top-level ones, even when they are unreadable.
  EXPECT_EQ(shapeDetail([] { store_search::parse(R"({"pageData":{"bubbles":null},"bubbles":[{"results":[]}]})"); }),
            "'bubbles' yok");
  EXPECT_EQ(store_search::parse(R"({"pageData":[],"bubbles":[{"results":["1"]}]})").orderedIds,
            (std::vector<std::string>{"1"}));
  EXPECT_EQ(shapeDetail([] { store_search::parse(R"({"bubbles":[{"name":"software","results":["1"]}]} trailing)"); }),
            "kök JSON nesnesi değil");
}

TEST(LookupParse, RealAnswers) {
  EXPECT_TRUE(lookup::parse(readFixture("real/lookup-2-empty.json")).empty());

  const auto china = lookup::parse(readFixture("real/lookup-3-cn-zh.json"));
  ASSERT_EQ(china.size(), 1u);
  EXPECT_EQ(china[0].id, "6717578882");
  EXPECT_EQ(china[0].name, "Yummy - 宝宝辅食日记&膳食指南");
  EXPECT_EQ(china[0].bundleId, "com.bapaws.yummy");
  EXPECT_EQ(china[0].userRatingCount, 25);
  ASSERT_TRUE(china[0].averageUserRating);
  EXPECT_NEAR(*china[0].averageUserRating, 4.8, 1e-9);  // written with fifty digits

  const auto mac = lookup::parse(readFixture("real/lookup-4-mac-missing-ratings.json"));
  ASSERT_EQ(mac.size(), 6u);
  EXPECT_EQ(mac[0].name, "Slack");
  EXPECT_EQ(mac[0].userRatingCount, 1415);
  EXPECT_EQ(mac[0].averageUserRating, 4.0);
  for (std::size_t i = 1; i < mac.size(); ++i) {
    EXPECT_FALSE(mac[i].userRatingCount) << mac[i].name;
    EXPECT_FALSE(mac[i].averageUserRating) << mac[i].name;
  }
  EXPECT_EQ(mac[5].id, "1406123151");
}

TEST(LookupParse, OddValuesDegradeFieldByField) {
  const auto apps = lookup::parse(R"({"results":[
    {"trackId":1,"trackName":"A","userRatingCount":true,"averageUserRating":5.5},
    {"trackId":"2","trackName":"B","userRatingCount":1234.0,"averageUserRating":4.66,"artistName":3},
    {"trackId":3,"userRatingCount":1.5,"averageUserRating":-1},
    {"trackName":"no id"},
    {"trackId":4,"trackName":"D","userRatingCount":1.5,"averageUserRating":false,"bundleId":7}]})");
  ASSERT_EQ(apps.size(), 3u);
  EXPECT_EQ(apps[0].id, "1");
  EXPECT_FALSE(apps[0].userRatingCount);
  EXPECT_FALSE(apps[0].averageUserRating);
  EXPECT_EQ(apps[1].userRatingCount, 1234);
  EXPECT_EQ(apps[1].averageUserRating, 4.66);
  EXPECT_EQ(apps[1].developer, "");
  EXPECT_EQ(apps[2].id, "4");
  EXPECT_FALSE(apps[2].userRatingCount);
  EXPECT_FALSE(apps[2].bundleId);
}

struct ReleaseCase {
  std::string name;
  std::string fields;  // added to an element that has an id and a name
  std::optional<std::string> version;
  std::optional<std::chrono::sys_seconds> releasedAt;
};

class LookupRelease : public ::testing::TestWithParam<ReleaseCase> {};

TEST_P(LookupRelease, AVersionCountsOnlyWithItsReleaseDate) {
  const auto apps = lookup::parse(R"({"results":[{"trackId":1,"trackName":"A")" + GetParam().fields + "}]}");
  ASSERT_EQ(apps.size(), 1u);
  EXPECT_EQ(apps[0].version, GetParam().version);
  EXPECT_EQ(apps[0].versionReleasedAt, GetParam().releasedAt);
}

using std::chrono::sys_days;
using namespace std::chrono_literals;
INSTANTIATE_TEST_SUITE_P(
    Answers, LookupRelease,
    ::testing::Values(
        ReleaseCase{"both", R"(,"version":"2.2.0","currentVersionReleaseDate":"2025-05-15T00:06:01Z")", "2.2.0",
                    sys_days{2025y / 5 / 15} + 6min + 1s},
        ReleaseCase{"leapDay", R"(,"version":"1.0","currentVersionReleaseDate":"2024-02-29T23:59:59Z")", "1.0",
                    sys_days{2024y / 2 / 29} + 23h + 59min + 59s},
        ReleaseCase{"noDate", R"(,"version":"1.0")", std::nullopt, std::nullopt},
        ReleaseCase{"noVersion", R"(,"currentVersionReleaseDate":"2025-05-15T00:06:01Z")", std::nullopt, std::nullopt},
        ReleaseCase{"emptyVersion", R"(,"version":"","currentVersionReleaseDate":"2025-05-15T00:06:01Z")", std::nullopt,
                    std::nullopt},
        ReleaseCase{"numberVersion", R"(,"version":2,"currentVersionReleaseDate":"2025-05-15T00:06:01Z")", std::nullopt,
                    std::nullopt},
        ReleaseCase{"dayOnly", R"(,"version":"1.0","currentVersionReleaseDate":"2025-05-15")", std::nullopt,
                    std::nullopt},
        ReleaseCase{"noSuchDay", R"(,"version":"1.0","currentVersionReleaseDate":"2025-02-30T00:00:00Z")", std::nullopt,
                    std::nullopt},
        ReleaseCase{"offset", R"(,"version":"1.0","currentVersionReleaseDate":"2025-05-15T00:06:01+02:00")",
                    std::nullopt, std::nullopt},
        // Days the clock cannot hold, found by fuzzing: converting them overflowed.
        ReleaseCase{"pastTheClock", R"(,"version":"1.0","currentVersionReleaseDate":"9999-12-31T23:59:59Z")",
                    std::nullopt, std::nullopt},
        ReleaseCase{"beforeTheClock", R"(,"version":"1.0","currentVersionReleaseDate":"1600-01-01T00:00:00Z")",
                    std::nullopt, std::nullopt},
        ReleaseCase{"lastDayTheClockHolds", R"(,"version":"1.0","currentVersionReleaseDate":"2262-04-11T00:00:00Z")",
                    "1.0", sys_days{2262y / 4 / 11}}),
    [](const auto& info) { return info.param.name; });

TEST(LookupParse, TheRealAnswersCarryTheirCurrentRelease) {
  const auto china = lookup::parse(readFixture("real/lookup-3-cn-zh.json"));
  ASSERT_EQ(china.size(), 1u);
  EXPECT_EQ(china[0].version, "2.2.0");
  EXPECT_EQ(china[0].versionReleasedAt, sys_days{2025y / 5 / 15} + 6min + 1s);
}

TEST(AppInfoCoding, KeysAreTheFieldNamesAndAnAbsentValueIsNull) {
  const AppInfo full{"1", "A", "Dev", "a.b.c", "https://x/512x512bb.jpg", 12, 4.5};
  const nlohmann::json written = full;
  EXPECT_EQ(written, nlohmann::json::parse(R"({"id":"1","name":"A","developer":"Dev","bundleId":"a.b.c",
    "artworkUrl512":"https://x/512x512bb.jpg","userRatingCount":12,"averageUserRating":4.5})"));
  EXPECT_EQ(written.get<AppInfo>(), full);

  const AppInfo bare{"2", "B", "", {}, {}, {}, {}};
  const nlohmann::json nulls = bare;
  EXPECT_EQ(nulls, nlohmann::json::parse(R"({"id":"2","name":"B","developer":"","bundleId":null,
    "artworkUrl512":null,"userRatingCount":null,"averageUserRating":null})"));
  EXPECT_EQ(nulls.get<AppInfo>(), bare);
}

TEST(LookupParse, ShapeErrors) {
  EXPECT_EQ(shapeDetail([] { lookup::parse("[]"); }), "lookup: kök JSON nesnesi değil");
  EXPECT_EQ(shapeDetail([] { lookup::parse("<html>"); }), "lookup: kök JSON nesnesi değil");
  EXPECT_EQ(shapeDetail([] { lookup::parse(R"({"resultCount":0})"); }), "lookup: 'results' yok");
  EXPECT_EQ(shapeDetail([] { lookup::parse(R"({"results":[1]})"); }), "lookup: 'results' yok");
}

TEST(LookupUrl, ChunkQueryOrderLanguageAndArtwork) {
  EXPECT_EQ(lookup::idsUrl("https://h", {"1", "22"}, "TR"), "https://h/lookup?id=1,22&country=tr&lang=tr_tr");
  // The country goes out lower-cased but untrimmed; only the language look-up trims it.
  EXPECT_EQ(lookup::idsUrl("https://h", {"1"}, " US"), "https://h/lookup?id=1&country=%20us&lang=en_us");
  EXPECT_EQ(lookup::idsUrl("https://h", {"1"}, "ch"), "https://h/lookup?id=1&country=ch");
  EXPECT_EQ(lookup::bundleUrl("https://h", "com.a.b", "de"), "https://h/lookup?bundleId=com.a.b&country=de&lang=de_de");

  EXPECT_EQ(lookup::iconUrl("https://x/source/512x512bb.jpg"), "https://x/source/128x128bb.webp");
  EXPECT_EQ(lookup::iconUrl("https://x/a/100x100bb.png"), "https://x/a/128x128bb.webp");
  EXPECT_EQ(lookup::iconUrl("https://x/source/512x512bb.jpeg"), "https://x/source/512x512bb.jpeg");
  EXPECT_EQ(lookup::iconUrl("https://x/source/512x512bb.jpg?x=1"), "https://x/source/512x512bb.jpg?x=1");
  EXPECT_EQ(lookup::iconUrl("not a url"), std::nullopt);
}

TEST(HintsParse, RealAndModelledAnswers) {
  const auto china = search_hints::parse(readFixture("real/hints-3-priority-cn.plist"));
  ASSERT_EQ(china.terms.size(), 10u);
  EXPECT_EQ(china.terms[0], (HintTerm{1, "csgo", 6859}));
  EXPECT_EQ(china.terms[9], (HintTerm{10, "cs：go", 4605}));

  const auto us = search_hints::parse(readFixture("modelled/hints-us-nopriority.plist"));
  ASSERT_EQ(us.terms.size(), 10u);
  EXPECT_EQ(us.terms[9], (HintTerm{10, "photo & video", std::nullopt}));

  const auto mixed = search_hints::parse(readFixture("modelled/hints-binary-mixed.bplist"));
  const std::vector<HintTerm> expected{{1, "fitness", 9100},
                                       {2, "fitness tracker", 7400},
                                       {4, "fitness+ app", std::nullopt},
                                       {5, "fitbit", std::nullopt}};
  EXPECT_EQ(mixed.terms, expected);
}

TEST(HintsParse, ShapeErrors) {
  EXPECT_EQ(shapeDetail([] { search_hints::parse(R"({"hints":[{"term":"a"}]})"); }), "hints: kök plist sözlüğü değil");
  EXPECT_EQ(shapeDetail([] { search_hints::parse(""); }), "hints: kök plist sözlüğü değil");
  EXPECT_EQ(shapeDetail([] { search_hints::parse(std::string(1 << 20, 'x')); }), "hints: kök plist sözlüğü değil");
  const std::string array = R"(<?xml version="1.0" encoding="UTF-8"?><plist version="1.0"><array/></plist>)";
  EXPECT_EQ(shapeDetail([&] { search_hints::parse(array); }), "hints: kök plist sözlüğü değil");
  const std::string noHints =
      R"(<?xml version="1.0" encoding="UTF-8"?><plist version="1.0"><dict><key>title</key><string>t</string></dict></plist>)";
  EXPECT_EQ(shapeDetail([&] { search_hints::parse(noHints); }), "hints: 'hints' anahtarı yok");
  const std::string empty =
      R"(<?xml version="1.0" encoding="UTF-8"?><plist version="1.0"><dict><key>hints</key><array/></dict></plist>)";
  EXPECT_TRUE(search_hints::parse(empty).terms.empty());
}

}  // namespace
}  // namespace asokit
