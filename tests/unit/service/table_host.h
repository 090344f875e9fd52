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

    bool SetInstanceParam(const std::string& strServiceId, const InstanceParamChange& change,
                          const IStopToken& stop) override {
        if (m_onSet) {
            m_onSet();
        }
        const CAutoLock guard(&m_lockParam);
        if (stop.StopRequested()) {
            return false;
        }
        SetInstanceParamIn(m_mInstanceParam, strServiceId, change);
        return true;
    }

    void DestroyWxServiceItme(const Request& request, const IStopToken& stop) override {
        if (m_onDestroyRequest) {
            m_onDestroyRequest(request.ContentText());
        }
        const CAutoLock guard(&m_lockInstance);
        if (m_onDestroy && !stop.StopRequested()) {
            m_onDestroy();
        }
    }

    void OpenMiniAppSuccessfullyByServiceId(const std::string& strServiceId, const CSharedJson& question,
                                            std::string& strResult, bool bLastCall, const IStopToken& stop) override {
        const CAutoLock guard(&m_lockInstance);
        if (stop.StopRequested()) {
            return;
        }
        m_vecAsks.push_back({strServiceId, question.Text().Text(), bLastCall});
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
    // Called before the instance lock is taken.
    std::function<void(const std::string& strContent)> m_onDestroyRequest;
    // Called with the instance lock held, unless the request was stopped.
    std::function<void()> m_onDestroy;

  private:
    std::vector<Ask> m_vecAsks;
};
