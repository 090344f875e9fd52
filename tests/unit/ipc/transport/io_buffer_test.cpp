#include "ipc/transport/io_buffer.h"

#include <gtest/gtest.h>

namespace {

TEST(IoBuffer, ANewBufferIsIdleAndItsBlockClear) {
    CIOReadBuffer read;
    EXPECT_EQ(read.m_nOperation, -1);
    EXPECT_EQ(read.m_overlapped.Internal, 0u);
    EXPECT_EQ(read.m_overlapped.hEvent, nullptr);
    EXPECT_EQ(read.m_nBytesRead, 0u);
    CIOWriteBuffer write;
    EXPECT_EQ(write.m_nOperation, -1);
    EXPECT_EQ(write.m_nTotal, 0u);
    EXPECT_EQ(write.m_nWritten, 0u);
}

TEST(IoBuffer, TheBlockLeadsBackToItsRecord) {
    CIOWriteBuffer write;
    EXPECT_EQ(CIOBuffer::FromOverlapped(&write.m_overlapped), &write);
    CIOAcceptBuffer accept;
    OVERLAPPED* const pBlock = accept.Prepare(IO_ACCEPT);
    EXPECT_EQ(CIOBuffer::FromOverlapped(pBlock), &accept);
}

TEST(IoBuffer, PreparingClearsTheBlockAndNamesTheOperation) {
    CIOReadBuffer read;
    read.m_overlapped.Internal = 7;
    read.m_overlapped.Offset = 9;
    OVERLAPPED* const pBlock = read.Prepare(IO_READ);
    EXPECT_EQ(pBlock->Internal, 0u);
    EXPECT_EQ(pBlock->Offset, 0u);
    EXPECT_EQ(read.m_nOperation, IO_READ);
}

TEST(IoBuffer, TheOperationsHaveFixedNumbers) {
    EXPECT_EQ(IO_ACCEPT, 0);
    EXPECT_EQ(IO_READ, 1);
    EXPECT_EQ(IO_WRITE_REQUEST, 2);
    EXPECT_EQ(IO_WRITE_DONE, 3);
    EXPECT_EQ(PIPE_READ_CHUNK, 1024u);
}

}  // namespace
