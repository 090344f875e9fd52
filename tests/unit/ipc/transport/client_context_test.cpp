// What a connection keeps of its writes, with the test in the place of the worker.
#include "ipc/transport/client_context.h"

#include <string>

#include <gtest/gtest.h>

#include "ipc/transport/frame.h"
#include "tests/support/counted_memory.h"
#include "tests/support/raw_pipe.h"

namespace {

class ClientContext : public testing::Test {
  protected:
    ClientContext() {
        const std::wstring name = UniquePipeName();
        m_peer = CRawPipe::Serve(name);
        m_context.OpenPipe(name);
        EXPECT_TRUE(m_peer.WaitForClient());
    }

    // What the other end does not read yet is pending.
    void Send(std::string_view text) {
        m_context.BeginServing(IO_READ);
        m_context.PostWrite(text.data(), static_cast<std::int32_t>(text.size()));
        EXPECT_EQ(m_context.StartQueuedWrites(), 1);
    }

    // The other end reads while the write is made, so the write is done at once.
    void SendToAReader(std::string_view text) {
        std::string received(kFrameHeaderSize + text.size(), '\0');
        OVERLAPPED read{};
        ReadFile(m_peer.get(), received.data(), static_cast<DWORD>(received.size()), nullptr, &read);
        Send(text);
        DWORD nBytes = 0;
        EXPECT_TRUE(GetOverlappedResult(m_peer.get(), &read, &nBytes, TRUE));
        EXPECT_EQ(nBytes, received.size());
    }

    // Handles the packets that are in the port; tells how many.
    int TakePackets() {
        int count = 0;
        DWORD nBytes = 0;
        ULONG_PTR nKey = 0;
        OVERLAPPED* pOverlapped = nullptr;
        for (; GetQueuedCompletionStatus(m_hPort->get(), &nBytes, &nKey, &pOverlapped, 0); ++count) {
            m_context.EndOperation();
            m_context.FinishWrite(static_cast<CIOWriteBuffer*>(CIOBuffer::FromOverlapped(pOverlapped)), nBytes);
        }
        return count;
    }

    const CSharedPort m_hPort =
        std::make_shared<const CKernelHandle>(CreateIoCompletionPort(INVALID_HANDLE_VALUE, nullptr, 0, 0));
    CRawPipe m_peer;
    CClientContext m_context{m_hPort};
};

TEST_F(ClientContext, AWriteThatIsDoneAtOnceGivesNoPacketAndIsOver) {
    SendToAReader("text");
    EXPECT_FALSE(m_context.HasPendingIo());
    EXPECT_EQ(TakePackets(), 0);
}

TEST_F(ClientContext, AWriteThatIsDoneAtOnceIsLetGoAfterAnEarlierOneWhosePacketIsStillInThePort) {
    const std::string large(1 << 20, 'a');
    Send(large);
    EXPECT_TRUE(m_context.HasPendingIo());
    EXPECT_EQ(m_peer.Read(kFrameHeaderSize + large.size()).size(), kFrameHeaderSize + large.size());
    SendToAReader("text");
    EXPECT_EQ(TakePackets(), 1);
    EXPECT_FALSE(m_context.HasPendingIo());

    const CMemoryWatch memory;
    const std::string reply(1000, 'b');
    for (int i = 0; i < 100; ++i) {
        SendToAReader(reply);
        TakePackets();
    }
    EXPECT_LT(memory.Peak(), 10 * reply.size());
}

}  // namespace
