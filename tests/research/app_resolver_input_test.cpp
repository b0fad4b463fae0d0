#include "app/research/app_resolver_input.h"

#include <gtest/gtest.h>

#include <string>

namespace tovra::research {
namespace {

using Kind = AppResolverInput::Kind;

struct ClassifyCase {
  const char* name;
  std::string raw;
  Kind kind;
  std::string text;
  AppInputKind caption;
};

void PrintTo(const ClassifyCase& c, std::ostream* os) {
  *os << c.name;
}

class ClassifyTest : public ::testing::TestWithParam<ClassifyCase> {};

TEST_P(ClassifyTest, ClassifiesWhatTheUserEntered) {
  const auto& c = GetParam();
  EXPECT_EQ(AppResolverInput::classify(c.raw), (AppResolverInput{c.kind, c.text}));
  EXPECT_EQ(inputKind(c.raw), c.caption);
}

constexpr auto kLink = AppInputKind::appStoreLink;
constexpr auto kNumber = AppInputKind::numericId;
constexpr auto kBundle = AppInputKind::bundleId;
constexpr auto kName = AppInputKind::name;

INSTANTIATE_TEST_SUITE_P(
    Resolver, ClassifyTest,
    ::testing::Values(
        ClassifyCase{"five_digits", "12345", Kind::appStoreId, "12345", kNumber},
        ClassifyCase{"four_digits_is_a_name", "1234", Kind::name, "1234", kName},
        ClassifyCase{"digits_trimmed", " \t1234567890\n", Kind::appStoreId, "1234567890", kNumber},
        ClassifyCase{"full_width_digits_are_a_name", "１２３４５６", Kind::name, "１２３４５６", kName},
        ClassifyCase{"digits_with_a_letter", "12345a", Kind::name, "12345a", kName},
        ClassifyCase{"app_link", "https://apps.apple.com/us/app/lumen-photo/id1234567890", Kind::appStoreId,
                     "1234567890", kLink},
        ClassifyCase{"link_with_query_and_fragment", "https://apps.apple.com/tr/app/x/id55555?mt=8#top",
                     Kind::appStoreId, "55555", kLink},
        ClassifyCase{"link_host_in_capitals", "HTTPS://APPS.Apple.COM/de/app/x/id98765", Kind::appStoreId, "98765",
                     kLink},
        ClassifyCase{"id_part_followed_by_more_parts", "https://apps.apple.com/us/app/lumen/id1234567890/reviews",
                     Kind::appStoreId, "1234567890", kLink},
        ClassifyCase{"last_id_part_wins", "https://apps.apple.com/us/app/id11111/id22222/x", Kind::appStoreId, "22222",
                     kLink},
        ClassifyCase{"link_with_port_and_user", "https://me@apps.apple.com:443/us/app/id12345", Kind::appStoreId,
                     "12345", kLink},
        ClassifyCase{"link_trimmed", "\n https://apps.apple.com/app/id12345 \n", Kind::appStoreId, "12345", kLink},
        ClassifyCase{"link_without_scheme_is_a_name", "apps.apple.com/us/app/lumen/id1234567890", Kind::name,
                     "apps.apple.com/us/app/lumen/id1234567890", kName},
        ClassifyCase{"other_host_is_a_name", "https://example.com/us/app/lumen/id1234567890", Kind::name,
                     "https://example.com/us/app/lumen/id1234567890", kName},
        ClassifyCase{"look_alike_host_is_a_name", "https://apps.apple.com.example.net/app/id1234567", Kind::name,
                     "https://apps.apple.com.example.net/app/id1234567", kName},
        ClassifyCase{"right_host_without_id_is_a_name", "https://apps.apple.com/us/app/lumen", Kind::name,
                     "https://apps.apple.com/us/app/lumen", kName},
        ClassifyCase{"short_id_part_is_a_name", "https://apps.apple.com/us/app/id1234", Kind::name,
                     "https://apps.apple.com/us/app/id1234", kName},
        ClassifyCase{"capital_id_part_is_a_name", "https://apps.apple.com/us/app/ID12345", Kind::name,
                     "https://apps.apple.com/us/app/ID12345", kName},
        ClassifyCase{"id_in_the_query_is_a_name", "https://apps.apple.com/us/app?x=/id12345", Kind::name,
                     "https://apps.apple.com/us/app?x=/id12345", kName},
        ClassifyCase{"bundle_id", "com.lumen.photo", Kind::bundleId, "com.lumen.photo", kBundle},
        ClassifyCase{"bundle_id_with_hyphens_digits_capitals", " Com.Lumen-Labs.Photo2 ", Kind::bundleId,
                     "Com.Lumen-Labs.Photo2", kBundle},
        ClassifyCase{"bundle_id_of_five_parts", "a.b.c.d.e", Kind::bundleId, "a.b.c.d.e", kBundle},
        ClassifyCase{"two_parts_is_a_name", "lumen.photo", Kind::name, "lumen.photo", kName},
        ClassifyCase{"empty_part_is_a_name", "com..lumen.photo", Kind::name, "com..lumen.photo", kName},
        ClassifyCase{"trailing_dot_is_a_name", "com.lumen.photo.", Kind::name, "com.lumen.photo.", kName},
        ClassifyCase{"part_starting_with_digit_is_a_name", "com.1lumen.photo", Kind::name, "com.1lumen.photo", kName},
        ClassifyCase{"underscore_is_a_name", "com.lumen_labs.photo", Kind::name, "com.lumen_labs.photo", kName},
        ClassifyCase{"non_ascii_letter_is_a_name", "com.lümen.photo", Kind::name, "com.lümen.photo", kName},
        ClassifyCase{"name", "  Lumen Photo Editor \n", Kind::name, "Lumen Photo Editor", kName},
        ClassifyCase{"empty", "", Kind::invalid, "", AppInputKind::invalid},
        ClassifyCase{"white_space_only", " \u3000\n\u00A0", Kind::invalid, "", AppInputKind::invalid}));

TEST(NoAppText, NamesWhatWasLookedUpAndWhere) {
  EXPECT_EQ(noAppText(AppResolverInput::classify("284882215"), "us"),
            "The App Store has no app with the id 284882215 in the United States.");
  EXPECT_EQ(noAppText(AppResolverInput::classify("https://apps.apple.com/de/app/lumen/id1234567890"), "de"),
            "The App Store has no app with the id 1234567890 in the Germany.");
  EXPECT_EQ(noAppText(AppResolverInput::classify(" com.lumen.photo "), "gb"),
            "The App Store has no app with the bundle id com.lumen.photo in the United Kingdom.");
}

}  // namespace
}  // namespace tovra::research
