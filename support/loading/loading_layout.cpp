#include "support/loading/loading_layout.h"

const std::array<LoadingLine, 3> kLoadingLines = {{
    {L"小程序", /*top=*/54, /*size=*/18, /*bBold=*/true, 0xFF999999},
    {L"【%s】启动中", /*top=*/88, /*size=*/24, /*bBold=*/true, 0xFF333333},
    {L"申请微信授权运行小程序", /*top=*/281, /*size=*/18, /*bBold=*/false, 0xFF999999},
}};

namespace {

int Centre(int begin, int end, int length) {
    int at = (begin + end) / 2 - length / 2;
    if (at + length > end) {
        at = end - length;
    }
    return at < begin ? begin : at;
}

}  // namespace

LoadingBox LoadingIconBox(int left, int top, int dpi) {
    const int side = ScaleByDpi(kLoadingIconSide, dpi);
    return {left + ScaleByDpi(kLoadingIconLeft, dpi), top + ScaleByDpi(kLoadingIconTop, dpi), side, side};
}

LoadingBox LoadingLineBox(const LoadingLine& line, int left, int top, int width, int dpi) {
    return {left, top + ScaleByDpi(line.top, dpi), width, ScaleByDpi(kLoadingLineHeight, dpi)};
}

LoadingPlace CentreInWorkArea(const LoadingArea& work, int width, int height) {
    return {Centre(work.left, work.right, width), Centre(work.top, work.bottom, height)};
}
