#pragma once

#include <filesystem>
#include <fstream>
#include <gtest/gtest.h>
#include <iterator>
#include <string>
#include <string_view>
#include <unistd.h>

/// A folder of the test's own, removed with everything in it.
struct CTempDir {
    CTempDir() { EXPECT_NE(::mkdtemp(m_path.data()), nullptr); }
    ~CTempDir()
    {
        std::error_code ignored;
        std::filesystem::remove_all(m_path, ignored);
    }
    CTempDir(const CTempDir &) = delete;
    CTempDir &operator=(const CTempDir &) = delete;
    std::string operator/(const std::string &name) const { return m_path + "/" + name; }
    std::string m_path = ::testing::TempDir() + "veloran-test-XXXXXX";
};

inline std::string ReadFile(const std::string &path)
{
    std::ifstream in(path, std::ios::binary);
    return std::string(std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>());
}

inline void WriteFile(const std::string &path, const std::string &bytes)
{
    std::ofstream(path, std::ios::binary) << bytes;
}

/// "01 FF" as bytes; "01 FF ..." the same, the start of something longer.
inline std::string FromHex(std::string_view hex)
{
    std::string out;
    for (std::size_t i = 0; i + 1 < hex.size() && hex[i] != '.'; i += 3)
        out += static_cast<char>(std::stoi(std::string(hex.substr(i, 2)), nullptr, 16));
    return out;
}
