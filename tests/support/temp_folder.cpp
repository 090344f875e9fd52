#include "tests/support/temp_folder.h"

#include <chrono>
#include <system_error>
#include <thread>

#include <gtest/gtest.h>

#include "tests/support/unique_name.h"

namespace {

constexpr int kAttempts = 500;
constexpr std::chrono::milliseconds kPause(20);

}  // namespace

CTempFolder::CTempFolder() : m_path(std::filesystem::temp_directory_path() / UniqueName(L"nexlet_test")) {
    std::filesystem::remove_all(m_path);
    std::filesystem::create_directories(m_path);
}

CTempFolder::~CTempFolder() {
    // A program that has only just ended may still hold its file.
    std::error_code error;
    for (int attempt = 0; attempt < kAttempts; ++attempt) {
        std::filesystem::remove_all(m_path, error);
        if (!std::filesystem::exists(m_path)) {
            break;
        }
        std::this_thread::sleep_for(kPause);
    }
    EXPECT_FALSE(std::filesystem::exists(m_path)) << m_path << ": " << error.message();
}
