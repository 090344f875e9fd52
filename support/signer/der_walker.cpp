#include "support/signer/der_walker.h"

#include <vector>

#include "support/signer/der_cursor.h"

namespace {

struct Header {
    std::uint8_t tag;
    std::uint32_t length;
    bool bIndefinite;
};

// Reads tag and length; 0 or a code.
std::uint32_t ReadHeader(CDerCursor& cursor, Header& header) {
    const auto tag = cursor.ReadByte();
    if (!tag) {
        return kAsn1NoTag;
    }
    const auto first = cursor.ReadByte();
    if (!first) {
        return kAsn1NoLength;
    }
    header = {*tag, *first, false};
    if (*first < 0x80) {
        return 0;
    }
    if (*first == 0x80) {
        header.length = 0;
        header.bIndefinite = true;
        return 0;
    }
    const std::size_t width = *first & 0x7Fu;
    if (width > 2) {
        return kAsn1LengthForm;
    }
    const auto length = cursor.ReadBig(width);
    if (!length) {
        return width == 1 ? kAsn1NoLength1 : kAsn1NoLength2;
    }
    header.length = *length;
    return 0;
}

// The walk through one region. Regions lie on a heap of their own instead of the call stack: a file may nest them
// thousands deep.
struct Region {
    CDerCursor cursor;
    std::uint32_t depth;
    std::uint32_t indefiniteDepth;
};

}  // namespace

std::uint32_t Asn1Parser::Parse() {
    std::vector<Region> regions;
    regions.reserve(16);
    regions.push_back({CDerCursor(m_data), 0, 0});
    while (!regions.empty()) {
        Region& region = regions.back();
        const auto next = region.cursor.Peek(1);
        if (!next || (next->front() == 0 && region.indefiniteDepth == 0)) {
            regions.pop_back();
            continue;
        }
        const auto failed = [&region](std::uint32_t code) { return region.depth << 16 | code; };

        const std::size_t start = region.cursor.Position();
        Header header{};
        if (const std::uint32_t code = ReadHeader(region.cursor, header); code != 0) {
            return failed(code);
        }
        const auto contents = region.cursor.Peek(header.length);
        if (!contents) {
            return failed(kAsn1TooLong);
        }
        std::uint32_t answer = 0;
        if (m_pCallback != nullptr) {
            const auto element = region.cursor.From(start, header.length);
            answer = m_pCallback->OnElement(region.depth, header.tag, header.length, contents->data(),
                                            static_cast<std::uint32_t>(element.size()), element.data());
        }
        if ((answer & kAsn1Stop) != 0) {
            const std::uint32_t code = answer & 0xFFFF;
            if (code != 0) {
                return failed(code);
            }
            regions.pop_back();
            continue;
        }
        const bool bConstructed = (header.tag & kAsn1Constructed) != 0;
        if (!bConstructed && (header.tag & kAsn1TagNumber) == 0 && region.indefiniteDepth > 0) {
            if (header.length != 0) {
                return failed(kAsn1EndHasContents);
            }
            --region.depth;
            --region.indefiniteDepth;
        }
        if (bConstructed && header.bIndefinite) {
            ++region.depth;
            ++region.indefiniteDepth;
        }
        region.cursor.Take(header.length);
        if (bConstructed && !header.bIndefinite && (answer & kAsn1DoNotEnter) == 0) {
            regions.push_back({CDerCursor(*contents), region.depth + 1, 0});  // region is stale from here on
        }
    }
    return 0;
}
