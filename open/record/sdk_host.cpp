#include "open/record/sdk_host.h"

#include "foundation/log.h"

void CSdkHost::Take(const wchar_t* operation, const std::string& config, const std::wstring& sdkPath,
                    const std::wstring& hostTag) {
    const CAutoLock lock(&m_lock);
    switch (m_data.Take(config, sdkPath, hostTag)) {
        case ChannelConfigOutcome::NotJson:
            NXL_LOG_AS(operation, L"[%s(%d)] parse error");
            break;
        case ChannelConfigOutcome::NotObject:
            NXL_LOG_AS(operation, L"[%s(%d)] value is error");
            break;
        case ChannelConfigOutcome::Ok:
            break;
    }
}

SdkHostData CSdkHost::Data() const {
    const CAutoLock lock(&m_lock);
    return m_data;
}

ChannelConfig CSdkHost::Channel() const {
    const CAutoLock lock(&m_lock);
    return m_data.m_channel;
}
