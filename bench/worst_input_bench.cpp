// What every reader of foreign bytes costs with its worst inputs: nanoseconds a byte for 64 KiB, 1 MiB and 16 MiB side
// by side. The sender of a message chooses it; none may cost more a byte because it is longer. The time is the
// processor's, so that a busy machine does not show.
//
//   worst_input_bench [TEXT...]     the rows whose names hold one of the texts; default: all
//
// The exit code is 1 when a row grows. Inputs of many small values leave the processor's caches, and a search among
// many members takes a logarithm of them: for these some growth is usual, which kMuch allows for.
#ifdef _WIN32
#include "foundation/windows_headers.h"
#endif

#include <algorithm>
#include <cstdio>
#include <ctime>
#include <limits>
#include <string_view>

#include "bench/worst_inputs.h"

namespace {

constexpr std::size_t kSizes[] = {std::size_t{64} << 10, std::size_t{1} << 20, std::size_t{16} << 20};
// From the first size to the last the input becomes 256 times as long: what is quadratic costs 256 times as much a
// byte.
constexpr double kMuch = 8;
// What costs less a byte than this costs little more than the memory it passes through, which is slower the more it is.
constexpr double kLittle = 10;
constexpr int kRounds = 3;
constexpr double kRoundMs = 40;
// A size that is expected to take longer than this is not tried.
constexpr double kLongestMs = 120000;

// Of this thread.
double ProcessorMilliseconds() {
#ifdef _WIN32
    FILETIME created;
    FILETIME ended;
    ULARGE_INTEGER kernel;
    ULARGE_INTEGER user;
    GetThreadTimes(GetCurrentThread(), &created, &ended, reinterpret_cast<FILETIME*>(&kernel),
                   reinterpret_cast<FILETIME*>(&user));
    return static_cast<double>(kernel.QuadPart + user.QuadPart) / 1e4;
#else
    timespec now;
    clock_gettime(CLOCK_THREAD_CPUTIME_ID, &now);
    return static_cast<double>(now.tv_sec) * 1e3 + static_cast<double>(now.tv_nsec) / 1e6;
#endif
}

// Nanoseconds a byte, of the best round.
double Measure(const WorstInput::Prepared& prepared) {
    std::size_t times = 1;
    double best = std::numeric_limits<double>::max();
    for (int round = 0; round < kRounds;) {
        const double start = ProcessorMilliseconds();
        for (std::size_t i = 0; i < times; ++i) {
            prepared.work();
        }
        const double taken = ProcessorMilliseconds() - start;
        if (taken < kRoundMs && times < (std::size_t{1} << 24)) {
            times *= taken < kRoundMs / 16 ? 8 : 2;
            continue;
        }
        best = std::min(best, taken / static_cast<double>(times));
        round += taken > 20 * kRoundMs ? kRounds : 1;  // long enough to be believed at once
    }
    return best * 1e6 / static_cast<double>(prepared.bytes);
}

// Prints a row. True when it grows.
bool Run(const WorstInput& input) {
    std::printf("  %-58s", input.name.c_str());
    double first = 0;
    double before = 0;
    double last = 0;
    for (const std::size_t size : kSizes) {
        // As it has grown from the size before it may grow again.
        const double expected = before > 0 ? last * std::max(1.0, last / before) : last;
        if (expected * static_cast<double>(size) / 1e6 > kLongestMs) {
            std::printf("          -");
            last = std::numeric_limits<double>::infinity();
            break;
        }
        before = last;
        last = Measure(input.prepare(size));
        first = size == kSizes[0] ? last : first;
        std::printf(" %10.2f", last);
        std::fflush(stdout);
    }
    const bool grows = last > kLittle && last > kMuch * first;
    std::printf(" %8.1f x%s\n", last / first, grows ? "  GROWS" : "");
    std::fflush(stdout);
    return grows;
}

}  // namespace

WorstInput TextInput(std::string name, std::function<std::string(std::size_t size)> make,
                     std::function<void(const std::string& text)> read) {
    return {std::move(name), [make = std::move(make), read = std::move(read)](std::size_t size) {
                std::string text = make(size);
                const std::size_t bytes = text.size();
                return WorstInput::Prepared{bytes, [text = std::move(text), read] { read(text); }};
            }};
}

std::string Repeated(const std::string& piece, std::size_t size, const std::string& begin, const std::string& end) {
    std::string text = begin;
    text.reserve(size + piece.size() + end.size());
    while (text.size() + piece.size() + end.size() <= size) {
        text += piece;
    }
    return text + end;
}

int main(int argc, char** argv) {
    WorstInputs inputs;
    AddFrames(inputs);
    AddTexts(inputs);
    AddJson(inputs);
    AddSigners(inputs);
    AddPictures(inputs);
    std::printf("nanoseconds a byte                                              64 KiB      1 MiB     16 MiB\n");
    int growing = 0;
    for (const WorstInput& input : inputs) {
        const bool wanted = argc < 2 || std::any_of(argv + 1, argv + argc, [&input](std::string_view text) {
                                return input.name.find(text) != std::string::npos;
                            });
        growing += wanted && Run(input) ? 1 : 0;
    }
    std::printf("%d of them grow\n", growing);
    return growing > 0 ? 1 : 0;
}
