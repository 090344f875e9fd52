// What the timer of eleven minutes does, in real time.
#include "tests/e2e/end_to_end.h"

namespace {

constexpr std::uint32_t kLongTimerMs = 660000;
// Between the helper's clock and this one's.
constexpr std::uint32_t kTicksMs = 1000;

class LongTimerOfMl : public CEndToEnd {
  protected:
    LongTimerOfMl() : CEndToEnd(L"ml") {}
};

TEST_F(LongTimerOfMl, EndsAHelperWhoseTableIsEmptyElevenMinutesAfterTheLastRequest) {
    StartHelper();
    AskToExit();
    ASSERT_TRUE(Log().WaitFor("is ml", kLongMs, 2));
    // A request that names no service makes none, and moves the end all the same.
    const ULONGLONG askedAt = GetTickCount64();
    SendToHost(MessageType::S_MT_OpenMiniAppSuccessfully, Json::Value(Json::objectValue));
    ASSERT_TRUE(Log().WaitFor("receive MessageType::S_MT_OpenMiniAppSuccessfully", kLongMs));
    LeaveHost();
    EXPECT_EQ(m_helper.WaitForEnd(kLongTimerMs + kLongMs), 0u) << Log().Tail();
    EXPECT_GE(GetTickCount64() - askedAt, kLongTimerMs - kTicksMs);
    EXPECT_EQ(Log().FindAll("Check timeout, exit process begin").size(), 1u) << "the request had moved the first";
    EXPECT_TRUE(Log().Has("Check timeout, exit process end"));
    EXPECT_GE(Log().FindAll("is ml").size(), 60u) << "every look of the short timer passed it over";
}

class LongTimer : public CEndToEnd {};

TEST_F(LongTimer, RefusedIntervalKeepsTheHelperWhateverBecomesOfItsCaller) {
    StartHelper();
    Json::Value content(Json::objectValue);
    content["p1"] = R"({"interval":-1,"type":"miniApp","taskId":"none","from":"e2e"})";
    ASSERT_EQ(m_caller->Send(Number(MessageType::S_MT_DelayCheckWndStatus), content, kLongMs), CallerResult::Ok);
    ASSERT_TRUE(Log().WaitFor("Invalid interval, exiting thread", kLongMs));
    AskToExit();
    ASSERT_TRUE(Log().WaitFor("DelayedDestroyThread end, strServiceId = svc", kLongMs));
    m_caller->Close();
    ASSERT_TRUE(Log().WaitFor("CheckzoltDLLThread end,     = svc", 3 * kLongMs));
    const std::size_t looks = Log().FindAll("m_mWxExInstance = 1").size();
    EXPECT_TRUE(Log().WaitFor("m_mWxExInstance = 1", kLongMs, looks + 2)) << "neither flag lets it go";
    // The longer timer finds it there as well, and continues.
    EXPECT_TRUE(Log().WaitFor("has instance", kLongTimerMs)) << Log().Tail();
    EXPECT_TRUE(m_helper.IsRunning());
    EXPECT_FALSE(Log().Has("Check timeout, exit process end"));
    EXPECT_FALSE(Log().Has("]begin destruct strServiceId = svc "));
}

}  // namespace
