#include "app/research/app_reference.h"

#include <gtest/gtest.h>

#include "app/store/store.h"
#include "app/store/watchlist_writer.h"

namespace tovra::research {
namespace {

struct IdCase {
  const char* name;
  std::string text;
  std::optional<std::string> id;
};

class AppStoreIdInTest : public ::testing::TestWithParam<IdCase> {};

TEST_P(AppStoreIdInTest, FindsTheIdEveryFormOfAStoreLinkCarries) {
  EXPECT_EQ(appStoreIdIn(GetParam().text), GetParam().id);
}

INSTANTIATE_TEST_SUITE_P(
    Forms, AppStoreIdInTest,
    ::testing::Values(IdCase{"Digits", " 1234567890 ", "1234567890"}, IdCase{"FourDigitsAreNoId", "1234", std::nullopt},
                      IdCase{"IdPrefix", "id1234567890", "1234567890"},
                      IdCase{"WebPage", "https://apps.apple.com/us/app/lumen-photo/id1234567890", "1234567890"},
                      IdCase{"WithoutScheme", "apps.apple.com/gb/app/lumen/id1234567890", "1234567890"},
                      IdCase{"WithQuery", "https://apps.apple.com/app/id1234567890?l=de&mt=8", "1234567890"},
                      IdCase{"StoreAppLink", "itms-apps://apps.apple.com/app/id1234567890", "1234567890"},
                      IdCase{"OldHost", "https://itunes.apple.com/us/app/lumen/id1234567890?mt=8", "1234567890"},
                      IdCase{"UpperCaseHost", "HTTPS://Apps.Apple.com/us/app/x/id1234567890", "1234567890"},
                      IdCase{"LastIdPartWins", "apps.apple.com/us/app/id111111/id222222", "222222"},
                      IdCase{"AnotherHost", "https://example.com/app/id1234567890", std::nullopt},
                      IdCase{"PageWithoutId", "https://apps.apple.com/us/charts", std::nullopt},
                      IdCase{"Name", "Lumen Photo", std::nullopt}, IdCase{"BundleId", "com.lumen.photo", std::nullopt}),
    [](const auto& info) { return std::string(info.param.name); });

TEST(ResolverTextForTest, HandsTheResolverTheIdOnlyWhereItWouldReadAName) {
  EXPECT_EQ(resolverTextFor("apps.apple.com/us/app/lumen/id1234567890"), "1234567890");
  EXPECT_EQ(resolverTextFor("id1234567890"), "1234567890");
  // Forms the resolver reads itself are passed on as typed, so its own captions stay right.
  EXPECT_EQ(resolverTextFor("https://apps.apple.com/us/app/lumen/id1234567890"),
            "https://apps.apple.com/us/app/lumen/id1234567890");
  EXPECT_EQ(resolverTextFor("com.lumen.photo"), "com.lumen.photo");
  EXPECT_EQ(resolverTextFor("Lumen"), "Lumen");
}

class FindTrackedAppTest : public ::testing::Test {
 protected:
  FindTrackedAppTest() {
    lumen = writer.trackApp({"1234567890", "Lumen Photo", "Lumen Labs", "com.lumen.Photo", {}}, "us", true).app;
    writer.trackApp({"1234567890", "Lumen Foto", "Lumen Labs", "com.lumen.Photo", {}}, "de", true);
    tiles = writer.trackApp({"222222", "Tiles", "Tiles Co", {}, {}}, "us", false).app;
    tilesToo = writer.trackApp({"333333", "TILES", "Other Co", {}, {}}, "us", false).app;
  }
  asokit::VirtualClock clock;
  std::unique_ptr<store::Store> store = store::Store::inMemory();
  store::WatchlistWriter writer{*store, clock.wall()};
  store::TrackedApp lumen, tiles, tilesToo;
};

TEST_F(FindTrackedAppTest, EveryWayOfNamingTheAppFindsIt) {
  for (const std::string text : {"1234567890", "id1234567890", "apps.apple.com/us/app/lumen/id1234567890",
                                 "COM.LUMEN.PHOTO", "lumen photo", "Lumen Foto", "  Lumen Photo  "}) {
    const auto match = findTrackedApp(*store, text);
    ASSERT_TRUE(match.app) << text;
    EXPECT_EQ(match.app->appStoreId, "1234567890") << text;
  }
}

TEST_F(FindTrackedAppTest, AShortNumberIsAnIdAndAnUntrackedIdIsNamedAsOne) {
  EXPECT_EQ(findTrackedApp(*store, "222222").app, tiles);
  const auto untracked = findTrackedApp(*store, "42");
  EXPECT_FALSE(untracked.app);
  EXPECT_TRUE(untracked.byId);
  EXPECT_EQ(untracked.id, "42");
}

TEST_F(FindTrackedAppTest, ANameTwoAppsShareNamesNone) {
  const auto match = findTrackedApp(*store, "tiles");
  EXPECT_FALSE(match.app);
  ASSERT_EQ(match.named.size(), 2u);
  EXPECT_EQ(ambiguousAppText(" tiles ", match.named),
            "2 tracked apps are called “tiles”; name one by its App Store id: 222222 (Tiles), 333333 (TILES)");
  EXPECT_FALSE(findTrackedApp(*store, "Nobody").app);
  EXPECT_TRUE(findTrackedApp(*store, "Nobody").named.empty());
}

}  // namespace
}  // namespace tovra::research
