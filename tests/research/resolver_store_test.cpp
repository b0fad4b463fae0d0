#include "app/research/resolver_store.h"

#include <gtest/gtest.h>

#include <nlohmann/json.hpp>
#include <string>
#include <vector>

#include "AsoKit/aso_client.h"
#include "AsoKit/clock.h"
#include "AsoKit/transport.h"
#include "support/manual_queue.h"

namespace tovra::research {
namespace {

// Answers lookups and searches the way the store does, and records every address asked.
class StoreTransport final : public asokit::HTTPTransport {
 public:
  asokit::HttpResponse fetch(const std::string& url, const asokit::Headers&, std::stop_token) override {
    urls.push_back(url);
    if (url.find("/lookup?bundleId=com.lumen.photo&") != std::string::npos) {
      return {lookupAnswer({"1234567890"}), 200};
    }
    if (url.find("/lookup?id=1234567890&") != std::string::npos) {
      return {lookupAnswer({"1234567890"}), 200};
    }
    if (url.find("/lookup?id=111111%2C222222&") != std::string::npos ||
        url.find("/lookup?id=111111,222222&") != std::string::npos) {
      return {lookupAnswer({"111111", "222222"}), 200};
    }
    if (url.find("/lookup?") != std::string::npos) {
      return {lookupAnswer({}), 200};
    }
    if (url.find("/search?") != std::string::npos) {
      return {searchAnswer({"111111", "222222", "333333"}), 200};
    }
    return {"", 404};
  }

  std::vector<std::string> urls;

 private:
  static std::string lookupAnswer(const std::vector<std::string>& ids) {
    nlohmann::json results = nlohmann::json::array();
    for (const auto& id : ids) {
      results.push_back({{"trackId", std::stoll(id)},
                         {"trackName", id == "111111" ? "Lumen" : "Lumen " + id},
                         {"artistName", "Lumen Labs"},
                         {"bundleId", "com.lumen.photo"}});
    }
    return nlohmann::json{{"resultCount", ids.size()}, {"results", results}}.dump();
  }

  static std::string searchAnswer(const std::vector<std::string>& ids) {
    nlohmann::json results = nlohmann::json::array();
    nlohmann::json names = nlohmann::json::object();
    for (const auto& id : ids) {
      results.push_back({{"id", id}, {"type", 0}});
      names[id] = {{"id", id}, {"name", "App " + id}};
    }
    return nlohmann::json{{"bubbles", {{{"name", "software"}, {"results", results}}}},
                          {"storePlatformData", {{"native-search-lockup-search", {{"results", names}}}}}}
        .dump();
  }
};

class ResolverStoreTest : public ::testing::Test {
 protected:
  asokit::VirtualClock clock;
  StoreTransport transport;
  asokit::AsoClient client{transport, clock.monotonic(), clock.wall(),
                           asokit::ClientConfig{.endpoints = {"https://search.test", "https://lookup.test"}}};
  tovra::testing::ManualQueue queue;
  AppResolverModel model{clientLookup(client), clientSearch(client, 2), queue};

  void resolve(std::string_view raw, std::string_view country) {
    model.resolve(raw, country);
    queue.runUntil([&] { return !std::holds_alternative<AppResolverModel::Resolving>(model.phase()); });
  }
};

TEST_F(ResolverStoreTest, LinkIsLookedUpByIdInTheChosenCountry) {
  resolve("https://apps.apple.com/de/app/lumen/id1234567890", "DE");
  ASSERT_EQ(transport.urls.size(), 1u);
  EXPECT_EQ(transport.urls[0], "https://lookup.test/lookup?id=1234567890&country=de&lang=de_de");
  ASSERT_TRUE(model.selected().has_value());
  EXPECT_EQ(model.selected()->name, "Lumen 1234567890");
  EXPECT_EQ(model.selected()->country, "de");
}

TEST_F(ResolverStoreTest, BundleIdUsesTheBundleLookup) {
  resolve("com.lumen.photo", "us");
  ASSERT_EQ(transport.urls.size(), 1u);
  EXPECT_EQ(transport.urls[0], "https://lookup.test/lookup?bundleId=com.lumen.photo&country=us&lang=en_us");
  EXPECT_EQ(model.selected()->id, "1234567890");
}

TEST_F(ResolverStoreTest, UnknownIdIsAbsent) {
  resolve("99999", "us");
  EXPECT_TRUE(std::holds_alternative<AppResolverModel::Absent>(model.phase()));
}

TEST_F(ResolverStoreTest, NameIsSearchedAndTheDressedFirstResultPickedByName) {
  resolve("LUMEN", "us");
  ASSERT_GE(transport.urls.size(), 1u);
  EXPECT_NE(transport.urls[0].find("https://search.test/"), std::string::npos);
  const auto& apps = std::get<AppResolverModel::Results>(model.phase()).apps;
  ASSERT_EQ(apps.size(), 2u);
  EXPECT_EQ(apps[0].name, "Lumen");
  EXPECT_EQ(apps[1].position, 2);
  EXPECT_TRUE(model.pickedByNameAmongSeveral());
}

TEST_F(ResolverStoreTest, UnknownStorefrontFailsWithTheClientsText) {
  resolve("Lumen", "uk");
  const auto* failed = std::get_if<AppResolverModel::Failed>(&model.phase());
  ASSERT_NE(failed, nullptr);
  EXPECT_EQ(failed->message.rfind("bilinmeyen storefront 'uk' — X-Apple-Store-Front tablosunda yok. ", 0), 0u);
  EXPECT_TRUE(transport.urls.empty());
}

}  // namespace
}  // namespace tovra::research
