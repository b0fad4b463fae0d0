#include "app/base/keyword_key.h"

#include <gtest/gtest.h>
#include <unicode/locid.h>

#include <string>

#include "app/base/text_fold.h"

namespace tovra::research {
namespace {

struct TextCase {
  const char* name;
  std::string input;
  std::string expected;
};

void PrintTo(const TextCase& c, std::ostream* os) {
  *os << c.name;
}

// ICU's default locale is what a careless lower-casing would pick up; a Turkish desktop must not change
// any key. Every test here runs with it set to Turkish.
class TurkishDesktop : public ::testing::Environment {
 public:
  void SetUp() override {
    UErrorCode status = U_ZERO_ERROR;
    icu::Locale::setDefault(icu::Locale("tr", "TR"), status);
    ASSERT_TRUE(U_SUCCESS(status));
  }
};
const auto* const kTurkish = ::testing::AddGlobalTestEnvironment(new TurkishDesktop);

class CollapseTest : public ::testing::TestWithParam<TextCase> {};

TEST_P(CollapseTest, CollapsesEveryUnicodeWhiteSpaceToOneSpace) {
  EXPECT_EQ(base::collapseWhitespace(GetParam().input), GetParam().expected);
}

INSTANTIATE_TEST_SUITE_P(Keywords, CollapseTest,
                         ::testing::Values(TextCase{"runs_and_ends", "  Photo   Editor \t", "Photo Editor"},
                                           TextCase{"no_break_space", "photo\u00A0editor", "photo editor"},
                                           TextCase{"ideographic_space", "写真\u3000編集", "写真 編集"},
                                           TextCase{"next_line", "photo\u0085editor", "photo editor"},
                                           TextCase{"line_separator", "photo\u2028editor", "photo editor"},
                                           TextCase{"paragraph_separator", "photo\u2029editor", "photo editor"},
                                           TextCase{"line_breaks", "\r\nphoto\r\n\neditor\n", "photo editor"},
                                           TextCase{"only_white_space", " \u00A0\u3000\u2029 ", ""},
                                           TextCase{"zero_width_space_is_not_white", "photo\u200Beditor",
                                                    "photo\u200Beditor"},
                                           TextCase{"case_and_accents_kept", " Çiçek  SEPETİ ", "Çiçek SEPETİ"}));

class KeywordKeyTest : public ::testing::TestWithParam<TextCase> {};

TEST_P(KeywordKeyTest, GivesTheComparisonForm) {
  EXPECT_EQ(base::keywordKey(GetParam().input), GetParam().expected);
}

INSTANTIATE_TEST_SUITE_P(Keywords, KeywordKeyTest,
                         ::testing::Values(TextCase{"capital_dotted_i", "İstanbul", "istanbul"},
                                           TextCase{"capital_dotted_i_decomposed", "I\u0307stanbul", "istanbul"},
                                           TextCase{"small_i_with_dot_above", "i\u0307zmir", "izmir"},
                                           TextCase{"plain_capital_i_is_not_turkish", "IĞDIR", "iğdir"},
                                           TextCase{"dotless_i_stays", "ılık", "ılık"},
                                           TextCase{"decomposed_accent_composes", "cafe\u0301", "café"},
                                           TextCase{"precomposed_accent", "CAFÉ", "café"},
                                           TextCase{"sharp_s_is_lower_cased_not_folded", "Straße", "straße"},
                                           TextCase{"greek_final_sigma", "ΟΔΟΣ", "οδος"},
                                           TextCase{"white_space_collapsed", "  Photo \u3000 EDITOR\n", "photo editor"},
                                           TextCase{"turkish_sentence", "SEPETİ ÇİÇEK", "sepeti çiçek"}));

TEST(KeywordKey, RootLocaleLowerCasingIgnoresTheTurkishDefault) {
  EXPECT_EQ(base::lowerCased("TITLE"), "title");
  EXPECT_EQ(base::lowerCased("İ"), "i\u0307");
}

TEST(QueryKey, JoinsTheKeywordKeyAndTheTrimmedLowerCasedCountry) {
  EXPECT_EQ(base::queryKey("  Photo   EDITOR ", " US\n"), "photo editor|us");
  EXPECT_EQ(base::queryKey("İstanbul", "tr"), base::queryKey("istanbul", "TR"));
  EXPECT_NE(base::queryKey("istanbul", "tr"), base::queryKey("istanbul", "de"));
}

struct CountCase {
  const char* name;
  std::string input;
  std::size_t expected;
};

void PrintTo(const CountCase& c, std::ostream* os) {
  *os << c.name;
}

class GraphemeCountTest : public ::testing::TestWithParam<CountCase> {};

TEST_P(GraphemeCountTest, CountsUserPerceivedCharacters) {
  EXPECT_EQ(base::graphemeCount(GetParam().input), GetParam().expected);
}

INSTANTIATE_TEST_SUITE_P(Keywords, GraphemeCountTest,
                         ::testing::Values(CountCase{"empty", "", 0}, CountCase{"ascii", "photo", 5},
                                           CountCase{"combining_accent", "e\u0301", 1},
                                           CountCase{"zwj_family", "👨\u200D👩\u200D👧\u200D👦", 1},
                                           CountCase{"flag", "🇹🇷", 1}, CountCase{"cr_lf", "\r\n", 1},
                                           CountCase{"turkish", "İğdır", 5},
                                           CountCase{"hangul_jamo", "\u1100\u1161\u11A8", 1}));

TEST(FoldCaseDiacriticsWidth, NamesThatDifferInCaseAccentsOrWidthFoldEqual) {
  const auto cafe = base::foldCaseDiacriticsWidth("cafe");
  EXPECT_EQ(base::foldCaseDiacriticsWidth("Café"), cafe);
  EXPECT_EQ(base::foldCaseDiacriticsWidth("CAFE\u0301"), cafe);
  EXPECT_EQ(base::foldCaseDiacriticsWidth("ＣＡＦＥ"), cafe);
  EXPECT_EQ(base::foldCaseDiacriticsWidth("ｶﾞｲﾄﾞ"), base::foldCaseDiacriticsWidth("ガイド"));
  EXPECT_EQ(base::foldCaseDiacriticsWidth("Ölçü Aleti"), base::foldCaseDiacriticsWidth("olcu aleti"));
  EXPECT_EQ(base::foldCaseDiacriticsWidth("İSTANBUL"), base::foldCaseDiacriticsWidth("istanbul"));
  // Under the Turkish default a locale-sensitive fold would turn I into ı.
  EXPECT_EQ(base::foldCaseDiacriticsWidth("TITLE"), "title");
}

TEST(FoldCaseDiacriticsWidth, DifferentLettersStayDifferent) {
  EXPECT_NE(base::foldCaseDiacriticsWidth("ılık"), base::foldCaseDiacriticsWidth("ilik"));
  EXPECT_NE(base::foldCaseDiacriticsWidth("Photo Editor"), base::foldCaseDiacriticsWidth("PhotoEditor"));
  EXPECT_NE(base::foldCaseDiacriticsWidth("Notes"), base::foldCaseDiacriticsWidth("Notes+"));
}

}  // namespace
}  // namespace tovra::research
