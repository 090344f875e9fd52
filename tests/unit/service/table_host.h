// A host with a real parameter table and real locks, whose opens are answered by the test.
#pragma once

#include <functional>
#include <string>
#include <vector>

#include "foundation/lock.h"
#include "service/service_host.h"

class CTableHost final : public IServiceHost {
  public:
    struct Ask {
        std::string strServiceId;
        std::string strText;
        bool bLastCall;
    };

    bool GetInstanceParam(const std::string& strServiceId, InstanceParam& param) override {
        const CAutoLock guard(&m_lockParam);
        return GetInstanceParamFrom(m_mInstanceParam, strServiceId, param);
    }

    bool SetInstanceParam(const std::string& strServiceId, const std::wstring& strPipeName,
                          const std::string& strRunStatusParam, std::int32_t nInterval, std::int32_t nTaskOp,
                          std::int32_t nDllOp, std::int32_t nDestroyOp, const IStopToken& stop) override {
        if (m_onSet) {
            m_onSet();
        }
        const CAutoLock guard(&m_lockParam);
        if (stop.StopRequested()) {
            return false;
        }
        SetInstanceParamIn(m_mInstanceParam, strServiceId, strPipeName, strRunStatusParam, nInterval, nTaskOp, nDllOp,
                           nDestroyOp);
        return true;
    }

    void DestroyWxServiceItme(const std::string& strBody) override {
        if (m_onDestroyRequest) {
            m_onDestroyRequest(strBody);
        }
    }

    void OpenMiniAppSuccessfullyByServiceId(const std::string& strServiceId, const std::string& strText,
                                            std::string& strResult, bool bLastCall, const IStopToken& stop) override {
        const CAutoLock guard(&m_lockInstance);
        if (stop.StopRequested()) {
            return;
        }
        m_vecAsks.push_back({strServiceId, strText, bLastCall});
        if (m_onAsk) {
            m_onAsk(strResult);
        }
    }

    // The entry of an id, as GetInstanceParam gives it; a value made for reading when there is none.
    InstanceParam Param(const std::string& strServiceId) {
        InstanceParam param;
        GetInstanceParam(strServiceId, param);
        return param;
    }

    bool HasParam(const std::string& strServiceId) {
        InstanceParam param;
        return GetInstanceParam(strServiceId, param);
    }

    std::vector<Ask> Asks() {
        const CAutoLock guard(&m_lockInstance);
        return m_vecAsks;
    }

    CLock m_lockInstance;
    CLock m_lockParam;
    InstanceParamMap m_mInstanceParam;
    // Called with the instance lock held, after the ask has been noted.
    std::function<void(std::string& strResult)> m_onAsk;
    // Called before the parameter lock is taken.
    std::function<void()> m_onSet;
    std::function<void(const std::string& strBody)> m_onDestroyRequest;

  private:
    std::vector<Ask> m_vecAsks;
};
