#include "app/research/keyword_list_parser.h"

#include <gtest/gtest.h>

#include <string>
#include <unordered_set>
#include <vector>

#include "app/base/keyword_key.h"

namespace tovra::research {
namespace {

using Keys = std::unordered_set<std::string>;
using Result = KeywordListParser::Result;

std::string repeat(const std::string& piece, int times) {
  std::string out;
  for (int i = 0; i < times; ++i) {
    out += piece;
  }
  return out;
}

Keys keysOf(const std::vector<std::string>& keywords) {
  Keys keys;
  for (const auto& keyword : keywords) {
    keys.insert(base::keywordKey(keyword));
  }
  return keys;
}

struct SplitCase {
  const char* name;
  std::string input;
  std::vector<std::string> expected;
};

void PrintTo(const SplitCase& c, std::ostream* os) {
  *os << c.name;
}

class SplitTest : public ::testing::TestWithParam<SplitCase> {};

TEST_P(SplitTest, SplitsAtTheNineSeparatorsOnly) {
  EXPECT_EQ(splitAtSeparators(GetParam().input), GetParam().expected);
}

INSTANTIATE_TEST_SUITE_P(
    Separators, SplitTest,
    ::testing::Values(SplitCase{"all_nine",
                                "a,b;c\nd\re\r\nf\tg\uFF0Ch\uFF1Bi\u3001j",
                                {"a", "b", "c", "d", "e", "f", "g", "h", "i", "j"}},
                      SplitCase{"empty_pieces_dropped", ",,a,,\r\n\r\nb;", {"a", "b"}},
                      SplitCase{"cr_lf_inside_a_list", "photo editor\r\nfilters\r\n", {"photo editor", "filters"}},
                      SplitCase{"pieces_kept_as_they_stand", " a , b ", {" a ", " b "}},
                      SplitCase{"other_punctuation_is_not_a_separator", "a.b|c/d:e", {"a.b|c/d:e"}},
                      SplitCase{"line_separator_is_white_space_not_a_separator", "a\u2028b", {"a\u2028b"}},
                      SplitCase{"comma_carrying_a_combining_mark_is_another_character", "a,\u0301b", {"a,\u0301b"}},
                      SplitCase{"nothing", "", {}}));

TEST(KeywordListParser, ExtraCommaYieldsTheWordsAndNoNotice) {
  const auto result = KeywordListParser::parse("photo, editor,, filters", {}, 50);
  EXPECT_EQ(result, (Result{{"photo", "editor", "filters"}, 0, 0, 0, 0}));
  EXPECT_EQ(noticeText(result), std::nullopt);
}

TEST(KeywordListParser, LinesDifferingInCaseAndSpacesAreOneKeyword) {
  const auto result = KeywordListParser::parse("  Photo   Editor \nphoto editor", {}, 50);
  EXPECT_EQ(result, (Result{{"Photo Editor"}, 1, 0, 0, 0}));
  EXPECT_EQ(noticeText(result), "1 repeated in what you pasted");
}

TEST(KeywordListParser, CapitalDottedIRepeatsItsLowerCaseForm) {
  const auto result = KeywordListParser::parse("İzmir otelleri;izmir otelleri", {}, 50);
  EXPECT_EQ(result, (Result{{"İzmir otelleri"}, 1, 0, 0, 0}));
}

TEST(KeywordListParser, HundredCharactersPassAndHundredAndOneAreTooLong) {
  // Letters with a combining accent and ZWJ families are one character each, though several code points.
  const auto accented = repeat("e\u0301", 100);
  const auto family = repeat("👨\u200D👩\u200D👧", 100);
  const auto result =
      KeywordListParser::parse(repeat("x", 100) + "\n" + repeat("y", 101) + "\n" + accented + "\n" + family + "\n" +
                                   repeat("e\u0301", 101) + "\n" + repeat("👨\u200D👩\u200D👧", 101),
                               {}, 50);
  EXPECT_EQ(result.keywords, (std::vector<std::string>{repeat("x", 100), accented, family}));
  EXPECT_EQ(result.tooLong, 3);
}

TEST(KeywordListParser, CountsLengthAfterCollapsingWhiteSpace) {
  const auto result = KeywordListParser::parse("   " + repeat("a", 50) + "     " + repeat("b", 49) + "   ", {}, 50);
  EXPECT_EQ(result.keywords.size(), 1u);
  EXPECT_EQ(result.tooLong, 0);
}

TEST(KeywordListParser, FortyEightDraftsLeaveRoomForTwoOfFive) {
  const auto result = KeywordListParser::parse("a, b, c, d, e", {}, 50 - 48);
  EXPECT_EQ(result, (Result{{"a", "b"}, 0, 0, 0, 3}));
  EXPECT_EQ(noticeText(result), "3 over the 50-keyword limit");
}

TEST(KeywordListParser, NegativeLimitAcceptsNothing) {
  EXPECT_EQ(KeywordListParser::parse("a, b", {}, -1), (Result{{}, 0, 0, 0, 2}));
  EXPECT_EQ(KeywordListParser::parse("a, b", {}, 0), (Result{{}, 0, 0, 0, 2}));
}

TEST(KeywordListParser, WhiteSpaceOnlyPiecesCountNowhere) {
  EXPECT_EQ(KeywordListParser::parse(" , \u3000 ;\u00A0\n", {}, 50), Result{});
}

struct OrderCase {
  const char* name;
  std::string input;
  std::vector<std::string> existing;
  std::int64_t limit;
  Result expected;
};

void PrintTo(const OrderCase& c, std::ostream* os) {
  *os << c.name;
}

class CountingOrderTest : public ::testing::TestWithParam<OrderCase> {};

TEST_P(CountingOrderTest, RepeatedThenAlreadyAddedThenTooLongThenOverLimit) {
  const auto& c = GetParam();
  EXPECT_EQ(KeywordListParser::parse(c.input, keysOf(c.existing), c.limit), c.expected);
}

INSTANTIATE_TEST_SUITE_P(
    Parser, CountingOrderTest,
    ::testing::Values(
        OrderCase{"repeat_of_a_too_long_piece_is_repeated",
                  repeat("x", 101) + "," + repeat("X", 101),
                  {},
                  50,
                  Result{{}, 1, 0, 1, 0}},
        OrderCase{
            "repeat_of_an_already_added_piece_is_repeated", "Notes, notes", {"notes"}, 50, Result{{}, 1, 1, 0, 0}},
        OrderCase{"repeat_of_an_over_limit_piece_is_repeated", "a, b, B", {}, 1, Result{{"a"}, 1, 0, 0, 1}},
        OrderCase{"already_added_is_never_too_long", repeat("z", 120), {repeat("Z", 120)}, 50, Result{{}, 0, 1, 0, 0}},
        OrderCase{
            "too_long_does_not_use_up_the_limit", repeat("q", 101) + ", short", {}, 1, Result{{"short"}, 0, 0, 1, 0}},
        OrderCase{"already_added_does_not_use_up_the_limit", "old, new", {"OLD"}, 1, Result{{"new"}, 0, 1, 0, 0}}));

TEST(NoticeText, AlreadyAddedComesBeforeRepeated) {
  const auto result = KeywordListParser::parse("fresh, fresh, kept", keysOf({"kept"}), 50);
  EXPECT_EQ(result, (Result{{"fresh"}, 1, 1, 0, 0}));
  EXPECT_EQ(noticeText(result), "1 already added · 1 repeated in what you pasted");
}

TEST(NoticeText, AllFourPartsInTheirFixedOrder) {
  EXPECT_EQ(noticeText(Result{{"accepted"}, 2, 3, 4, 5}),
            "3 already added · 2 repeated in what you pasted · 4 longer than 100 characters · 5 over the "
            "50-keyword limit");
  EXPECT_EQ(noticeText(Result{{}, 0, 0, 1, 0}), "1 longer than 100 characters");
  EXPECT_EQ(noticeText(Result{{"a", "b"}, 0, 0, 0, 0}), std::nullopt);
}

struct ChangeCase {
  const char* name;
  std::string before;
  std::string after;
  bool expected;
};

void PrintTo(const ChangeCase& c, std::ostream* os) {
  *os << c.name;
}

class LooksLikeListTest : public ::testing::TestWithParam<ChangeCase> {};

TEST_P(LooksLikeListTest, CommitsPastedListsOnly) {
  EXPECT_EQ(looksLikeList(GetParam().before, GetParam().after), GetParam().expected);
}

INSTANTIATE_TEST_SUITE_P(
    Field, LooksLikeListTest,
    ::testing::Values(ChangeCase{"typing_a_letter", "phot", "photo", false},
                      ChangeCase{"typing_a_comma", "photo", "photo,", false},
                      ChangeCase{"typing_after_a_comma", "photo,", "photo,e", false},
                      ChangeCase{"pasting_two_characters_with_a_separator", "photo", "photo,e", true},
                      ChangeCase{"pasting_a_list", "", "photo, editor", true},
                      ChangeCase{"pasting_words_without_separator", "", "photo editor", false},
                      ChangeCase{"one_line_feed_typed", "photo", "photo\n", true},
                      ChangeCase{"carriage_return_alone", "photo", "photo\r", true},
                      ChangeCase{"cr_lf", "", "a\r\nb", true},
                      ChangeCase{"deleting_from_a_list", "a, b, c", "a, b", false},
                      ChangeCase{"ideographic_comma_pasted", "", "写真\u3001編集", true},
                      // Counts are characters: a ZWJ family grown by one code point and a comma is one
                      // character more, not two.
                      ChangeCase{"emoji_completed_plus_comma", "👨\u200D👩\u200D👧", "👨\u200D👩\u200D👧\u200D👦,", false},
                      ChangeCase{"accent_added_plus_comma", "cafe", "cafe\u0301,", false},
                      ChangeCase{"emoji_and_comma_pasted", "", "👨\u200D👩\u200D👧\u200D👦,", true}));

TEST(ContainsSeparator, FindsAnyOfTheNine) {
  for (const std::string separator : {",", ";", "\n", "\r", "\r\n", "\t", "\uFF0C", "\uFF1B", "\u3001"}) {
    EXPECT_TRUE(containsSeparator("photo" + separator + "editor")) << separator;
  }
  EXPECT_FALSE(containsSeparator("photo editor. filters | tools"));
  EXPECT_FALSE(containsSeparator(""));
}

}  // namespace
}  // namespace tovra::research
