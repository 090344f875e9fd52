#include "support/envelope/rsa_envelope.h"

#include <algorithm>
#include <array>
#include <new>
#include <span>

#include "support/envelope/base64_encode.h"
#include "support/envelope/rsa_public.h"

namespace {

constexpr std::size_t kBlockBytes = kRsaMaxBytes;
constexpr std::size_t kPieceBytes = kBlockBytes - kRsaPaddingOverhead;  // 117
constexpr std::size_t kBlockText = Base64Length(kBlockBytes);           // 172

// Out is a byte vector or a string: its room is taken once, and every block is encoded in place.
template <typename Out>
std::uint32_t Encrypt(Out& out, std::span<const std::uint8_t> text) {
    out.clear();
    if (text.empty()) {
        return kRsaNoMemoryOrInput;
    }
    const std::size_t rounds = text.size() / kPieceBytes + 1;
    try {
        out.reserve(rounds * (kBlockText + kEnvelopeSeparator.size()));
    } catch (const std::bad_alloc&) {
        return kRsaNoMemoryOrInput;
    }
    CRsaSeeder seeder;
    // A text whose length is a multiple of the piece's gets no empty last block.
    for (; !text.empty(); text = text.subspan(std::min(text.size(), kPieceBytes))) {
        RsaRandomState random;
        seeder.Seed(random);
        std::array<std::uint8_t, kBlockBytes> padded;
        std::uint32_t code = RsaPadBlock(padded, text.first(std::min(text.size(), kPieceBytes)), random);
        if (code != kRsaSuccess) {
            return code;
        }
        std::array<std::uint8_t, kBlockBytes> block;
        std::size_t length = 0;
        code = RsaPublicBlock(block.data(), length, padded.data(), padded.size());
        if (code != kRsaSuccess) {
            return code;
        }
        std::array<char, kBlockText> encoded;
        Base64EncodeTo(block, encoded.data());
        out.insert(out.end(), encoded.begin(), encoded.end());
        out.insert(out.end(), kEnvelopeSeparator.begin(), kEnvelopeSeparator.end());
    }
    out.resize(out.size() - kEnvelopeSeparator.size());
    return kRsaSuccess;
}

}  // namespace

std::string RsaEncryptToString(std::string_view text) {
    std::string envelope;
    if (Encrypt(envelope, {reinterpret_cast<const std::uint8_t*>(text.data()), text.size()}) != kRsaSuccess) {
        return {};
    }
    return envelope;
}

std::uint32_t RsaEncryptBlocks(std::vector<std::uint8_t>& out, const void* data, std::size_t size) {
    return Encrypt(out, {static_cast<const std::uint8_t*>(data), size});
}
