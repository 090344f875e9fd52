#include "nexctl/doctor/pe_library.h"

#include <algorithm>
#include <optional>

namespace {

constexpr std::size_t kOffsetOfHeader = 0x3C;
constexpr std::uint16_t kMagic32 = 0x10B;
constexpr std::uint16_t kMagic64 = 0x20B;
constexpr std::size_t kSectionSize = 40;
constexpr std::size_t kMostNames = 65536;
constexpr std::size_t kLongestName = 4096;

// Little-endian numbers at offsets of a range that is never left.
class CBytes {
  public:
    explicit CBytes(std::string_view bytes) : m_bytes(bytes) {}

    std::optional<std::uint32_t> Number(std::uint64_t at, std::size_t size) const {
        if (at > m_bytes.size() || m_bytes.size() - at < size) {
            return std::nullopt;
        }
        std::uint32_t value = 0;
        for (std::size_t i = 0; i < size; ++i) {
            value |= static_cast<std::uint32_t>(static_cast<unsigned char>(m_bytes[at + i])) << (8 * i);
        }
        return value;
    }
    std::optional<std::uint32_t> Word(std::uint64_t at) const { return Number(at, 2); }
    std::optional<std::uint32_t> Long(std::uint64_t at) const { return Number(at, 4); }

    std::optional<std::string> Text(std::uint64_t at) const {
        if (at >= m_bytes.size()) {
            return std::nullopt;
        }
        const std::string_view rest = m_bytes.substr(at, kLongestName);
        const std::size_t end = rest.find('\0');
        return end == std::string_view::npos ? std::nullopt : std::optional<std::string>(rest.substr(0, end));
    }

  private:
    std::string_view m_bytes;
};

class CPeReader {
  public:
    explicit CPeReader(std::string_view bytes) : m_bytes(bytes) {}

    PeLibrary Read() {
        PeLibrary library;
        library.bRead = ReadHeaders(library) && ReadExports(library);
        if (!library.bRead) {
            library.exports.clear();
        }
        return library;
    }

  private:
    bool ReadHeaders(PeLibrary& library) {
        const auto header = m_bytes.Long(kOffsetOfHeader);
        if (m_bytes.Word(0) != 0x5A4D || !header || m_bytes.Long(*header) != 0x4550) {
            return false;
        }
        const std::uint64_t coff = std::uint64_t{*header} + 4;
        const auto machine = m_bytes.Word(coff);
        const auto sections = m_bytes.Word(coff + 2);
        const auto optionalSize = m_bytes.Word(coff + 16);
        const std::uint64_t optional = coff + 20;
        const auto magic = m_bytes.Word(optional);
        if (!machine || !sections || !optionalSize || !magic || (*magic != kMagic32 && *magic != kMagic64)) {
            return false;
        }
        library.nMachine = static_cast<std::uint16_t>(*machine);
        const auto exports = m_bytes.Long(optional + (*magic == kMagic64 ? 112 : 96));
        const std::uint64_t table = optional + *optionalSize;
        for (std::uint32_t i = 0; i < *sections; ++i) {
            const std::uint64_t at = table + kSectionSize * i;
            const auto size = m_bytes.Long(at + 8);
            const auto address = m_bytes.Long(at + 12);
            const auto rawSize = m_bytes.Long(at + 16);
            const auto raw = m_bytes.Long(at + 20);
            if (!size || !address || !rawSize || !raw) {
                return false;
            }
            m_sections.push_back({*address, std::max(*size, *rawSize), *raw});
        }
        m_nExports = exports.value_or(0);
        return exports.has_value();
    }

    bool ReadExports(PeLibrary& library) const {
        if (m_nExports == 0) {
            return true;  // a library may export nothing
        }
        const auto directory = Place(m_nExports);
        const auto count = directory ? m_bytes.Long(*directory + 24) : std::nullopt;
        const auto names = directory ? m_bytes.Long(*directory + 32) : std::nullopt;
        if (!count || !names || *count > kMostNames) {
            return false;
        }
        const auto table = *count != 0 ? Place(*names) : std::optional<std::uint64_t>(0);
        if (!table) {
            return false;
        }
        for (std::uint32_t i = 0; i < *count; ++i) {
            const auto address = m_bytes.Long(*table + 4 * std::uint64_t{i});
            const auto place = address ? Place(*address) : std::nullopt;
            auto name = place ? m_bytes.Text(*place) : std::nullopt;
            if (!name) {
                return false;
            }
            library.exports.push_back(std::move(*name));
        }
        return true;
    }

    // The offset in the file of an address in memory.
    std::optional<std::uint64_t> Place(std::uint32_t address) const {
        for (const Section& section : m_sections) {
            if (address >= section.address && address - section.address < section.size) {
                return std::uint64_t{section.raw} + (address - section.address);
            }
        }
        return std::nullopt;
    }

    struct Section {
        std::uint32_t address;
        std::uint32_t size;
        std::uint32_t raw;
    };

    CBytes m_bytes;
    std::vector<Section> m_sections;
    std::uint32_t m_nExports = 0;
};

}  // namespace

PeLibrary ReadPeLibrary(std::string_view bytes) {
    return CPeReader(bytes).Read();
}
