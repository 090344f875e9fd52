// A platform that answers header questions as it likes: collecting ends, stays inside its buffers and keeps to the
// names it was given.
#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <string>

#include "support/http/response_headers.h"

namespace {

// Returns the input byte by byte, and zeros after its end.
class CBytes {
  public:
    CBytes(const std::uint8_t* data, std::size_t size) : m_pData(data), m_nLeft(size) {}
    bool Empty() const { return m_nLeft == 0; }
    std::uint8_t Next() {
        if (m_nLeft == 0) {
            return 0;
        }
        --m_nLeft;
        return *m_pData++;
    }

  private:
    const std::uint8_t* m_pData;
    std::size_t m_nLeft;
};

enum Answer { kFound, kTooSmall, kFailed, kFoundStanding, kFoundJumping, kLast, kAnswers };

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    CBytes input(data, size);
    std::set<std::string> names;
    for (int left = input.Next() % 8; left > 0; --left) {
        std::string name;
        while (const char c = static_cast<char>(input.Next())) {
            name += c;
        }
        names.insert(name);
    }
    const auto headers = CaptureHeaders(names, [&](char* buffer, std::uint32_t& room, std::uint32_t& index) {
        if (input.Empty()) {
            return HeaderAnswer::Failed;
        }
        const int answer = input.Next() % kAnswers;
        if (answer == kFailed) {
            return HeaderAnswer::Failed;
        }
        if (answer == kTooSmall) {
            index += input.Next();
            room = static_cast<std::uint32_t>(input.Next()) * 0x10101u;
            return HeaderAnswer::TooSmall;
        }
        // The whole room is ours to write, also without a terminator.
        const auto value = static_cast<char>(input.Next());
        std::memset(buffer, value, room);
        index = answer == kFound ? index + 1 : answer == kFoundJumping ? input.Next() : answer == kLast ? 12150 : index;
        return HeaderAnswer::Found;
    });
    for (const auto& [name, value] : headers) {
        if (!names.contains(name) || value.size() > 4096 || value.find('\0') != std::string::npos) {
            std::abort();
        }
    }
    return 0;
}
