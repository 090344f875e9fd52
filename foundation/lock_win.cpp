#include "foundation/lock.h"
#include "foundation/system_failure.h"
#include "foundation/windows_headers.h"

struct CLock::Section {
    Section() {
        if (!InitializeCriticalSectionEx(&section, /*dwSpinCount=*/0, /*Flags=*/0)) {
            RaiseSystemFailure(GetLastError());
        }
    }
    ~Section() { DeleteCriticalSection(&section); }
    Section(const Section&) = delete;
    Section& operator=(const Section&) = delete;

    CRITICAL_SECTION section;
};

CLock::CLock() : m_pSection(std::make_unique<Section>()) {}

CLock::~CLock() = default;

void CLock::Enter() {
    EnterCriticalSection(&m_pSection->section);
}

bool CLock::TryEnter() {
    return TryEnterCriticalSection(&m_pSection->section) != FALSE;
}

void CLock::Leave() {
    LeaveCriticalSection(&m_pSection->section);
}
