#include "foundation/json_text.h"

#include <memory>
#include <ostream>
#include <streambuf>

#include <json/reader.h>
#include <json/writer.h>

namespace {

// Collects what a stream writes straight in a string.
class CStringBuffer : public std::streambuf {
  public:
    std::string Take() { return std::move(m_strText); }

  protected:
    int_type overflow(int_type c) override {
        if (!traits_type::eq_int_type(c, traits_type::eof())) {
            m_strText.push_back(traits_type::to_char_type(c));
        }
        return traits_type::not_eof(c);
    }
    std::streamsize xsputn(const char* text, std::streamsize count) override {
        m_strText.append(text, static_cast<std::size_t>(count));
        return count;
    }

  private:
    std::string m_strText;
};

// Writer and stream cost more to make than a small text costs to write, so each thread keeps its own.
struct CompactWriter {
    CompactWriter() : stream(&buffer) {
        Json::StreamWriterBuilder builder;
        builder["indentation"] = "";
        builder["commentStyle"] = "None";
        builder["emitUTF8"] = true;
        writer.reset(builder.newStreamWriter());
    }
    CStringBuffer buffer;
    std::ostream stream;
    std::unique_ptr<Json::StreamWriter> writer;
};

}  // namespace

// The one reader that callers know; the library has marked its name for a later version.
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wdeprecated-declarations"

bool ParseJson(std::string_view text, Json::Value& value, JsonComments comments) {
    thread_local Json::Reader reader;
    try {
        return reader.parse(text.data(), text.data() + text.size(), value, comments == JsonComments::Collected);
    } catch (const Json::RuntimeError&) {
        // Nested deeper than the reader goes: no caller may end the process by that.
        return false;
    }
}

#pragma GCC diagnostic pop

std::string WriteJson(const Json::Value& value) {
    thread_local CompactWriter writer;
    writer.writer->write(value, &writer.stream);
    return writer.buffer.Take();
}

std::string JsonToText(const Json::Value& value) {
    if (value.isNumeric() && !value.isBool()) {
        Json::throwLogicError("Type is not convertible to string");
    }
    return value.asString();
}

std::int32_t JsonToInt(const Json::Value& value) {
    return value.asInt();
}

std::uint32_t JsonToUInt(const Json::Value& value) {
    return value.asUInt();
}

const Json::Value& JsonMember(const Json::Value& value, const char* key) {
    return value[key];
}

const Json::Value* FindJsonMember(const Json::Value& value, std::string_view key) {
    return value.find(key.data(), key.data() + key.size());
}
