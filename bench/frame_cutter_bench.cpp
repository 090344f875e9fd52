// What cutting frames costs against copying their bytes once, and that it stays linear in the bytes however many frames
// one buffer holds.
#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstring>
#include <string>
#include <vector>

#include "bench/bench_table.h"
#include "ipc/transport/frame.h"
#include "ipc/transport/frame_cutter.h"

namespace {

class CCountingSink final : public IPipeConnectCallback {
  public:
    void Connected() override {}
    void Lost() override {}
    std::uint32_t Received(const unsigned char* data, std::int32_t length) override {
        Keep(data);
        m_nBytes += static_cast<std::size_t>(length);
        ++m_nFrames;
        return 0;
    }
    std::size_t m_nFrames = 0;
    std::size_t m_nBytes = 0;
};

std::string Frames(std::size_t nFrames, std::size_t nPayload) {
    const std::string frame = BuildFrame(std::string(nPayload, 'x'));
    std::string bytes;
    bytes.reserve(nFrames * frame.size());
    for (std::size_t i = 0; i < nFrames; ++i) {
        bytes += frame;
    }
    return bytes;
}

// As a connection does it: reads of 1024 bytes.
void CutInChunks(const std::string& bytes, CCountingSink& sink) {
    CFrameCutter cutter;
    for (std::size_t at = 0; at < bytes.size(); at += 1024) {
        cutter.Append(bytes.data() + at, std::min<std::size_t>(1024, bytes.size() - at));
        cutter.DispatchFrames(&sink);
    }
}

void BenchPayload(std::size_t nPayload) {
    const std::string bytes = Frames(std::max<std::size_t>(1, (1 << 20) / (nPayload + kFrameHeaderSize)), nPayload);
    std::string copy(bytes.size(), '\0');
    CCountingSink sink;
    BenchTable table("cutting 1 MiB of frames with " + std::to_string(nPayload) +
                     " bytes of payload, from reads of 1024");
    table.Add(
        "copying the bytes once",
        [&](std::size_t count) {
            for (; count > 0; --count) {
                for (std::size_t at = 0; at < bytes.size(); at += 1024) {
                    std::memcpy(copy.data() + at, bytes.data() + at, std::min<std::size_t>(1024, bytes.size() - at));
                    Barrier();
                }
            }
        },
        bytes.size());
    table.Add(
        "CFrameCutter",
        [&](std::size_t count) {
            for (; count > 0; --count) {
                CutInChunks(bytes, sink);
            }
        },
        bytes.size());
    table.Run();
}

// Nanoseconds for each of nFrames empty frames in one buffer; the best of some rounds.
double NanosecondsPerFrame(std::size_t nFrames) {
    const std::string bytes = Frames(nFrames, 0);
    double best = 1e300;
    for (int round = 0; round < 7; ++round) {
        CFrameCutter cutter;
        CCountingSink sink;
        cutter.Append(bytes.data(), bytes.size());
        const auto start = std::chrono::steady_clock::now();
        cutter.DispatchFrames(&sink);
        const std::chrono::duration<double, std::nano> passed = std::chrono::steady_clock::now() - start;
        best = std::min(best, passed.count() / static_cast<double>(sink.m_nFrames));
    }
    return best;
}

void BenchLinearity() {
    std::printf("\nempty frames in one buffer: time for each of them\n");
    const double floor = NanosecondsPerFrame(1000);
    for (const std::size_t nFrames : {1000u, 10000u, 100000u, 1000000u}) {
        const double nanoseconds = NanosecondsPerFrame(nFrames);
        std::printf("  %8zu frames %10.2f ns  %6.2f x that of 1000  %8.1f million frames/s\n", nFrames, nanoseconds,
                    nanoseconds / floor, 1e3 / nanoseconds);
    }
    std::fflush(stdout);
}

}  // namespace

int main() {
    for (const std::size_t nPayload : {0u, 100u, 1000u, 100000u}) {
        BenchPayload(nPayload);
    }
    BenchLinearity();
    return 0;
}
