#include "app/research/argument_keywords.h"

#include <gtest/gtest.h>

#include <unordered_set>

#include "app/research/keyword_list_parser.h"

namespace tovra::research {
namespace {

struct Case {
  const char* name;
  std::vector<std::string> arguments;
  std::vector<std::string> keywords;  // what the parser then accepts
  std::vector<std::string> joined;
};

class ArgumentKeywords : public ::testing::TestWithParam<Case> {};

TEST_P(ArgumentKeywords, ShellWordsMeetAgainWhereNoSeparatorStoodBetweenThem) {
  const auto& c = GetParam();
  const auto paste = pasteFromArguments(c.arguments);
  EXPECT_EQ(KeywordListParser::parse(paste.text, {}, 50).keywords, c.keywords) << paste.text;
  EXPECT_EQ(paste.joined, c.joined);
}

INSTANTIATE_TEST_SUITE_P(
    Cases, ArgumentKeywords,
    ::testing::Values(
        Case{"OneWord", {"maps"}, {"maps"}, {}},
        Case{"UnquotedWordsAreOneKeyword", {"photo", "editor"}, {"photo editor"}, {"photo editor"}},
        Case{"QuotedKeywordsStandApart",
             {"photo editor", "collage maker", "selfie"},
             {"photo editor", "collage maker", "selfie"},
             {}},
        Case{"WordsAfterAQuotedKeywordJoinEachOther",
             {"photo editor", "best", "maps"},
             {"photo editor", "best maps"},
             {"best maps"}},
        Case{"CommaAtTheEndOfAWordSeparates", {"photo", "editor,", "maps"}, {"photo editor", "maps"}, {"photo editor"}},
        Case{"CommaAsAWordOfItsOwnSeparates", {"photo", ",", "maps"}, {"photo", "maps"}, {}},
        Case{"CommaAtTheStartOfAWordSeparates", {"photo", ",maps", "app"}, {"photo", "maps app"}, {"maps app"}},
        Case{"SeparatorsInsideAWordSplitIt",
             {"best", "photo,collage", "maker"},
             {"best photo", "collage maker"},
             {"best photo", "collage maker"}},
        Case{"FullWidthSeparatorsCount", {"東京", "地図，", "天気"}, {"東京 地図", "天気"}, {"東京 地図"}},
        Case{"OneQuotedListIsAPaste", {"COLLAGE;stickers;stickers"}, {"COLLAGE", "stickers"}, {}},
        Case{"ALineBreakInsideAnArgumentKeepsItsPieces", {"a\nb", "c"}, {"a", "b", "c"}, {}}),
    [](const auto& info) { return std::string(info.param.name); });

TEST(ArgumentKeywordsWarning, NamesWhatWasTakenAsOneKeyword) {
  EXPECT_FALSE(joinedWarning({}));
  EXPECT_EQ(joinedWarning({"photo editor"}),
            "Read as one keyword: “photo editor”. To add several, separate them with commas or quote each one.");
  EXPECT_EQ(
      joinedWarning({"photo editor", "best maps"}),
      "Read as one keyword each: “photo editor” · “best maps”. To add several, separate them with commas or quote "
      "each one.");
}

}  // namespace
}  // namespace tovra::research
