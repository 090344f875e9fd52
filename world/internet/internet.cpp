// The internet of a world: a proxy on a port of this machine that answers for every host, over http and https, as
// its file says.
//
//   internet --dir DIRECTORY [--stop EVENT] [--ready EVENT] [--parent PID]
//
// The answers are read again from DIRECTORY\answers.txt for every request, see told_answers.h; a request that matches
// none gets 404. Every request becomes a line of DIRECTORY\requests.txt before its answer is sent.
// DIRECTORY\internet_port.txt names the port. It ends when the stop event is set or the parent process ends.
#include "world/internet/connection.h"

#include <cstdio>
#include <filesystem>
#include <thread>

#include "foundation/json_text.h"
#include "foundation/text_helpers.h"
#include "tooling/text_file.h"
#include "world/internet/http_head.h"
#include "world/internet/told_answers.h"
#include "world/process/stay.h"

namespace {

namespace fs = std::filesystem;

constexpr unsigned kNotTold = 404;

std::string NowText() {
    SYSTEMTIME now = {};
    GetSystemTime(&now);
    char text[40] = {};
    std::snprintf(text, sizeof text, "%04d-%02d-%02dT%02d:%02d:%02d.%03dZ", now.wYear, now.wMonth, now.wDay, now.wHour,
                  now.wMinute, now.wSecond, now.wMilliseconds);
    return text;
}

class CInternet {
  public:
    explicit CInternet(fs::path directory) : m_directory(std::move(directory)) {}

    // Listens on a free port and writes it down.
    bool Begin();
    // Accepts for ever; the process's end is its end.
    void Run();

  private:
    void Serve(SOCKET socket);
    void Answer(CConnection& connection, const std::string& scheme, const HttpHead& head);
    void Record(Json::Value line) const;
    std::string TextOf(const std::string& file) const;

    const fs::path m_directory;
    SOCKET m_listener = INVALID_SOCKET;
    CServerKey m_key;
};

bool CInternet::Begin() {
    WSADATA data = {};
    if (!m_key.Ready() || WSAStartup(MAKEWORD(2, 2), &data) != 0) {
        return false;
    }
    m_listener = socket(AF_INET, SOCK_STREAM, IPPROTO_TCP);
    sockaddr_in address = {};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    int size = sizeof address;
    return bind(m_listener, reinterpret_cast<const sockaddr*>(&address), size) == 0 &&
           listen(m_listener, SOMAXCONN) == 0 &&
           getsockname(m_listener, reinterpret_cast<sockaddr*>(&address), &size) == 0 &&
           WriteTextFile(Utf16ToUtf8((m_directory / "internet_port.txt").wstring()),
                         std::to_string(ntohs(address.sin_port)) + "\n");
}

void CInternet::Run() {
    for (;;) {
        const SOCKET accepted = accept(m_listener, nullptr, nullptr);
        if (accepted != INVALID_SOCKET) {
            std::thread([this, accepted] { Serve(accepted); }).detach();
        }
    }
}

// Reads up to the empty line.
bool ReadHead(CConnection& connection, int ordinaryPort, const std::string& tunnelHost, HttpHead& head) {
    std::string text;
    while (text.find("\r\n\r\n") == std::string::npos) {
        if (text.size() > kMostHeadBytes || !connection.Read(text)) {
            return false;
        }
    }
    return ReadHttpHead(text, ordinaryPort, tunnelHost, head);
}

void CInternet::Serve(SOCKET socket) {
    CConnection connection(socket);
    HttpHead head;
    if (!ReadHead(connection, 80, {}, head)) {
        return;
    }
    if (head.strMethod != "CONNECT") {
        Answer(connection, "http", head);
        return;
    }
    const std::string host = head.strHost;
    std::string fault = "the connection was lost";
    if (connection.Write("HTTP/1.0 200 Connection established\r\n\r\n")) {
        fault = connection.BeginTls(m_key);
    }
    if (fault.empty() && !ReadHead(connection, 443, host, head)) {
        fault = "no request came through TLS";
    }
    if (fault.empty()) {
        Answer(connection, "https", head);
        return;
    }
    Json::Value line(Json::objectValue);
    line["method"] = "CONNECT";
    line["url"] = "https://" + host;
    line["fault"] = fault;
    Record(std::move(line));
}

std::string CInternet::TextOf(const std::string& file) const {
    std::string text;
    ReadTextFile(Utf16ToUtf8((m_directory / Utf8ToUtf16(file)).wstring()), text);
    return text;
}

void CInternet::Answer(CConnection& connection, const std::string& scheme, const HttpHead& head) {
    const std::vector<ToldAnswer> answers = ReadAnswers(TextOf("answers.txt"));
    const ToldAnswer* const told = AnswerFor(answers, head.strHost, head.strPath);
    const unsigned status = told != nullptr ? told->nStatus : kNotTold;
    std::string body;
    if (told != nullptr) {
        body = told->strFile.empty() ? told->strBody : TextOf(told->strFile);
    }
    Json::Value line(Json::objectValue);
    line["method"] = head.strMethod;
    line["url"] = scheme + "://" + head.strHost + head.strPath;
    line["status"] = status;
    Record(std::move(line));
    if (told != nullptr) {
        Sleep(told->nDelayMs);
    }
    if (connection.Write(HttpAnswer(status, body))) {
        connection.Finish();
    }
}

void CInternet::Record(Json::Value line) const {
    line["at"] = NowText();
    const CFileHandle file(CreateFileW((m_directory / "requests.txt").c_str(), FILE_APPEND_DATA,
                                       FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE, nullptr, OPEN_ALWAYS, 0,
                                       nullptr));
    // One write, so that the lines of two threads do not mix.
    const std::string text = WriteJson(line) + "\n";
    DWORD written = 0;
    WriteFile(file.get(), text.data(), static_cast<DWORD>(text.size()), &written, nullptr);
}

}  // namespace

int WINAPI wWinMain(HINSTANCE, HINSTANCE, wchar_t*, int) {
    const std::vector<std::wstring> words = CommandLineWords();
    CStay stay;
    fs::path directory;
    for (std::size_t i = 1; i < words.size(); ++i) {
        if (!stay.Take(words, i) && words[i] == L"--dir" && i + 1 < words.size()) {
            directory = words[++i];
        }
    }
    if (const int failure = stay.Begin(); failure != 0) {
        return failure;
    }
    CInternet internet(directory);
    if (directory.empty() || !internet.Begin()) {
        return 4;
    }
    if (!stay.SayReady()) {
        return 5;
    }
    std::thread([&internet] { internet.Run(); }).detach();
    stay.Stay(/*bDispatches=*/false);
    // Threads may still be in a request; they end with the process.
    TerminateProcess(GetCurrentProcess(), 0);
    return 0;
}
