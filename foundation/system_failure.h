// The failure raised when the system cannot give what the program cannot do without.
#pragma once

#include <cstdint>
#include <stdexcept>

// Carries the system's error as an HRESULT. Nothing catches it: the process ends.
class CSystemFailure : public std::runtime_error {
  public:
    explicit CSystemFailure(std::int32_t result) : std::runtime_error("system failure"), m_nResult(result) {}
    std::int32_t Result() const { return m_nResult; }

  private:
    std::int32_t m_nResult;
};

// A positive error becomes (error & 0xFFFF) | 0x80070000; 0 and values that already are HRESULTs stay.
constexpr std::int32_t ResultFromSystemError(std::uint32_t error) {
    const auto value = static_cast<std::int32_t>(error);
    return value <= 0 ? value : static_cast<std::int32_t>((error & 0xFFFFu) | 0x80070000u);
}

[[noreturn]] inline void RaiseSystemFailure(std::uint32_t error) {
    throw CSystemFailure(ResultFromSystemError(error));
}
