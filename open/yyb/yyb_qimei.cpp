// The identity pair: from memory, else from the user's registry, else from the SDK.
#include <vector>

#include "foundation/log.h"
#include "foundation/text_helpers.h"
#include "open/probes/install_probes.h"
#include "open/probes/registry_views.h"
#include "open/yyb/yyb_api.h"

namespace {

const wchar_t kQimeiKey[] = L"SOFTWARE\\qimei";
const wchar_t kQimei32[] = L"qimei32";
const wchar_t kQimei36[] = L"qimei36";

// The SDK fills a smaller buffer for a renewal.
constexpr std::size_t kAnswerSize = 2048;
constexpr std::size_t kRenewalAnswerSize = 200;

std::string ReadQimei(const wchar_t* valueName) {
    return Utf16ToUtf8(ReadRegString(HKEY_CURRENT_USER, kQimeiKey, valueName, kRead32BitView));
}

void WriteQimei(const wchar_t* valueName, const std::string& narrow) {
    HKEY opened = nullptr;
    if (RegCreateKeyExW(HKEY_CURRENT_USER, kQimeiKey, 0, nullptr, 0, kWrite32BitView, nullptr, &opened, nullptr) !=
        ERROR_SUCCESS) {
        return;
    }
    const CRegistryKey key(opened);
    const std::wstring text = Utf8ToUtf16(narrow);
    RegSetValueExW(key.get(), valueName, 0, REG_SZ, reinterpret_cast<const BYTE*>(text.c_str()),
                   static_cast<DWORD>(2 * text.size() + 2));
}

}  // namespace

namespace WXMINI_PROGRAM_COMMON {

void WriteQimeiToReg(const std::string& qimei32, const std::string& qimei36) {
    WriteQimei(kQimei32, qimei32);
    WriteQimei(kQimei36, qimei36);
}

}  // namespace WXMINI_PROGRAM_COMMON

namespace YYB_API_CLIENT {

bool CYybApi::AskQimei(std::size_t size, std::string& text, std::int32_t& ret) const {
    const SdkTable sdk = Sdk();
    if (sdk.m_pGetQimei == nullptr) {
        ret = 0;
        return false;
    }
    // One byte more than the SDK is told of: an answer that fills its buffer need not be terminated.
    std::vector<char> buffer(size + 1);
    ret = sdk.m_pGetQimei(buffer.data(), static_cast<std::int32_t>(size));
    text = buffer.data();
    return ret == 0;
}

void CYybApi::GetQimeiPair(std::string& qimei32, std::string& qimei36) {
    QimeiPair pair;
    const auto give = [&] {
        qimei32 = pair.qimei32;
        qimei36 = pair.qimei36;
    };
    qimei32.clear();
    qimei36.clear();
    bool bFound = m_qimei.Read(pair);
    if (!bFound) {
        pair = {ReadQimei(kQimei32), ReadQimei(kQimei36)};
        bFound = pair.IsWhole();
        if (bFound) {
            m_qimei.Write(pair);
        }
    }
    if (bFound) {
        give();
        // The old pair is given this once; the next call finds the new one in the registry. Callers rely on a call
        // that never changes its answer half-way. Held by AStoredPairWithoutTheMarkerIsGivenOnceAndRenewed.
        if (ResetQimei(pair.qimei32)) {
            m_qimei.Clear();
        }
        return;
    }
    InitYybApi();
    if (m_qimei.Read(pair)) {
        give();
        return;
    }
    std::string text;
    std::int32_t ret = 0;
    if (!AskQimei(kAnswerSize, text, ret)) {
        if (ret != 0) {
            NXL_LOG(L"m_pGetQimei error = %d", ret);
        }
        return;
    }
    if (!ParseQimeiAnswer(text, pair)) {
        return;
    }
    m_qimei.Write(pair);
    give();
    NXL_LOG(L"----strQimei32  = %s | strQimei36  = %s , error = %d,", Utf8ToUtf16(pair.qimei32).c_str(),
            Utf8ToUtf16(pair.qimei36).c_str(), 0);
    WXMINI_PROGRAM_COMMON::WriteQimeiToReg(pair.qimei32, pair.qimei36);
}

bool CYybApi::ResetQimei(const std::string& qimei32) {
    InitYybApi();
    if (HasQimeiMarker(qimei32)) {
        return false;
    }
    std::string text;
    std::int32_t ret = 0;
    QimeiPair pair;
    if (!AskQimei(kRenewalAnswerSize, text, ret) || !ParseQimeiAnswer(text, pair)) {
        return false;
    }
    // Written as it is: a pair that lacks the marker again is renewed on every later call. Callers rely on the SDK
    // having the last word. Held by ARenewedPairIsWrittenWithoutATest.
    WXMINI_PROGRAM_COMMON::WriteQimeiToReg(pair.qimei32, pair.qimei36);
    NXL_LOG(L"reset qimei to reg done, qimei32 [%s], temp64[%s]", Utf8ToUtf16(pair.qimei32).c_str(),
            Utf8ToUtf16(pair.qimei36).c_str());
    return true;
}

}  // namespace YYB_API_CLIENT
