#include "app/research/error_lead.h"

#include <gtest/gtest.h>

#include "AsoKit/aso_error.h"

namespace tovra::research {
namespace {

using asokit::AsoError;

struct LeadCase {
  const char* name;
  std::string text;
  std::optional<std::string_view> lead;
};

class ErrorLeadTest : public ::testing::TestWithParam<LeadCase> {};

TEST_P(ErrorLeadTest, EachClientErrorIsLedByItsPlainLine) {
  EXPECT_EQ(errorLead(GetParam().text), GetParam().lead);
}

INSTANTIATE_TEST_SUITE_P(
    Errors, ErrorLeadTest,
    ::testing::Values(
        LeadCase{"Unreadable", AsoError::shapeChanged("no bubbles").description(), leadText::kUnreadable},
        LeadCase{"Refused", AsoError::http(403, "https://x/search").description(), leadText::kRefused},
        LeadCase{"CoolingDown", AsoError::coolingDown(42).description(), leadText::kCoolingDown},
        LeadCase{"Halted", AsoError::halted(3, 9).description(), leadText::kHalted},
        LeadCase{"UnknownStorefront", AsoError::unknownStorefront("zz").description(), leadText::kUnknownStorefront},
        LeadCase{"TooMany", AsoError::http(429, "https://x/search").description(), leadText::kTooMany},
        LeadCase{"ServerTrouble", AsoError::http(503, "https://x/search").description(), leadText::kServerTrouble},
        LeadCase{"NotFound", AsoError::http(404, "https://x/search").description(), leadText::kHttpError},
        // A batch line carries the error after the country and keyword; a stored outcome keeps that line.
        LeadCase{"InsideABatchLine", "us/maps: " + AsoError::shapeChanged("x").description(), leadText::kUnreadable},
        LeadCase{"TransportErrorsAreWordsAlready", "Could not connect to 127.0.0.1: refused", std::nullopt},
        LeadCase{"PlainText", "the run ended before this query", std::nullopt}),
    [](const auto& info) { return std::string(info.param.name); });

TEST(ErrorLeadTest, TheErrorsOwnTextFollowsItsLeadUnchanged) {
  const auto text = AsoError::shapeChanged("no bubbles").description();
  EXPECT_EQ(withErrorLead(text), std::string(leadText::kUnreadable) + "\n" + text);
  EXPECT_EQ(withErrorLead("plain words"), "plain words");
  EXPECT_EQ(errorLeads({AsoError::http(500, "u").description(), "plain", AsoError::http(502, "v").description(),
                        AsoError::shapeChanged("d").description()}),
            (std::vector<std::string_view>{leadText::kServerTrouble, leadText::kUnreadable}));
}

}  // namespace
}  // namespace tovra::research
