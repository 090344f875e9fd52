// What the doctor reads of processes that run.
#include "nexctl/doctor/look_processes.h"

#include <algorithm>

#include <gtest/gtest.h>

#include "nexctl/doctor/judge.h"
#include "tests/support/stand_in_process.h"
#include "tests/support/temp_folder.h"
#include "tests/support/unique_name.h"

namespace {

// A process that bears the helper's command line, under a file name that nothing else has.
class LookForHelpersTest : public ::testing::Test {
  protected:
    const std::wstring m_strFile = UniqueName(L"look") + L".exe";
    CTempFolder m_folder;
    CStandInProcess m_helper{m_folder.Path() / m_strFile, L" /from:demo /service_id:svc"};
};

bool HasOtherSession(const std::vector<HelperFact>& helpers) {
    DoctorFacts facts;
    facts.mark = "demo";
    facts.mutexExists = true;
    facts.helpers = helpers;
    return std::ranges::any_of(
        Diagnose(facts), [](const Finding& finding) { return std::string(finding.code) == "helper.other-session"; });
}

TEST_F(LookForHelpersTest, ReadsMarkAndServiceFromTheCommandLine) {
    const std::vector<HelperFact> helpers = LookForHelpers(m_strFile);
    ASSERT_EQ(helpers.size(), 1u);
    EXPECT_EQ(helpers[0].processId, m_helper.Id());
    EXPECT_EQ(helpers[0].mark, "demo");
    EXPECT_EQ(helpers[0].service, "svc");
}

TEST_F(LookForHelpersTest, HelperOfThisSessionIsNotOfAnother) {
    ASSERT_TRUE(OwnSession());
    const std::vector<HelperFact> helpers = LookForHelpers(m_strFile);
    ASSERT_EQ(helpers.size(), 1u);
    EXPECT_FALSE(helpers[0].otherSession);
    EXPECT_FALSE(HasOtherSession(helpers));
}

// One session is all that a test has, so this process claims to be of another one.
TEST_F(LookForHelpersTest, HelperOfAnotherSessionIsFound) {
    ASSERT_TRUE(OwnSession());
    const std::vector<HelperFact> helpers = LookForHelpers(m_strFile, *OwnSession() + 1);
    ASSERT_EQ(helpers.size(), 1u);
    EXPECT_TRUE(helpers[0].otherSession);
    EXPECT_TRUE(HasOtherSession(helpers));
}

TEST_F(LookForHelpersTest, SessionThatIsNotToldIsNotAnother) {
    EXPECT_FALSE(LookForHelpers(m_strFile, std::nullopt).at(0).otherSession);
}

}  // namespace
