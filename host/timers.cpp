// What the timers do: prune the instance table, end a process that serves no caller, refresh the status record.
#include "host/helper_host.h"

#include "foundation/log.h"
#include "foundation/text_helpers.h"
#include "host/message_window.h"
#include "host/prune_rule.h"
#include "host/window_calls.h"
#include "open/request/mini_program_service.h"

namespace {

// The functions here are the parts of one operation, by whose name people know its lines.
constexpr wchar_t kOnTimer[] = L"CommzoltHelperS::OnTimer";

// A helper of this mark stays for the longer timer when its last instance has gone.
constexpr wchar_t kPatientMark[] = L"ml";

// Makes the message loop end; the shutdown follows it.
void LeaveMessageLoop(HWND window) {
    GetWindowCalls().pfnKillTimer(window, g_nExitTimerId.load());
    PostQuitMessage(0);
}

}  // namespace

void CommzoltHelperS::OnTimer(HWND window, UINT_PTR timerId) {
    if (timerId == g_nExitTimerId.load()) {
        OnCheckTimeout(window);
    } else if (timerId == g_nCheckTimerId.load()) {
        OnCheckExit(window);
    } else if (timerId == g_nStatusTimerId.load()) {
        OnUpdateStatus();
    }
}

void CommzoltHelperS::OnCheckTimeout(HWND window) {
    NXL_LOG_AS(kOnTimer, L"[%s(%d)] Check timeout, exit process begin");
    {
        const CAutoLock lock(&m_lockInstance);
        PruneInstances();
        if (!m_mWxExInstance.empty()) {
            NXL_LOG_AS(kOnTimer, L"[%s(%d)] has instance");
            return;
        }
    }
    NXL_LOG_AS(kOnTimer, L"[%s(%d)] Check timeout, exit process end");
    LeaveMessageLoop(window);
}

void CommzoltHelperS::OnCheckExit(HWND window) {
    NXL_LOG_AS(kOnTimer, L"[%s(%d)] Check procee exit begin");
    {
        const CAutoLock lock(&m_lockInstance);
        PruneInstances();
        if (!m_mWxExInstance.empty()) {
            NXL_LOG_AS(kOnTimer, L"[%s(%d)] m_mWxExInstance = %d", static_cast<int>(m_mWxExInstance.size()));
            return;
        }
    }
    if (Mark() == kPatientMark) {
        NXL_LOG_AS(kOnTimer, L"[%s(%d)] is ml");
        return;
    }
    NXL_LOG_AS(kOnTimer, L"[%s(%d)] ovrinse Check procee exit begin");
    LeaveMessageLoop(window);
}

void CommzoltHelperS::OnUpdateStatus() {
    NXL_LOG_AS(kOnTimer, L"[%s(%d)] update zolt status");
    if (!m_pStatusRecord) {
        m_pStatusRecord = std::make_unique<WxMiniProgramService>();
    }
    m_pStatusRecord->UpdatezoltStatus();
}

void CommzoltHelperS::PruneInstances() {
    // One wait for all of them: this thread is the one whose silence ends the process, and any number of callers may
    // vanish with a request under way. PruneWalkTest holds it.
    const ULONGLONG start = GetTickCount64();
    for (auto entry = m_mWxExInstance.begin(); entry != m_mWxExInstance.end();) {
        const std::shared_ptr<WxMiniProgramServiceEx> instance = entry->second;
        const std::string& id = instance->ServiceId();
        // Held while the instance is destroyed, so that none of its threads can write the table afterwards.
        const CAutoLock lock(&m_lockParam);
        const auto [fate, pParam] = JudgeInstance(m_mInstanceParam, id);
        if (fate == InstanceFate::Keep) {
            ++entry;
            continue;
        }
        if (fate == InstanceFate::EraseFinished) {
            NXL_LOG_AS(kOnTimer,
                       L"[%s(%d)] erase it ,is service id %s, nDelayedTaskCount = %d, bDLLWndExist = %d, "
                       L"bIsDelayedDestroy = %d",
                       Utf8ToUtf16(id).c_str(), pParam->nDelayedTaskCount, pParam->bDLLWndExist ? 1 : 0,
                       pParam->bIsDelayedDestroy ? 1 : 0);
        }
        entry = m_mWxExInstance.erase(entry);
        instance->Destroy(WaitThatIsLeft(kDestroyWaitMs, GetTickCount64() - start));
        m_mInstanceParam.erase(id);
    }
}
