#include "world/helper/pipe_peer.h"

#include <thread>

#include <gtest/gtest.h>

#include "tests/support/raw_pipe.h"

namespace {

// More than any pipe takes without a reader.
const std::string kStuckText(4 << 20, 'x');

TEST(PipePeer, WriteThatIsCutOffByItsLimitEndsTheConnection) {
    const std::wstring name = UniquePipeName();
    CRawPipe server = CRawPipe::Serve(name, 1);
    CPipePeer peer;
    ASSERT_TRUE(peer.Open(name)) << peer.LastError();
    EXPECT_FALSE(peer.Write(kStuckText, 50));
    EXPECT_FALSE(peer.IsOpen());
    EXPECT_TRUE(server.WaitForEnd());
}

TEST(PipePeer, WriteThatIsStoppedEndsTheConnection) {
    const std::wstring name = UniquePipeName();
    CRawPipe server = CRawPipe::Serve(name, 1);
    const CKernelHandle stop(CreateEventW(nullptr, TRUE, TRUE, nullptr));
    CPipePeer peer;
    ASSERT_TRUE(peer.Open(name)) << peer.LastError();
    peer.StopOn(stop.get());
    EXPECT_FALSE(peer.Write(kStuckText));
    EXPECT_FALSE(peer.IsOpen());
    EXPECT_TRUE(server.WaitForEnd());
}

TEST(PipePeer, ReadThatIsCutOffByItsLimitLeavesTheConnection) {
    const std::wstring name = UniquePipeName();
    CRawPipe server = CRawPipe::Serve(name, 1);
    CPipePeer peer;
    ASSERT_TRUE(peer.Open(name)) << peer.LastError();
    EXPECT_EQ(peer.Read(4, 50), "");
    EXPECT_TRUE(peer.IsOpen());
    std::thread writer([&] { EXPECT_TRUE(server.Write("text")); });
    EXPECT_EQ(peer.Read(4), "text");
    writer.join();
}

}  // namespace
