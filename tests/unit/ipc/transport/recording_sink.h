// A sink that remembers what it was told and lets a test wait for it.
#pragma once

#include <chrono>
#include <condition_variable>
#include <functional>
#include <mutex>
#include <string>
#include <vector>

#include "ipc/transport/pipe_connect_callback.h"
#include "tests/support/raw_pipe.h"

class CRecordingSink final : public IPipeConnectCallback {
  public:
    void Connected() override {
        Record(m_nConnected);
        if (m_onConnected) {
            m_onConnected();
        }
    }
    std::uint32_t Received(const unsigned char* data, std::int32_t length) override {
        std::string payload(reinterpret_cast<const char*>(data), static_cast<std::size_t>(length));
        if (m_onReceived) {
            m_onReceived(payload);
        }
        {
            const std::lock_guard guard(m_mutex);
            m_vecPayloads.push_back(std::move(payload));
        }
        m_changed.notify_all();
        return 1;
    }
    void Lost() override {
        if (m_onLost) {
            m_onLost();
        }
        Record(m_nLost);
    }

    // Run on the worker, before (Received, Lost) or after (Connected) the record of the event.
    std::function<void()> m_onConnected;
    std::function<void(const std::string& payload)> m_onReceived;
    std::function<void()> m_onLost;

    int ConnectedCount() { return Read(m_nConnected); }
    int LostCount() { return Read(m_nLost); }
    std::vector<std::string> Payloads() {
        const std::lock_guard guard(m_mutex);
        return m_vecPayloads;
    }

    bool WaitForConnected(int nCount = 1) {
        return WaitFor([&] { return m_nConnected >= nCount; });
    }
    bool WaitForLost(int nCount = 1) {
        return WaitFor([&] { return m_nLost >= nCount; });
    }
    bool WaitForPayloads(std::size_t nCount) {
        return WaitFor([&] { return m_vecPayloads.size() >= nCount; });
    }

  private:
    void Record(int& nCounter) {
        {
            const std::lock_guard guard(m_mutex);
            ++nCounter;
        }
        m_changed.notify_all();
    }
    int Read(const int& nCounter) {
        const std::lock_guard guard(m_mutex);
        return nCounter;
    }
    template <typename Condition>
    bool WaitFor(Condition condition) {
        std::unique_lock lock(m_mutex);
        return m_changed.wait_for(lock, std::chrono::milliseconds(kTestWaitMs), condition);
    }

    std::mutex m_mutex;
    std::condition_variable m_changed;
    int m_nConnected = 0;
    int m_nLost = 0;
    std::vector<std::string> m_vecPayloads;
};
