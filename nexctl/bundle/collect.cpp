#include "nexctl/bundle/collect.h"

#include <array>

#include "foundation/text_helpers.h"
#include "foundation/windows_headers.h"
#include "nexctl/bundle/mask.h"
#include "nexctl/clean/leftovers.h"
#include "nexctl/doctor/look_files.h"
#include "nexctl/doctor/look_processes.h"
#include "tooling/frame_text.h"
#include "tooling/text_file.h"

#include <bcrypt.h>

namespace {

constexpr std::size_t kHashBytes = 32;

// As hexadecimal digits; empty when the system has no such hash.
std::string Sha256(std::string& bytes) {
    BCRYPT_ALG_HANDLE algorithm = nullptr;
    if (BCryptOpenAlgorithmProvider(&algorithm, BCRYPT_SHA256_ALGORITHM, nullptr, 0) != 0) {
        return {};
    }
    BCRYPT_HASH_HANDLE hash = nullptr;
    std::array<unsigned char, kHashBytes> digest = {};
    bool done = false;
    if (BCryptCreateHash(algorithm, &hash, nullptr, 0, nullptr, 0, 0) == 0) {
        done = BCryptHashData(hash, reinterpret_cast<unsigned char*>(bytes.data()), static_cast<ULONG>(bytes.size()),
                              0) == 0 &&
               BCryptFinishHash(hash, digest.data(), kHashBytes, 0) == 0;
        BCryptDestroyHash(hash);
    }
    BCryptCloseAlgorithmProvider(algorithm, 0);
    std::string text;
    for (const unsigned char one : digest) {
        constexpr char kDigits[] = "0123456789abcdef";
        text += kDigits[one >> 4];
        text += kDigits[one & 0xF];
    }
    return done ? text : std::string();
}

Json::Value Texts(const std::vector<std::wstring>& texts) {
    Json::Value list(Json::arrayValue);
    for (const std::wstring& text : texts) {
        list.append(Utf16ToUtf8(text));
    }
    return list;
}

}  // namespace

Json::Value DescribeFiles(const std::vector<std::string>& paths) {
    Json::Value list(Json::arrayValue);
    for (const std::string& path : paths) {
        Json::Value file(Json::objectValue);
        file["path"] = path;
        std::string bytes;
        if (ReadTextFile(path, bytes)) {
            file["bytes"] = Json::UInt64(bytes.size());
            file["version"] = FileVersionOf(Utf8ToUtf16(path));
            file["sha256"] = Sha256(bytes);
        } else {
            file["problem"] = "not there, or not to be read";
        }
        list.append(std::move(file));
    }
    return list;
}

Json::Value DescribeRegistry(bool withContents) {
    Json::Value keys(Json::objectValue);
    for (const Leftover& leftover : FindLeftovers()) {
        if (leftover.kind != LeftoverKind::RegistryValue) {
            continue;
        }
        const std::wstring key = Utf8ToUtf16(leftover.name);
        const std::wstring value = Utf8ToUtf16(leftover.value);
        Json::Value& told = keys["HKCU\\" + leftover.name][leftover.value];
        DWORD number = 0;
        DWORD size = sizeof number;
        wchar_t text[512] = {};
        if (RegGetValueW(HKEY_CURRENT_USER, key.c_str(), value.c_str(), RRF_RT_REG_DWORD, nullptr, &number, &size) ==
            ERROR_SUCCESS) {
            told = Json::UInt(number);
            continue;
        }
        size = sizeof text - sizeof(wchar_t);
        const bool isText = RegGetValueW(HKEY_CURRENT_USER, key.c_str(), value.c_str(), RRF_RT_REG_SZ, nullptr, text,
                                         &size) == ERROR_SUCCESS;
        // zolt_tm is a time; the other texts are the identity.
        told = !isText                                       ? "neither a number nor a text"
               : withContents || leftover.value == "zolt_tm" ? Utf16ToUtf8(text)
                                                             : std::string(kMasked);
    }
    return keys;
}

Json::Value DescribeSystem() {
    Json::Value system(Json::objectValue);
    using Query = LONG(WINAPI*)(OSVERSIONINFOW*);
    const auto query = reinterpret_cast<Query>(
        reinterpret_cast<void*>(GetProcAddress(GetModuleHandleW(L"ntdll.dll"), "RtlGetVersion")));
    OSVERSIONINFOW version = {};
    version.dwOSVersionInfoSize = sizeof version;
    if (query != nullptr && query(&version) == 0) {
        system["windows"] = std::to_string(version.dwMajorVersion) + "." + std::to_string(version.dwMinorVersion) +
                            "." + std::to_string(version.dwBuildNumber);
    }
    wchar_t own[MAX_PATH] = {};
    GetModuleFileNameW(nullptr, own, MAX_PATH);
    system["nexctl"] = FileVersionOf(own);
    DWORD session = 0;
    if (ProcessIdToSessionId(GetCurrentProcessId(), &session) != FALSE) {
        system["session"] = Json::UInt(session);
    }
    return system;
}

Json::Value DescribePipes(const std::vector<HelperFact>& helpers) {
    Json::Value list(Json::arrayValue);
    for (const HelperFact& helper : helpers) {
        const HeldPipes pipes = LookForPipes(helper.processId);
        Json::Value one(Json::objectValue);
        one["process_id"] = helper.processId;
        one["all_read"] = pipes.read;
        one["serves"] = Texts(pipes.served);
        one["connected_to"] = Texts(pipes.connected);
        list.append(std::move(one));
    }
    return list;
}
