// How the loading window is painted: off screen, as a whole, on demand.
#include "support/loading/wx_loading_wnd.h"

#include <array>
#include <vector>

#include "foundation/handle.h"
#include "foundation/log.h"
#include "foundation/wide_format.h"
#include "support/loading/loading_font.h"
#include "support/loading/loading_layout.h"
#include "support/picture/late_gdiplus.h"

namespace {

struct MemoryDcTraits {
    using Handle = HDC;
    static Handle Empty() { return nullptr; }
    static void Close(Handle handle) { DeleteDC(handle); }
};
using CMemoryDc = CUniqueHandle<MemoryDcTraits>;

struct BitmapTraits {
    using Handle = HBITMAP;
    static Handle Empty() { return nullptr; }
    static void Close(Handle handle) { DeleteObject(handle); }
};
using CBitmap = CUniqueHandle<BitmapTraits>;

// Keeps a bitmap selected for the length of a scope.
class CSelectedBitmap {
  public:
    CSelectedBitmap(HDC dc, HBITMAP bitmap) : m_hDc(dc), m_hOld(SelectObject(dc, bitmap)) {}
    ~CSelectedBitmap() { SelectObject(m_hDc, m_hOld); }
    CSelectedBitmap(const CSelectedBitmap&) = delete;
    CSelectedBitmap& operator=(const CSelectedBitmap&) = delete;

  private:
    HDC m_hDc;
    HGDIOBJ m_hOld;
};

CBitmap MakeBitmap(HDC dc, int width, int height) {
    BITMAPINFO info{};
    info.bmiHeader.biSize = sizeof(info.bmiHeader);
    info.bmiHeader.biWidth = width;
    info.bmiHeader.biHeight = height;
    info.bmiHeader.biPlanes = 1;
    info.bmiHeader.biBitCount = 32;
    info.bmiHeader.biCompression = BI_RGB;
    void* bits = nullptr;
    return CBitmap(CreateDIBSection(dc, &info, DIB_RGB_COLORS, &bits, /*hSection=*/nullptr, /*offset=*/0));
}

// The whole picture scaled into the box. Mirrored at its edges, or scaling would blend them with nothing.
void DrawWhole(Gdiplus::GpGraphics* graphics, Gdiplus::GpImage* image, const LoadingBox& box) {
    UINT width = 0;
    UINT height = 0;
    Late::GdipGetImageWidth(image, &width);
    Late::GdipGetImageHeight(image, &height);
    Gdiplus::GpImageAttributes* rawAttributes = nullptr;
    Late::GdipCreateImageAttributes(&rawAttributes);
    const CImageAttributes attributes(rawAttributes);
    Late::GdipSetImageAttributesWrapMode(rawAttributes, Gdiplus::WrapModeTileFlipXY, /*argb=*/0, /*clamp=*/FALSE);
    Late::GdipDrawImageRectRectI(graphics, image, box.left, box.top, box.width, box.height, 0, 0,
                                 static_cast<INT>(width), static_cast<INT>(height), Gdiplus::UnitPixel, rawAttributes,
                                 /*callback=*/nullptr, /*callbackData=*/nullptr);
}

CStringFormat MakeFormat() {
    Gdiplus::GpStringFormat* generic = nullptr;
    Gdiplus::GpStringFormat* format = nullptr;
    if (Late::GdipStringFormatGetGenericTypographic(&generic) == Gdiplus::Ok) {
        Late::GdipCloneStringFormat(generic, &format);
        Late::GdipSetStringFormatAlign(format, Gdiplus::StringAlignmentCenter);
        Late::GdipSetStringFormatFlags(format, Gdiplus::StringFormatFlagsLineLimit);
    }
    return CStringFormat(format);
}

void DrawLine(Gdiplus::GpGraphics* graphics, const Gdiplus::GpStringFormat* format, const std::wstring& text,
              const LoadingLine& line, const LoadingBox& box, int dpi) {
    const CFontFamily family = MakeLoadingFontFamily();
    Gdiplus::GpFont* rawFont = nullptr;
    Late::GdipCreateFont(family.get(), static_cast<Gdiplus::REAL>(ScaleByDpi(line.size, dpi)),
                         line.bBold ? Gdiplus::FontStyleBold : Gdiplus::FontStyleRegular, Gdiplus::UnitPixel, &rawFont);
    const CFont font(rawFont);
    Gdiplus::GpSolidFill* rawBrush = nullptr;
    Late::GdipCreateSolidFill(line.colour, &rawBrush);
    const CBrush brush(rawBrush);
    const Gdiplus::RectF layout(static_cast<Gdiplus::REAL>(box.left), static_cast<Gdiplus::REAL>(box.top),
                                static_cast<Gdiplus::REAL>(box.width), static_cast<Gdiplus::REAL>(box.height));
    Late::GdipDrawString(graphics, text.c_str(), static_cast<INT>(text.size()), font.get(), &layout, format,
                         brush.get());
}

// The line's text with the application's name in it.
std::wstring TextOf(const LoadingLine& line, const std::wstring& name) {
    std::vector<wchar_t> text(std::wcslen(line.format) + name.size() + 1);
    FormatWide(text.data(), text.size(), line.format, name.c_str());
    return text.data();
}

}  // namespace

void CWxLoadingWnd::DrawPictures(Gdiplus::GpGraphics* graphics, const RECT& client, int dpi) const {
    if (m_pBackground) {
        DrawWhole(graphics, m_pBackground.get(),
                  {client.left, client.top, client.right - client.left, client.bottom - client.top});
    }
    if (Gdiplus::GpImage* const icon = m_pAppIcon ? m_pAppIcon.get() : m_pDefaultIcon.get()) {
        DrawWhole(graphics, icon, LoadingIconBox(client.left, client.top, dpi));
    }
}

void CWxLoadingWnd::DrawTexts(Gdiplus::GpGraphics* graphics, const RECT& client, int dpi) const {
    Late::GdipSetTextRenderingHint(graphics, Gdiplus::TextRenderingHintAntiAliasGridFit);
    const CStringFormat format = MakeFormat();
    for (const LoadingLine& line : kLoadingLines) {
        DrawLine(graphics, format.get(), TextOf(line, m_strAppText), line,
                 LoadingLineBox(line, client.left, client.top, client.right - client.left, dpi), dpi);
    }
}

void CWxLoadingWnd::PaintLayered() {
    NXL_LOG(L"[%s(%d)] PaintLayered");
    RECT client{};
    GetClientRect(m_hWnd, &client);
    const CMemoryDc dc(CreateCompatibleDC(nullptr));
    const CBitmap bitmap = MakeBitmap(dc.get(), client.right, client.bottom);
    if (!bitmap) {
        return;  // before the window has its size
    }
    const CSelectedBitmap selected(dc.get(), bitmap.get());
    const int dpi = SystemDpi();
    {
        Gdiplus::GpGraphics* rawGraphics = nullptr;
        Late::GdipCreateFromHDC(dc.get(), &rawGraphics);
        const CGraphics graphics(rawGraphics);
        Late::GdipSetSmoothingMode(graphics.get(), Gdiplus::SmoothingModeNone);
        // A large icon is averaged, not sampled.
        Late::GdipSetInterpolationMode(graphics.get(), Gdiplus::InterpolationModeHighQualityBicubic);
        DrawPictures(graphics.get(), client, dpi);
        DrawTexts(graphics.get(), client, dpi);
    }
    SIZE size{client.right, client.bottom};
    POINT source{0, 0};
    BLENDFUNCTION blend{AC_SRC_OVER, 0, /*SourceConstantAlpha=*/255, AC_SRC_ALPHA};
    UpdateLayeredWindow(m_hWnd, /*hdcDst=*/nullptr, /*pptDst=*/nullptr, &size, dc.get(), &source, /*crKey=*/0, &blend,
                        ULW_ALPHA);
}
