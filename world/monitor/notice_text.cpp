#include "world/monitor/notice_text.h"

#include <stdexcept>

#include <json/json.h>

#include "foundation/little_endian.h"

namespace {

constexpr std::uint32_t kTextTag = 101;
constexpr std::uint32_t kNumberTag = 3;

class CNoticeReader {
  public:
    explicit CNoticeReader(const std::string& bytes) : m_bytes(bytes) {}

    std::string Take(std::size_t count) {
        if (count > m_bytes.size() - m_at) {
            throw std::runtime_error("ends at byte " + std::to_string(m_bytes.size()));
        }
        m_at += count;
        return m_bytes.substr(m_at - count, count);
    }
    std::uint32_t Number(std::size_t size) { return LittleEndian<std::uint32_t>(Take(size).data(), size); }
    bool AtEnd() const { return m_at == m_bytes.size(); }

  private:
    const std::string& m_bytes;
    std::size_t m_at = 0;
};

Json::Value ReadEntry(CNoticeReader& reader) {
    Json::Value entry;
    entry["key"] = reader.Take(reader.Number(2));
    const std::uint32_t tag = reader.Number(2);
    const std::uint32_t size = reader.Number(2);
    entry["tag"] = tag;
    if (tag == kTextTag) {
        entry["value"] = reader.Take(size);
    } else if (tag == kNumberTag && size == 4) {
        entry["value"] = static_cast<std::int32_t>(reader.Number(size));
    } else {
        throw std::runtime_error("tag " + std::to_string(tag) + " with " + std::to_string(size) + " bytes");
    }
    return entry;
}

void Read(const std::string& bytes, Json::Value& notice) {
    CNoticeReader reader(bytes);
    if (reader.Take(4) != "BVRS") {
        throw std::runtime_error("does not begin with BVRS");
    }
    notice["version"] = reader.Number(2);
    for (std::uint32_t left = reader.Number(2); left > 0; --left) {
        notice["entries"].append(ReadEntry(reader));
    }
    if (reader.Number(4) != 0x3E5F927D) {
        throw std::runtime_error("has no end mark after its entries");
    }
    if (!reader.AtEnd()) {
        throw std::runtime_error("continues after its end mark");
    }
}

std::string Hex(const std::string& bytes) {
    static constexpr char kDigits[] = "0123456789abcdef";
    std::string text;
    for (const char byte : bytes) {
        text += kDigits[static_cast<unsigned char>(byte) >> 4];
        text += kDigits[static_cast<unsigned char>(byte) & 15];
    }
    return text;
}

}  // namespace

std::string NoticeText(std::uint64_t kind, const std::string& bytes) {
    Json::Value notice;
    notice["kind"] = static_cast<Json::UInt64>(kind);
    notice["bytes"] = Hex(bytes);
    notice["entries"] = Json::Value(Json::arrayValue);
    notice["fault"] = "";
    try {
        Read(bytes, notice);
    } catch (const std::runtime_error& fault) {
        notice["fault"] = fault.what();
    }
    Json::StreamWriterBuilder builder;
    builder["indentation"] = "";
    builder["emitUTF8"] = true;
    return Json::writeString(builder, notice);
}
