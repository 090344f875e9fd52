// Surroundings for watcher threads in which time passes at once and every step is noted.
#pragma once

#include <atomic>
#include <cstdint>
#include <functional>
#include <string>
#include <vector>

#include "service/watcher_threads.h"

class CInstantEdge final : public IWatcherEdge {
  public:
    bool StopRequested() const override { return m_bStop.load(); }

    bool Wait(std::uint32_t nMilliseconds) override {
        m_vecWaits.push_back(nMilliseconds);
        if (m_onWait) {
            m_onWait();
        }
        return !StopRequested();
    }

    bool DoesNamedPipeExist(const std::wstring& strPipeName) override {
        m_vecProbed.push_back(strPipeName);
        return m_onProbe && m_onProbe();
    }

    void Fetch(const std::wstring& strUrl) override {
        m_vecFetched.push_back(strUrl);
        if (m_onFetch) {
            m_onFetch();
        }
    }

    std::atomic<bool> m_bStop{false};
    std::vector<std::uint32_t> m_vecWaits;
    std::vector<std::wstring> m_vecProbed;
    std::vector<std::wstring> m_vecFetched;
    std::function<void()> m_onWait;   // during the wait
    std::function<bool()> m_onProbe;  // whether the pipe exists; no function: it does not
    std::function<void()> m_onFetch;
};
