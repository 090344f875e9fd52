#include "ipc/transport/write_gate.h"

#include <thread>

#include <gtest/gtest.h>

#include "foundation/handle.h"

namespace {

CKernelHandle MakeGate(BOOL bManual, BOOL bOpen) {
    return CKernelHandle(CreateEventW(nullptr, bManual, bOpen, nullptr));
}

bool IsOpen(const CKernelHandle& gate) {
    return WaitForSingleObject(gate.get(), 0) == WAIT_OBJECT_0;
}

TEST(WriteGate, AnOpenGateIsClosed) {
    for (const BOOL bManual : {TRUE, FALSE}) {
        const CKernelHandle gate = MakeGate(bManual, TRUE);
        CloseGate(gate.get());
        EXPECT_FALSE(IsOpen(gate));
    }
}

TEST(WriteGate, AClosedGateIsWaitedForAndThenClosed) {
    for (const BOOL bManual : {TRUE, FALSE}) {
        const CKernelHandle gate = MakeGate(bManual, FALSE);
        const CKernelHandle closed = MakeGate(TRUE, FALSE);
        std::thread sender([&] {
            CloseGate(gate.get());
            SetEvent(closed.get());
        });
        // So that it waits when the gate is opened; one that comes later finds an open gate.
        WaitForSingleObject(closed.get(), kGateWaitMs / 20);
        SetEvent(gate.get());
        sender.join();
        EXPECT_FALSE(IsOpen(gate));
    }
}

}  // namespace
