#include "host/forwarder.h"

#include "foundation/log.h"

void ExistzoltExcute(const std::wstring&) {
    // The hand-over is not built yet: a second start ends without a word to the first.
    NXL_LOG(L"[%s(%d)] enter ExistzoltExcute");
}
