#include "simulation/kernel/pipe.h"

#include <algorithm>
#include <cstring>
#include <cwctype>

#include "simulation/kernel/machine.h"

namespace simulation {
namespace {

constexpr wchar_t kPrefix[] = L"\\\\.\\pipe\\";

std::wstring Folded(std::wstring strName) {
    for (wchar_t& letter : strName) {
        letter = static_cast<wchar_t>(std::towlower(static_cast<std::wint_t>(letter)));
    }
    return strName;
}

}  // namespace

std::shared_ptr<CPipeEnd> CPipe::Connect(const std::shared_ptr<CPipe>& pSelf, bool bOverlapped) {
    if (m_state != State::Listening) {
        return nullptr;
    }
    m_state = State::Connected;
    m_bOpen[kClient] = true;
    ++m_nConnection;
    if (const IoPointer pAccept = std::exchange(m_pAccept, nullptr)) {
        pAccept->Complete(ERROR_SUCCESS, 0);
    }
    return std::make_shared<CPipeEnd>(pSelf, kClient, bOverlapped);
}

void CPipe::Accept(const IoPointer& pIo) {
    switch (m_state) {
        case State::Connected:
            pIo->m_nError = ERROR_PIPE_CONNECTED;
            break;
        case State::Closing:
            pIo->m_nError = ERROR_NO_DATA;
            break;
        case State::Listening:
        case State::Disconnected:
            m_state = State::Listening;
            m_pAccept = pIo;
            break;
    }
}

DWORD CPipe::Disconnect() {
    if (m_state == State::Disconnected) {
        return ERROR_PIPE_NOT_CONNECTED;
    }
    if (m_state == State::Listening) {
        if (const IoPointer pAccept = std::exchange(m_pAccept, nullptr)) {
            m_state = State::Disconnected;
            pAccept->Complete(ERROR_PIPE_NOT_CONNECTED, 0);
            return ERROR_SUCCESS;
        }
        return ERROR_PIPE_LISTENING;
    }
    m_state = State::Disconnected;
    for (Direction& direction : m_inbound) {
        EndReaders(direction, ERROR_PIPE_NOT_CONNECTED);
        EndWrites(direction, ERROR_PIPE_NOT_CONNECTED, /*bAll=*/true);
    }
    m_bOpen[kClient] = false;
    ++m_nConnection;
    return ERROR_SUCCESS;
}

DWORD CPipe::Refusal(Side side, bool bWrite) const {
    if (m_state == State::Disconnected) {
        return ERROR_PIPE_NOT_CONNECTED;
    }
    if (side == kServer && m_state == State::Listening) {
        return ERROR_PIPE_LISTENING;
    }
    if (!m_bOpen[Other(side)]) {
        if (bWrite) {
            return ERROR_NO_DATA;
        }
        return m_inbound[side].queue.empty() ? ERROR_BROKEN_PIPE : ERROR_SUCCESS;
    }
    return ERROR_SUCCESS;
}

void CPipe::Read(Side side, const IoPointer& pIo) {
    if (const DWORD nError = Refusal(side, /*bWrite=*/false); nError != ERROR_SUCCESS) {
        pIo->m_nError = nError;
        return;
    }
    m_inbound[side].readers.push_back(pIo);
    Move(m_inbound[side]);
}

void CPipe::Write(Side side, const IoPointer& pIo) {
    if (const DWORD nError = Refusal(side, /*bWrite=*/true); nError != ERROR_SUCCESS) {
        pIo->m_nError = nError;
        return;
    }
    if (pIo->m_nSize == 0) {
        pIo->Complete(ERROR_SUCCESS, 0);
        return;
    }
    Direction& direction = m_inbound[Other(side)];
    direction.queue.push_back({pIo, {}, 0, g_pScheduler->RunningProcess()});
    HappensBefore(&direction.queue.back());
    Move(direction);
}

void CPipe::Move(Direction& direction) {
    while (!direction.queue.empty() && !direction.readers.empty()) {
        const IoPointer pRead = direction.readers.front();
        direction.readers.pop_front();
        DWORD nRead = 0;
        while (nRead < pRead->m_nSize && !direction.queue.empty()) {
            Bytes& bytes = direction.queue.front();
            // Bytes order threads of one process, as where a test has both ends. Two processes share no memory, and an
            // order by way of the other one would hide races.
            if (bytes.nWriter == g_pScheduler->RunningProcess()) {
                HappensAfter(&bytes);
            }
            const std::size_t nPart = std::min<std::size_t>(pRead->m_nSize - nRead, bytes.Size() - bytes.nRead);
            std::memcpy(pRead->m_pBuffer + nRead, bytes.Data() + bytes.nRead, nPart);
            nRead += static_cast<DWORD>(nPart);
            bytes.nRead += nPart;
            if (bytes.nRead == bytes.Size()) {
                const IoPointer pWrite = bytes.pWrite;
                direction.queue.pop_front();
                if (pWrite) {
                    pWrite->Complete(ERROR_SUCCESS, pWrite->m_nSize);
                }
            }
        }
        pRead->Complete(ERROR_SUCCESS, nRead);
    }
    // What fits is taken from the writer's hands.
    std::size_t nUnread = 0;
    for (Bytes& bytes : direction.queue) {
        nUnread += bytes.Size() - bytes.nRead;
        if (bytes.pWrite && nUnread <= direction.nQuota) {
            const IoPointer pWrite = std::move(bytes.pWrite);
            bytes.pWrite = nullptr;
            bytes.kept.assign(pWrite->m_pBuffer, pWrite->m_pBuffer + pWrite->m_nSize);
            pWrite->Complete(ERROR_SUCCESS, pWrite->m_nSize);
        }
    }
}

void CPipe::EndReaders(Direction& direction, DWORD nError) {
    while (!direction.readers.empty()) {
        const IoPointer pIo = direction.readers.front();
        direction.readers.pop_front();
        pIo->Complete(nError, 0);
    }
}

void CPipe::EndWrites(Direction& direction, DWORD nError, bool bAll) {
    std::deque<Bytes> queue = std::move(direction.queue);
    direction.queue.clear();
    for (Bytes& bytes : queue) {
        if (bytes.pWrite) {
            // What the other end has taken of it is not told.
            bytes.pWrite->Complete(nError, 0);
        } else if (!bAll) {
            direction.queue.push_back(std::move(bytes));
        }
    }
}

bool CPipe::Cancel(Side side, const OVERLAPPED* pOverlapped) {
    std::vector<IoPointer> found;
    const auto fits = [&](const IoPointer& pIo) {
        return pIo && pIo->m_pOverlapped != nullptr && (pOverlapped == nullptr || pIo->m_pOverlapped == pOverlapped);
    };
    if (side == kServer && fits(m_pAccept)) {
        found.push_back(std::exchange(m_pAccept, nullptr));
    }
    std::erase_if(m_inbound[side].readers, [&](const IoPointer& pIo) {
        if (fits(pIo)) {
            found.push_back(pIo);
            return true;
        }
        return false;
    });
    std::erase_if(m_inbound[Other(side)].queue, [&](const Bytes& bytes) {
        if (fits(bytes.pWrite)) {
            found.push_back(bytes.pWrite);
            return true;
        }
        return false;
    });
    for (const IoPointer& pIo : found) {
        pIo->Complete(ERROR_OPERATION_ABORTED, 0);
    }
    return !found.empty();
}

void CPipe::Close(Side side) {
    const DWORD nOwn = g_pMachine->m_flavour.nOwnHandleClosed;
    m_bOpen[side] = false;
    if (const IoPointer pAccept = side == kServer ? std::exchange(m_pAccept, nullptr) : nullptr) {
        pAccept->Complete(ERROR_OPERATION_ABORTED, 0);
    }
    Direction& toOther = m_inbound[Other(side)];
    EndReaders(m_inbound[side], nOwn);
    EndWrites(toOther, nOwn, /*bAll=*/false);
    EndWrites(m_inbound[side], ERROR_BROKEN_PIPE, /*bAll=*/true);
    EndReaders(toOther, ERROR_BROKEN_PIPE);
    if (side == kClient && m_state == State::Connected) {
        m_state = State::Closing;
    }
}

std::size_t CPipe::Available(Side side) const {
    std::size_t nBytes = 0;
    for (const Bytes& bytes : m_inbound[side].queue) {
        nBytes += bytes.Size() - bytes.nRead;
    }
    return nBytes;
}

void CPipeEnd::Read(const IoPointer& pIo) {
    if (IsCutOff()) {
        pIo->m_nError = ERROR_PIPE_NOT_CONNECTED;
        return;
    }
    m_pPipe->Read(m_side, pIo);
}

void CPipeEnd::Write(const IoPointer& pIo) {
    if (IsCutOff()) {
        pIo->m_nError = ERROR_PIPE_NOT_CONNECTED;
        return;
    }
    m_pPipe->Write(m_side, pIo);
}

bool CPipeEnd::Cancel(const OVERLAPPED* pOverlapped) {
    return !IsCutOff() && m_pPipe->Cancel(m_side, pOverlapped);
}

void CPipeEnd::LastHandleClosed() {
    if (!IsCutOff()) {
        m_pPipe->Close(m_side);
    }
}

bool CPipeNames::IsPipeName(const std::wstring& strName) {
    return Folded(strName).starts_with(kPrefix);
}

CPipeNames::Name* CPipeNames::Find(const std::wstring& strName) {
    const auto found = m_names.find(Folded(strName));
    if (found == m_names.end()) {
        return nullptr;
    }
    std::erase_if(found->second.servers, [](const std::weak_ptr<CPipeEnd>& weak) {
        const std::shared_ptr<CPipeEnd> pEnd = weak.lock();
        return !pEnd || pEnd->m_nHandles == 0;
    });
    if (found->second.servers.empty()) {
        m_names.erase(found);
        return nullptr;
    }
    return &found->second;
}

bool CPipeNames::IsServed(const std::wstring& strName, bool& bListens) {
    const Name* const pName = Find(strName);
    bListens = pName != nullptr && std::any_of(pName->servers.begin(), pName->servers.end(), [](const auto& weak) {
                   return weak.lock()->m_pPipe->m_state == CPipe::State::Listening;
               });
    return pName != nullptr;
}

std::shared_ptr<CPipeEnd> CPipeNames::Serve(const std::wstring& strName, const PipeOpening& opening, DWORD nProcess,
                                            DWORD& nError) {
    Name* pName = Find(strName);
    if (pName != nullptr && opening.bFirst) {
        nError = ERROR_ACCESS_DENIED;
        return nullptr;
    }
    if (pName != nullptr && pName->opening.nMaxInstances != PIPE_UNLIMITED_INSTANCES &&
        pName->servers.size() >= pName->opening.nMaxInstances) {
        nError = ERROR_PIPE_BUSY;
        return nullptr;
    }
    if (pName == nullptr) {
        pName = &m_names[Folded(strName)];
        pName->opening = opening;
    }
    const auto pPipe = std::make_shared<CPipe>(nProcess, opening);
    const auto pEnd = std::make_shared<CPipeEnd>(pPipe, CPipe::kServer, opening.bOverlapped);
    pName->servers.push_back(pEnd);
    return pEnd;
}

std::shared_ptr<CPipeEnd> CPipeNames::Open(const std::wstring& strName, DWORD nAccess, bool bOverlapped,
                                           DWORD& nError) {
    const Name* const pName = Find(strName);
    if (pName == nullptr) {
        nError = ERROR_FILE_NOT_FOUND;
        return nullptr;
    }
    if (((nAccess & GENERIC_READ) != 0 && !pName->opening.bOutbound) ||
        ((nAccess & GENERIC_WRITE) != 0 && !pName->opening.bInbound)) {
        nError = ERROR_ACCESS_DENIED;
        return nullptr;
    }
    for (const std::weak_ptr<CPipeEnd>& weak : pName->servers) {
        const std::shared_ptr<CPipe>& pPipe = weak.lock()->m_pPipe;
        if (std::shared_ptr<CPipeEnd> pEnd = pPipe->Connect(pPipe, bOverlapped)) {
            return pEnd;
        }
    }
    nError = ERROR_PIPE_BUSY;
    return nullptr;
}

}  // namespace simulation
