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

void CLock::Leave() {
    m_pSection->mutex.unlock();
}
