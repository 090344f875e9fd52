#include "tests/support/temp_folder.h"

#include <system_error>

#include <gtest/gtest.h>

#include "tests/support/unique_name.h"

CTempFolder::CTempFolder() : m_path(std::filesystem::temp_directory_path() / UniqueName(L"nexlet_test")) {
    std::filesystem::remove_all(m_path);
    std::filesystem::create_directories(m_path);
}

CTempFolder::~CTempFolder() {
    std::error_code error;
    std::filesystem::remove_all(m_path, error);
    EXPECT_FALSE(std::filesystem::exists(m_path)) << m_path << ": " << error.message();
}
