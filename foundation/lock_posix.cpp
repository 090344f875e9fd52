#include <mutex>

#include "foundation/lock.h"

struct CLock::Section {
    std::recursive_mutex mutex;
};

CLock::CLock() : m_pSection(std::make_unique<Section>()) {}

CLock::~CLock() = default;

void CLock::Enter() {
    m_pSection->mutex.lock();
}

bool CLock::TryEnter() {
    return m_pSection->mutex.try_lock();
}

void CLock::Leave() {
    m_pSection->mutex.unlock();
}
