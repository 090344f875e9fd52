// The identity pair between memory, registry and the stand-in SDK.
#include <thread>

#include "foundation/text_helpers.h"
#include "open/probes/install_probes.h"
#include "tests/unit/open/yyb/yyb_fixture.h"

namespace {

using Texts = std::pair<std::string, std::string>;

const wchar_t kKey[] = L"SOFTWARE\\qimei";

class QimeiTest : public YybFixture {
  protected:
    Texts Get() {
        Texts pair{"old", "old"};
        m_api.GetQimeiPair(pair.first, pair.second);
        return pair;
    }
    static Texts Stored() {
        return {Utf16ToUtf8(ReadRegString(HKEY_CURRENT_USER, kKey, L"qimei32", kRead32BitView)),
                Utf16ToUtf8(ReadRegString(HKEY_CURRENT_USER, kKey, L"qimei36", kRead32BitView))};
    }
    static void Store(const wchar_t* name, const std::wstring& text) {
        EXPECT_EQ(RegSetKeyValueW(HKEY_CURRENT_USER, kKey, name, REG_SZ, text.c_str(),
                                  static_cast<DWORD>((text.size() + 1) * sizeof(wchar_t))),
                  ERROR_SUCCESS);
    }
    void Answer(const wchar_t* text) { m_sdk.Set(L"qimei", text); }
    // The sizes of the buffers that the SDK was given.
    Calls Asked() const { return m_sdk.Calls("GetQimei"); }
};

TEST_F(QimeiTest, WithoutAnySourceBothTextsAreEmpty) {
    m_sdk.Replace(L"qimei.dll", "");
    const LogCapture log;
    EXPECT_EQ(Get(), Texts());
    EXPECT_EQ(log.Find("m_pGetQimei"), "") << log.All();
    EXPECT_EQ(Stored(), Texts());
}

TEST_F(QimeiTest, TheSdksPairIsKeptAndStored) {
    const LogCapture log;
    EXPECT_EQ(Get(), (Texts{"qone_32", "qone_36"}));
    EXPECT_TRUE(log.Has("----strQimei32  = qone_32 | strQimei36  = qone_36 , error = 0,")) << log.All();
    EXPECT_EQ(Stored(), (Texts{"qone_32", "qone_36"}));
    EXPECT_EQ(Asked(), Calls{"GetQimei 2048"});
    // From now on memory has it, whatever the others say.
    Answer(L"{}");
    Store(L"qimei32", L"qone_other");
    EXPECT_EQ(Get(), (Texts{"qone_32", "qone_36"}));
    EXPECT_EQ(Asked().size(), 1u);
}

TEST_F(QimeiTest, APairFromTheSdkJustNowIsNotTestedForTheMarker) {
    Answer(LR"({"qimei32":"plain","qimei36":"plain36"})");
    EXPECT_EQ(Get(), (Texts{"plain", "plain36"}));
    EXPECT_EQ(Asked(), Calls{"GetQimei 2048"});
}

TEST_F(QimeiTest, AStoredPairWithTheMarkerIsGivenWithoutAskingTheSdk) {
    Store(L"qimei32", L"xqone_32");
    Store(L"qimei36", L"中36");
    EXPECT_EQ(Get(), (Texts{"xqone_32", "中36"}));
    EXPECT_TRUE(Asked().empty());
    EXPECT_EQ(Stored(), (Texts{"xqone_32", "中36"}));
    // The SDK is made ready all the same.
    EXPECT_TRUE(m_api.IsInit());
    // And memory has it now.
    Store(L"qimei32", L"qone_other");
    EXPECT_EQ(Get(), (Texts{"xqone_32", "中36"}));
}

TEST_F(QimeiTest, HalfAStoredPairIsRewrittenWhole) {
    Store(L"qimei32", L"qone_alone");
    EXPECT_EQ(Get(), (Texts{"qone_32", "qone_36"}));
    EXPECT_EQ(Stored(), (Texts{"qone_32", "qone_36"}));
    EXPECT_EQ(Asked(), Calls{"GetQimei 2048"});
}

TEST_F(QimeiTest, AStoredPairWithoutTheMarkerIsGivenOnceAndRenewed) {
    Store(L"qimei32", L"old32");
    Store(L"qimei36", L"old36");
    const LogCapture log;
    EXPECT_EQ(Get(), (Texts{"old32", "old36"}));
    EXPECT_EQ(Asked(), Calls{"GetQimei 200"});
    EXPECT_TRUE(log.Has("reset qimei to reg done, qimei32 [qone_32], temp64[qone_36]")) << log.All();
    EXPECT_EQ(Stored(), (Texts{"qone_32", "qone_36"}));
    EXPECT_EQ(Get(), (Texts{"qone_32", "qone_36"}));
    EXPECT_EQ(Asked().size(), 1u);
}

TEST_F(QimeiTest, AShortTextLacksTheMarker) {
    Store(L"qimei32", L"qone");
    Store(L"qimei36", L"36");
    EXPECT_EQ(Get(), (Texts{"qone", "36"}));
    EXPECT_EQ(Asked(), Calls{"GetQimei 200"});
}

TEST_F(QimeiTest, ARenewedPairIsWrittenWithoutATest) {
    Store(L"qimei32", L"old32");
    Store(L"qimei36", L"old36");
    Answer(LR"({"qimei32":"again","qimei36":"again36"})");
    EXPECT_EQ(Get(), (Texts{"old32", "old36"}));
    EXPECT_EQ(Get(), (Texts{"again", "again36"}));
    EXPECT_EQ(Asked(), (Calls{"GetQimei 200", "GetQimei 200"}));
}

TEST_F(QimeiTest, AFailedRenewalLeavesEverythingAsItWas) {
    Store(L"qimei32", L"old32");
    Store(L"qimei36", L"old36");
    m_sdk.Set(L"qimei_result", L"7");
    const LogCapture log;
    EXPECT_EQ(Get(), (Texts{"old32", "old36"}));
    EXPECT_EQ(Stored(), (Texts{"old32", "old36"}));
    // Memory has the old pair still.
    Store(L"qimei32", L"qone_other");
    EXPECT_EQ(Get(), (Texts{"old32", "old36"}));
    EXPECT_EQ(log.Find("m_pGetQimei"), "") << log.All();
    EXPECT_EQ(log.Find("reset qimei"), "") << log.All();
}

TEST_F(QimeiTest, AnAnswerTooLongForARenewalRenewsNothing) {
    Store(L"qimei32", L"old32");
    Store(L"qimei36", L"old36");
    Answer((LR"({"qimei32":"qone_)" + std::wstring(200, L'x') + LR"(","qimei36":"y"})").c_str());
    EXPECT_EQ(Get(), (Texts{"old32", "old36"}));
    EXPECT_EQ(Stored(), (Texts{"old32", "old36"}));
}

TEST_F(QimeiTest, AnSdkThatRefusesGivesNothingAndIsLogged) {
    m_sdk.Set(L"qimei_result", L"-9");
    const LogCapture log;
    EXPECT_EQ(Get(), Texts());
    EXPECT_TRUE(log.Has("m_pGetQimei error = -9")) << log.All();
    EXPECT_EQ(Stored(), Texts());
}

TEST_F(QimeiTest, AnAnswerThatIsNotAnObjectGivesNothing) {
    for (const wchar_t* text : {L"[1]", L"no json"}) {
        Answer(text);
        EXPECT_EQ(Get(), Texts());
        EXPECT_EQ(Stored(), Texts());
    }
}

TEST_F(QimeiTest, AnAnswerThatIsNotAnObjectKeepsWhatIsStored) {
    Store(L"qimei32", L"old32");
    for (const wchar_t* text : {L"[1]", L"no json", LR"({"qimei32":"cut)"}) {
        Answer(text);
        EXPECT_EQ(Get(), Texts()) << "half a pair is none";
        EXPECT_EQ(Stored(), (Texts{"old32", ""}));
    }
    Store(L"qimei36", L"old36");
    for (const wchar_t* text : {L"[1]", L"no json", LR"({"qimei32":"cut)"}) {
        Answer(text);
        EXPECT_EQ(Get(), (Texts{"old32", "old36"})) << "it is not renewed";
        EXPECT_EQ(Stored(), (Texts{"old32", "old36"}));
    }
    EXPECT_EQ(Asked(), (Calls{"GetQimei 2048", "GetQimei 2048", "GetQimei 2048", "GetQimei 200", "GetQimei 200",
                              "GetQimei 200"}));
}

TEST_F(QimeiTest, AnAnswerWithoutTheKeysOverwritesTheRegistryWithEmptyTexts) {
    Store(L"qimei32", L"old32");
    Answer(LR"({"other":1})");
    EXPECT_EQ(Get(), Texts());
    EXPECT_EQ(Stored(), Texts());
    DWORD size = 0;
    EXPECT_EQ(RegGetValueW(HKEY_CURRENT_USER, kKey, L"qimei36", RRF_RT_REG_SZ, nullptr, nullptr, &size), ERROR_SUCCESS);
    EXPECT_EQ(size, 2u);
}

TEST_F(QimeiTest, AnAnswerThatFillsItsBufferIsReadToItsEnd) {
    m_sdk.Set(L"qimei_fill", L"1");
    EXPECT_EQ(Get(), (Texts{"qone_32", "qone_36"}));
}

TEST_F(QimeiTest, StoredTextsAreTerminatedRegistryTexts) {
    WXMINI_PROGRAM_COMMON::WriteQimeiToReg("中", "ab");
    DWORD type = 0;
    BYTE data[16] = {};
    DWORD size = sizeof data;
    HKEY key = nullptr;
    ASSERT_EQ(RegOpenKeyExW(HKEY_CURRENT_USER, kKey, 0, KEY_READ, &key), ERROR_SUCCESS);
    const CRegistryKey owner(key);
    EXPECT_EQ(RegQueryValueExW(key, L"qimei36", nullptr, &type, data, &size), ERROR_SUCCESS);
    EXPECT_EQ(type, static_cast<DWORD>(REG_SZ));
    EXPECT_EQ(std::vector<std::uint8_t>(data, data + size), TextBytes(L"ab"));
    EXPECT_EQ(Stored(), (Texts{"中", "ab"}));
}

TEST_F(QimeiTest, ManyThreadsGetThePair) {
    std::vector<std::thread> threads;
    for (int i = 0; i < 8; ++i) {
        threads.emplace_back([this] {
            for (int n = 0; n < 5; ++n) {
                EXPECT_EQ(Get(), (Texts{"qone_32", "qone_36"}));
            }
        });
    }
    for (std::thread& thread : threads) {
        thread.join();
    }
}

}  // namespace
