// Where everything in the loading window is, when the window closes, and where it is on the screen. Pure functions.
#pragma once

#include <array>
#include <cstdint>

// The window and its picture, square, in logical pixels like every length here that does not say otherwise.
inline constexpr int kLoadingSide = 0x168;
inline constexpr int kLoadingIconSide = 96;
inline constexpr int kLoadingIconLeft = 132;
inline constexpr int kLoadingIconTop = 150;
inline constexpr int kLoadingLineHeight = 60;

// The DPI at which logical and physical pixels are the same.
inline constexpr int kUnscaledDpi = 96;

// A logical length in physical pixels, rounded towards zero.
constexpr int ScaleByDpi(int length, int dpi) {
    return length * dpi / kUnscaledDpi;
}

// In physical pixels.
struct LoadingBox {
    int left;
    int top;
    int width;
    int height;
    bool operator==(const LoadingBox&) const = default;
};

// A line of text: centred in a box of the window's width, one colour. A format with %s takes the application's name.
struct LoadingLine {
    const wchar_t* format;
    int top;
    int size;  // height of the font
    bool bBold;
    std::uint32_t colour;  // ARGB
};
extern const std::array<LoadingLine, 3> kLoadingLines;
// The family of all lines, by its own name and by the name that it has on systems in other languages.
inline constexpr std::array<const wchar_t*, 2> kLoadingFontFamilies = {L"微软雅黑", L"Microsoft YaHei"};

// The icon's square in a client area whose corner is at left and top.
LoadingBox LoadingIconBox(int left, int top, int dpi);
// The box of a line in a client area of that corner and width.
LoadingBox LoadingLineBox(const LoadingLine& line, int left, int top, int width, int dpi);

struct LoadingArea {
    int left;
    int top;
    int right;
    int bottom;
};
struct LoadingPlace {
    int x;
    int y;
    bool operator==(const LoadingPlace&) const = default;
};
// The corner of a window of that size in the middle of the work area. What would pass the right or bottom edge is moved
// back to it, and what would then pass the left or top edge is moved to that one: a window larger than the area begins
// at its left and top.
LoadingPlace CentreInWorkArea(const LoadingArea& work, int width, int height);

// The timers of the window. The first runs for the time that the caller gave.
inline constexpr std::uintptr_t TIMER_ID_DELYA_CLOSE = 256;
inline constexpr std::uintptr_t TIMER_ID_CHECK_WXWND_SHOW = 512;
inline constexpr std::uint32_t kCheckWxWndShowMs = 100;

enum class LoadingTimerAction { Stay, CloseAtTimeout, CloseForAwaitedWindow };

// What a timer's tick means. isAwaitedThere() is asked only when it matters.
template <typename IsAwaitedThere>
LoadingTimerAction OnLoadingTimer(std::uintptr_t timerId, IsAwaitedThere isAwaitedThere) {
    if (timerId == TIMER_ID_DELYA_CLOSE) {
        return LoadingTimerAction::CloseAtTimeout;
    }
    if (timerId == TIMER_ID_CHECK_WXWND_SHOW && isAwaitedThere()) {
        return LoadingTimerAction::CloseForAwaitedWindow;
    }
    return LoadingTimerAction::Stay;
}
