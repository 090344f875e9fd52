// A DER and BER walker that reports every element of a region, in file order (X.690 section 8.1).
//
// It reads tags of one byte and lengths of up to two bytes, and indefinite lengths. It judges nothing: the callback
// knows what an element means.
#pragma once

#include <cstddef>
#include <cstdint>
#include <span>

// What OnElement may answer: 0 to go on, or these bits.
constexpr std::uint32_t kAsn1Stop = 0x10000;        // stop; the low 16 bits are the code, 0 stops without an error
constexpr std::uint32_t kAsn1DoNotEnter = 0x20000;  // do not descend into this element

constexpr std::uint8_t kAsn1Constructed = 0x20;
constexpr std::uint8_t kAsn1TagNumber = 0x1F;

// Codes of a walk, in the low 16 bits of its result; a callback's own code is there too.
constexpr std::uint32_t kAsn1NoTag = 1;
constexpr std::uint32_t kAsn1NoLength = 2;
constexpr std::uint32_t kAsn1LengthForm = 3;      // a length of three bytes or more
constexpr std::uint32_t kAsn1NoLength2 = 4;       // a two-byte length is cut off
constexpr std::uint32_t kAsn1TooLong = 5;         // the contents run past the region
constexpr std::uint32_t kAsn1NoLength1 = 6;       // a one-byte length is cut off
constexpr std::uint32_t kAsn1EndHasContents = 7;  // the end of an indefinite element has contents

class IASN1ParserCallback {
  public:
    virtual ~IASN1ParserCallback() = default;

    // One element. value points to its length bytes of contents and elementStart to its tag; totalLength counts header
    // and contents. An element of indefinite length comes with length 0. All lie within the walked bytes.
    virtual std::uint32_t OnElement(std::uint32_t depth, std::uint32_t tag, std::uint32_t length,
                                    const std::uint8_t* value, std::uint32_t totalLength,
                                    const std::uint8_t* elementStart) = 0;
};

// Walks one region once.
class Asn1Parser {
  public:
    // callback may be null: the walk then only checks the form. Neither is owned.
    Asn1Parser(std::span<const std::uint8_t> data, IASN1ParserCallback* callback)
        : m_data(data), m_pCallback(callback) {}

    // 0, or the depth of the fault shifted left by 16, OR its code.
    //
    // A constructed element of definite length is a region of its own: a stop without an error, and a tag of 0 outside
    // an indefinite element, end the region they are in, and the walk continues after it.
    std::uint32_t Parse();

  private:
    std::span<const std::uint8_t> m_data;
    IASN1ParserCallback* m_pCallback;  // weak
};
