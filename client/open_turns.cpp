#include "client/open_turns.h"

#include <algorithm>

#include "client/caller_security.h"
#include "client/native_lock.h"
#include "foundation/handle.h"
#include "foundation/thread_annotations.h"
#include "foundation/windows_headers.h"

namespace {

// The opens whose end is not known yet are kept up to this many; then one of them is dropped.
constexpr std::size_t kMaxOpens = 256;

// What the processes of a session share for one mark.
struct SharedOpens {
    volatile LONG64 nSent;      // how many opens were sent
    volatile LONG64 nAnswered;  // the greatest number of one that was answered
};

struct OwnOpen {
    LONG64 nNumber;       // among those that were sent
    LONG64 nSentByReply;  // how many had been sent when its reply came; 0 before
};

struct Opens {
    CNativeLock lock;
    COpenTurns turns NXL_GUARDED_BY(lock);
    std::map<std::wstring, SharedOpens*> shared NXL_GUARDED_BY(lock);  // by mark; stay to the end of the process
    std::map<std::pair<std::wstring, std::string>, OwnOpen> own NXL_GUARDED_BY(lock);  // by mark and task
};

// Made when the library is loaded and never destroyed: at the end of the process threads may be anywhere.
Opens* const g_pOpens = new Opens;

// Null when the system gives none: then the opens of other processes are not seen.
SharedOpens* SharedOf(const std::wstring& strMark) NXL_REQUIRES(g_pOpens->lock) {
    SharedOpens*& shared = g_pOpens->shared[strMark];
    if (shared == nullptr) {
        CCallerSecurity security;
        const std::wstring name = L"Local\\nexlet_client_opens_" + strMark;
        CKernelHandle section(CreateFileMappingW(INVALID_HANDLE_VALUE, security.attributes(), PAGE_READWRITE, 0,
                                                 sizeof(SharedOpens), name.c_str()));
        if (section) {
            // The view keeps the section.
            shared = static_cast<SharedOpens*>(
                MapViewOfFile(section.get(), FILE_MAP_READ | FILE_MAP_WRITE, 0, 0, sizeof(SharedOpens)));
        }
    }
    return shared;
}

}  // namespace

bool COpenTurns::Take(const std::wstring& strMark, const std::string& strTaskId, const void* owner, std::uint64_t nowMs,
                      std::uint64_t untilMs) {
    const auto found = m_turns.find(strMark);
    if (found != m_turns.end() && found->second.nUntilMs > nowMs) {
        return false;
    }
    m_turns[strMark] = {strTaskId, owner, untilMs, 0};
    return true;
}

void COpenTurns::Accept(const std::wstring& strMark, const std::string& strTaskId, std::uint64_t nowMs) {
    const auto found = m_turns.find(strMark);
    if (found != m_turns.end() && found->second.strTaskId == strTaskId) {
        found->second.nUntilMs = nowMs + kSettleMs;
        found->second.nMostMs = nowMs + kMostSettleMs;
    }
}

void COpenTurns::Extend(const std::wstring& strMark, const std::string& strTaskId, std::uint64_t nowMs) {
    const auto found = m_turns.find(strMark);
    if (found != m_turns.end() && found->second.strTaskId == strTaskId && found->second.nMostMs != 0) {
        found->second.nUntilMs = std::min(nowMs + kSettleMs, found->second.nMostMs);
    }
}

void COpenTurns::Settle(const std::wstring& strMark, const std::string& strTaskId) {
    const auto found = m_turns.find(strMark);
    if (found != m_turns.end() && found->second.strTaskId == strTaskId) {
        m_turns.erase(found);
    }
}

void COpenTurns::SettleAll(const void* owner) {
    std::erase_if(m_turns, [owner](const auto& one) { return one.second.owner == owner; });
}

bool BeginOpen(const std::wstring& strMark, const std::string& strTaskId, const void* owner, std::uint32_t timeoutMs) {
    const CNativeGuard lock(g_pOpens->lock);
    const std::uint64_t now = GetTickCount64();
    if (!g_pOpens->turns.Take(strMark, strTaskId, owner, now, now + timeoutMs + kSettleMs)) {
        return false;
    }
    if (SharedOpens* const shared = SharedOf(strMark); shared != nullptr) {
        if (g_pOpens->own.size() >= kMaxOpens) {
            g_pOpens->own.erase(g_pOpens->own.begin());
        }
        g_pOpens->own[{strMark, strTaskId}] = {InterlockedIncrement64(&shared->nSent), 0};
    }
    return true;
}

void OpenAnswered(const std::wstring& strMark, const std::string& strTaskId, bool accepted) {
    const CNativeGuard lock(g_pOpens->lock);
    const auto own = g_pOpens->own.find({strMark, strTaskId});
    if (own != g_pOpens->own.end()) {
        SharedOpens* const shared = SharedOf(strMark);
        own->second.nSentByReply = InterlockedAdd64(&shared->nSent, 0);
        LONG64 answered = InterlockedAdd64(&shared->nAnswered, 0);
        while (answered < own->second.nNumber) {
            answered = InterlockedCompareExchange64(&shared->nAnswered, own->second.nNumber, answered);
        }
    }
    if (accepted) {
        g_pOpens->turns.Accept(strMark, strTaskId, GetTickCount64());
    } else {
        g_pOpens->turns.Settle(strMark, strTaskId);
        g_pOpens->own.erase({strMark, strTaskId});
    }
}

void OpenLoading(const std::wstring& strMark, const std::string& strTaskId) {
    const CNativeGuard lock(g_pOpens->lock);
    g_pOpens->turns.Extend(strMark, strTaskId, GetTickCount64());
}

void OpenSettled(const std::wstring& strMark, const std::string& strTaskId) {
    const CNativeGuard lock(g_pOpens->lock);
    g_pOpens->turns.Settle(strMark, strTaskId);
    g_pOpens->own.erase({strMark, strTaskId});
}

void OpensOver(const void* owner) {
    const CNativeGuard lock(g_pOpens->lock);
    g_pOpens->turns.SettleAll(owner);
}

bool OpenWasOvertaken(const std::wstring& strMark, const std::string& strTaskId) {
    const CNativeGuard lock(g_pOpens->lock);
    const auto own = g_pOpens->own.find({strMark, strTaskId});
    // One that was sent before the reply may have come to the helper earlier, and says nothing.
    return own != g_pOpens->own.end() && own->second.nSentByReply != 0 &&
           InterlockedAdd64(&SharedOf(strMark)->nAnswered, 0) > own->second.nSentByReply;
}
