// The binding of the WeChat mini-program SDK, ocean.dll.
#pragma once

#include <atomic>
#include <cstdint>
#include <memory>
#include <string>

#include "foundation/kept_modules.h"
#include "foundation/lock.h"
#include "foundation/thread_annotations.h"
#include "open/record/sdk_host.h"
#include "open/wx_sdk/ocean_delegate.h"
#include "open/wx_sdk/wx_open_tasks.h"

namespace MINI_API_CLIENT {

// Finds the SDK in a folder that the host names, loads it for the first request, starts opens and keeps how they
// ended. Once loaded, the SDK stays to the end of the process.
//
// Every operation may run on any thread. m_lockInit makes one thread at a time load the SDK; m_lockApi is held across
// the SDK's open call, so that a poll waits for an open under way. The SDK may answer during that call, on the calling
// thread or on another one that the call waits for: an answer therefore takes the lock of m_tasks alone, which nothing
// holds across a call of the SDK. Order: m_lockInit, m_lockApi, then one of the leaf locks, those of m_tasks and
// m_host.
class CWxApi {
  public:
    // The one binding of the process, made at first use and never destroyed.
    static CWxApi& GetInstance();

    // Tests make bindings of their own. The one that loaded the SDK last gets the SDK's answers.
    CWxApi();
    ~CWxApi();
    CWxApi(const CWxApi&) = delete;
    CWxApi& operator=(const CWxApi&) = delete;

    // As CSdkHost::Take. Called for every new instance.
    void InitData(const std::string& config, const std::wstring& sdkPath, const std::wstring& hostTag);

    // True when the SDK is ready. Loads it when it is not; after a failure the next call tries again from the start. A
    // call that the SDK makes happen on the thread that is starting it gives false.
    bool InitWxApi();

    // Starts an open and stores it. result: "1" when the SDK accepted it, else "0". Needs InitWxApi to have succeeded.
    void OpenWithWxSDK(const char* appId, const char* appPath, const char* taskId, std::string& result);

    // result: "Loading" while the task waits, "1" or "0" once when it was answered; an unknown task gives "0", an empty
    // taskId an error word. True when an answer was delivered, and the task is then forgotten.
    bool OpenProtocolTimeOut(const std::string& taskId, std::string& result);

    // The id of the latest request, set once its open call is over: the SDK's answers count for this task alone.
    void SetLastTaskId(const std::string& taskId);

    // Calls ocean_uninit when the SDK was initialised, once. For the shutdown; takes no lock, so that an open that
    // hangs in the SDK cannot hold it up.
    void Uninit();

    // The SDK's answer to the open with this id: 0 is success.
    void OnOpenResult(std::uint32_t id, std::int32_t status) noexcept;

    bool IsInit() const { return m_bInit.load(std::memory_order_acquire); }
    ChannelConfig Channel() const { return m_host.Channel(); }

  private:
    struct OceanTable {
        void (*m_pfnOceanInit)(const char* kind, OceanDelegate* delegate) = nullptr;
        void (*m_pfnOceanCheckInstallation)() = nullptr;  // never called
        std::uint32_t (*m_pfnOceanOpenMiniprogram)(const char* appId, const char* appPath) = nullptr;
        void (*m_pfnOceanDownloadWebInstaller)() = nullptr;  // never called
        void (*m_pfnOceanInstall)() = nullptr;               // never called
        void (*m_pfnOceanUninit)() = nullptr;
    };
    static bool ResolveOcean(HMODULE module, OceanTable& table);

    std::wstring WxSdkFolder() const;
    static bool IsWxSDKOk(const std::wstring& folder);

    CLock m_lockInit NXL_ACQUIRED_BEFORE(m_lockApi);
    CLock m_lockApi;

    CKeptModules m_modules NXL_GUARDED_BY(m_lockInit);
    bool m_bStarting NXL_GUARDED_BY(m_lockInit) = false;
    // Written under m_lockInit before m_bInit is set, not changed afterwards, and read without a lock then.
    OceanTable m_ocean;
    std::unique_ptr<OceanDelegate> m_pDelegate;  // the SDK keeps the pointer
    std::atomic<bool> m_bInit{false};
    std::atomic<bool> m_bUninit{false};

    CWxOpenTasks m_tasks;
    CSdkHost m_host;
};

// What the SDK calls, on a thread of its own choosing.
void OnOceanOpenResult(std::uint32_t id, std::int32_t status) noexcept;

}  // namespace MINI_API_CLIENT
