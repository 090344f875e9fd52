#include "foundation/json_text.h"

#include <memory>
#include <mutex>
#include <ostream>
#include <streambuf>
#include <utility>
#include <vector>

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

// Readers and writers cost more to make than a small text costs to pass through them, so they are kept for the next
// use, as many as were ever busy at once. Thread-local storage would do without the lock, but the runtime of the
// Windows build frees it before its destructors run.
template <typename T>
class CPool {
  public:
    class CLease {
      public:
        explicit CLease(CPool& pool) : m_pool(pool), m_pItem(pool.Take()) {}
        ~CLease() { m_pool.Give(std::move(m_pItem)); }
        CLease(const CLease&) = delete;
        CLease& operator=(const CLease&) = delete;
        T& operator*() const { return *m_pItem; }
        T* operator->() const { return m_pItem.get(); }

      private:
        CPool& m_pool;
        std::unique_ptr<T> m_pItem;
    };

  private:
    std::unique_ptr<T> Take() {
        const std::lock_guard<std::mutex> lock(m_lock);
        if (m_vecIdle.empty()) {
            return std::make_unique<T>();
        }
        std::unique_ptr<T> item = std::move(m_vecIdle.back());
        m_vecIdle.pop_back();
        return item;
    }
    void Give(std::unique_ptr<T> item) {
        const std::lock_guard<std::mutex> lock(m_lock);
        m_vecIdle.push_back(std::move(item));
    }

    std::mutex m_lock;
    std::vector<std::unique_ptr<T>> m_vecIdle;
};

// Lives to the end of the process: other threads may still use it when static objects are destroyed.
template <typename T>
CPool<T>& ProcessPool() {
    static CPool<T>& pool = *new CPool<T>;
    return pool;
}

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
    const CPool<Json::Reader>::CLease reader(ProcessPool<Json::Reader>());
    try {
        return reader->parse(text.data(), text.data() + text.size(), value, comments == JsonComments::Collected);
    } catch (const Json::RuntimeError&) {
        // Nested deeper than the reader goes: no caller may end the process by that.
        return false;
    }
}

#pragma GCC diagnostic pop

std::string WriteJson(const Json::Value& value) {
    const CPool<CompactWriter>::CLease writer(ProcessPool<CompactWriter>());
    writer->writer->write(value, &writer->stream);
    return writer->buffer.Take();
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
