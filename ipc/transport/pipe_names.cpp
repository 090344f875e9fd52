#include "ipc/transport/pipe_names.h"

#include "foundation/text_helpers.h"

namespace {

std::wstring Joined(const wchar_t* base, const std::wstring& name) {
    return std::wstring(base) + L"_" + name;
}

std::wstring Joined(const wchar_t* base, const std::wstring& strMark, const std::string& strServiceId) {
    return Joined(base, strMark) + L"_" + Utf8ToUtf16(strServiceId);
}

}  // namespace

std::wstring HostPipeName(const std::wstring& strMark) {
    return Joined(kPipeBase, strMark);
}

std::wstring HostEventName(const std::wstring& strMark) {
    return Joined(kEventBase, strMark);
}

std::wstring HostMutexName(const std::wstring& strMark) {
    return kMutexBase + strMark;
}

std::wstring ServicePipeName(const std::wstring& strMark, const std::string& strServiceId) {
    return Joined(kPipeBase, strMark, strServiceId);
}

std::wstring ServiceEventName(const std::wstring& strMark, const std::string& strServiceId) {
    return Joined(kEventBase, strMark, strServiceId);
}
