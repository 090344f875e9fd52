// The binding of the YYB SDK, pcyyb_sdk_dll.dll.
#pragma once

#include <atomic>
#include <cstdint>
#include <functional>
#include <string>

#include "foundation/kept_modules.h"
#include "foundation/lock.h"
#include "foundation/thread_annotations.h"
#include "open/record/sdk_host.h"
#include "open/yyb/qimei.h"
#include "open/yyb/yyb_tasks.h"

namespace YYB_API_CLIENT {

// Finds the SDK in a folder that the host names, loads it once its files are new enough and the publisher's, opens
// applets through it, keeps how they ended, and gets the login and the identity pair from it. Once loaded, the SDK
// stays to the end of the process.
//
// Every operation may run on any thread. m_lockInit makes one thread at a time load the SDK. m_lockOpen is held across
// a whole open, the SDK's launch included: a poll waits for an open under way, and so does a state report on a thread
// of the SDK; a report on the launching thread itself passes. An SDK whose launch waits for such a thread of its own
// would therefore never return; this one does not. Order: m_lockOpen, m_lockInit, then one of the leaf locks
// m_lockTable and those of m_tasks, m_qimei and m_host.
class CYybApi final : private IYybSettler {
  public:
    // The one binding of the process, made at first use and never destroyed.
    static CYybApi& GetInstance();

    // Tests make bindings of their own. The one that loaded the SDK last gets the SDK's reports.
    CYybApi();
    ~CYybApi();
    CYybApi(const CYybApi&) = delete;
    CYybApi& operator=(const CYybApi&) = delete;

    // As CSdkHost::Take. Called for every new instance.
    void InitData(const std::string& config, const std::wstring& sdkPath, const std::wstring& hostTag);

    // True when the SDK is ready. Loads it when it is not; after a failure the next call tries again from the start.
    // While one thread starts the SDK others wait for it, and a call that the SDK makes happen on that thread gives
    // false.
    bool InitYybApi();

    // Gives the loaded SDK its start text. True when it accepts it.
    bool Initialize();

    // The SDK says that YYB is present; false without an SDK. Also works with an SDK that refused to start.
    bool CheckPcyyb();

    // Whether the user of YYB is logged in. Walks the processes and writes the login cache; false without an SDK.
    bool IsYybLogined();

    // The same for a thread that must not wait, however long the SDK takes to start: while another thread is starting
    // it there is no login, and the login cache stays as it is.
    bool IsYybLoginedNow();

    // Opens an applet, or installs YYB while opening it when it is missing and bAllowInstall says so. result becomes
    // "1", "0", "install", "uninstalled" or "InitYybApi error".
    void OpenWidthYybSDK(const std::string& yybParam, const std::string& appId, const std::string& taskId,
                         bool bAllowInstall, std::string& result);

    // Asks for the state of the open of taskId: "Loading" while it waits, its word once when it was settled, "0" for an
    // unknown task, an error word without a taskId. mon_wndexists 1 looks for a window titled wndname as well. True
    // when the task has ended and is forgotten.
    bool OpenProtocolTimeOut(const std::string& wndname, const std::string& taskId, std::string& result,
                             std::uint32_t mon_wndexists, bool bLastCall);

    // The identity pair, from memory, else from the registry, else from the SDK; both texts empty when none has it. A
    // stored pair without the marker is given once more and renewed for the next call.
    void GetQimeiPair(std::string& qimei32, std::string& qimei36);

    // Writes a new pair of the SDK's to the registry when qimei32 lacks the marker. True when it did.
    bool ResetQimei(const std::string& qimei32);

    // Calls Uninitialize when the SDK was initialised, once. For the shutdown; takes no lock, so that an open that
    // hangs in the SDK cannot hold it up.
    void Uninit();

    bool IsInit() const { return m_bInit.load(std::memory_order_acquire); }
    ChannelConfig Channel() const { return m_host.Channel(); }

  private:
    friend void StateChangeThunk(const char* text, std::int32_t code) noexcept;

    // All null until a library was loaded; then whatever it exports.
    struct SdkTable {
        std::int32_t (*m_pInitialize)(const char* text, std::int32_t length) = nullptr;
        void (*m_pUninitialize)() = nullptr;
        std::uint8_t (*m_pCheckPcyyb)() = nullptr;
        std::int32_t (*m_pGetQimei)(char* buffer, std::int32_t size) = nullptr;
        std::int32_t (*m_pLaunchApplet)(const char* text, std::int32_t length) = nullptr;
        std::uint8_t (*m_pHasAppletLaunchSuccess)() = nullptr;
        void (*m_pRegisterStateChangeHandler)(void (*handler)(const char* text, std::int32_t code)) = nullptr;
    };
    // False when one is missing; the others are set all the same.
    static bool ResolveSdk(HMODULE module, SdkTable& table);

    class CLoginFacts;

    SdkTable Sdk() const;
    std::wstring SdkDir() const;
    // The SDK's answer in a buffer of size bytes; false when the SDK is missing or refuses, with its result in ret.
    bool AskQimei(std::size_t size, std::string& text, std::int32_t& ret) const;
    void Settle(const std::string& pkgname, const char* word) override;

    CLock m_lockOpen NXL_ACQUIRED_BEFORE(m_lockInit);
    CLock m_lockInit NXL_ACQUIRED_BEFORE(m_lockTable);
    mutable CLock m_lockTable;

    CKeptModules m_modules NXL_GUARDED_BY(m_lockInit);
    bool m_bStarting NXL_GUARDED_BY(m_lockInit) = false;
    // Set under m_lockInit before the SDK is given StateChangeThunk, and not changed afterwards.
    std::function<void(const char* text, std::int32_t code)> m_fnStateChange;

    std::atomic<bool> m_bInit{false};
    std::atomic<bool> m_bUninit{false};
    CYybTasks m_tasks;
    CQimeiCache m_qimei;

    CSdkHost m_host;
    SdkTable m_table NXL_GUARDED_BY(m_lockTable);
};

// What the SDK calls, on a thread of its own choosing.
void StateChangeThunk(const char* text, std::int32_t code) noexcept;

}  // namespace YYB_API_CLIENT

namespace WXMINI_PROGRAM_COMMON {

// Puts the pair into the user's registry, UTF-8 given. A failure is not noticed.
void WriteQimeiToReg(const std::string& qimei32, const std::string& qimei36);

}  // namespace WXMINI_PROGRAM_COMMON
