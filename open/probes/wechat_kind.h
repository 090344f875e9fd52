// Under which of its two names the WeChat client is installed.
#pragma once

#include <atomic>
#include <cstdint>

inline constexpr std::int32_t kWeChatKind = 1;  // "WeChat"
inline constexpr std::int32_t kWeixinKind = 2;  // "Weixin"

// As IsWeChatInstalled last found it; 0 before it found any, and kept when it finds none.
inline std::atomic<std::int32_t> g_nWeChatKind{0};
